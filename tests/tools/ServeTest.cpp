// SPDX-License-Identifier: BSL-1.0

// lipc serve as a browser speaks to it, over a bare socket.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "tests/support/Process.h"

namespace {

using namespace support;

class WebConnection {
 public:
  explicit WebConnection(int port) {
    mSocket = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
    timeval limit{10, 0};
    setsockopt(mSocket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    if (connect(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      ADD_FAILURE() << std::strerror(errno);
  }
  ~WebConnection() { close(mSocket); }
  WebConnection(const WebConnection&) = delete;
  WebConnection& operator=(const WebConnection&) = delete;

  void send(const std::string& text) const { (void)!write(mSocket, text.data(), text.size()); }
  /// What comes until the text stands in it, or the other end has closed.
  std::string read(const std::string& until = "\1") {
    char part[4096];
    while (mAll.find(until) == std::string::npos) {
      const ssize_t count = ::read(mSocket, part, sizeof part);
      if (count <= 0) break;
      mAll.append(part, static_cast<std::size_t>(count));
    }
    return mAll;
  }

 private:
  int mSocket;
  std::string mAll;
};

struct Server {
  explicit Server(std::vector<std::string> arguments = {}) {
    std::vector<std::string> line{LIPC_COMMAND, "serve", "--port", "0"};
    line.insert(line.end(), arguments.begin(), arguments.end());
    process.emplace(line);
    EXPECT_TRUE(process->waitForLine("http://127.0.0.1:", 15s)) << process->output();
    port = std::atoi(process->output().c_str() + std::strlen("http://127.0.0.1:"));
  }
  std::string ask(const std::string& request) const {
    WebConnection connection(port);
    connection.send(request);
    return connection.read();
  }
  std::optional<Process> process;
  int port = 0;
};

std::string get(const std::string& path, const std::string& host, const std::string& more = "") {
  return "GET " + path + " HTTP/1.1\r\nHost: " + host + "\r\n" + more + "\r\n";
}

TEST(Serve, AnswersThisMachinesNamesAloneAndOnlyReads) {
  const Server server({"--host-name", "Studio.local"});
  const auto status = [&](const std::string& request) {
    const std::string answer = server.ask(request);
    EXPECT_NE(answer.find("\r\nX-Content-Type-Options: nosniff\r\n"), std::string::npos) << answer;
    EXPECT_NE(answer.find("\r\nContent-Security-Policy: default-src 'none'; script-src 'self';"),
              std::string::npos);
    EXPECT_EQ(answer.find("Access-Control"), std::string::npos);
    return answer.substr(0, 12).substr(9);
  };
  for (const std::string own : {"127.0.0.1", "localhost", "LocalHost:8765", "studio.local:1"})
    EXPECT_EQ(status(get("/", own)), "200") << own;
  for (const std::string foreign : {"studio.local.evil", "evil", "127.0.0.2", "", "localhost:x",
                                    "[::1", "localhost\r\nHost: evil", "127.0.0.1@evil"})
    EXPECT_EQ(status(get("/session", foreign)), "421") << foreign;
  EXPECT_EQ(status("GET / HTTP/1.0\r\n\r\n"), "421");
  EXPECT_EQ(status(get("/events", "localhost", "Sec-Fetch-Site: cross-site\r\n")), "403");
  for (const std::string method : {"POST", "PUT", "DELETE", "OPTIONS", "PATCH"})
    EXPECT_EQ(status(method + get("/", "localhost", "Content-Length: 0\r\n").substr(3)), "405");
  EXPECT_EQ(status("HEAD" + get("/events", "localhost").substr(3)), "200");
  EXPECT_EQ(status(get("/../page.js", "localhost")), "404");
  EXPECT_EQ(status(get("/client?key=0", "localhost")), "404");
  EXPECT_NE(server.ask(get("/session", "localhost")).find("\"state\":\"none\""), std::string::npos);

  Process second({LIPC_COMMAND, "serve", "--port", std::to_string(server.port)});
  EXPECT_TRUE(second.waitForLine("Address already in use. Take another port", 10s))
      << second.output();
  EXPECT_EQ(second.wait(10s), 18);
}

TEST(Serve, EndsAtOnceHoweverManyReadersLook) {
  Server server;
  std::vector<std::unique_ptr<WebConnection>> readers;
  for (int i = 0; i < 256; ++i) {
    readers.push_back(std::make_unique<WebConnection>(server.port));
    readers.back()->send(get("/events", "localhost"));
  }
  for (const auto& reader : readers)
    ASSERT_NE(reader->read("event: levels").find("event: levels"), std::string::npos);
  EXPECT_NE(server.ask(get("/events", "localhost")).find("256 readers look already"),
            std::string::npos);
  readers.pop_back();
  EXPECT_TRUE(eventually(5s, [&] {
    WebConnection next(server.port);
    next.send(get("/events", "localhost"));
    return next.read("\r\n").starts_with("HTTP/1.1 200");
  })) << "the place of one that went away is free again";

  const auto start = std::chrono::steady_clock::now();
  server.process->signal(SIGINT);
  EXPECT_EQ(server.process->wait(5s), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  EXPECT_TRUE(readers[0]->read().ends_with("\n\n\r\n")) << "no message is cut short";
}

}  // namespace
