// SPDX-License-Identifier: BSL-1.0

// lipc mqtt against a mosquitto of the test's own. What is on the broker is seen by mosquitto_sub,
// what comes from it by a program in another session.
#include <netinet/in.h>
#include <sys/socket.h>

#include "tests/support/BareSession.h"
#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace support;

/// All that tests write; a sandbox in the sandbox still sees it.
const std::string cFolder = "/tmp/lipc-mqtt";

std::string programPath(const std::string& name) {
  for (const char* folder : {"/usr/sbin/", "/usr/bin/", "/usr/local/sbin/", "/usr/local/bin/"})
    if (access((folder + name).c_str(), X_OK) == 0) return folder + name;
  return {};
}

void writeFile(const std::string& name, const std::string& text) {
  std::ofstream(cFolder + "/" + name) << text;
  chmod((cFolder + "/" + name).c_str(), 0600);
}

bool shell(const std::string& command) {
  Process process({"/bin/sh", "-c", command + " 2>&1"});
  const bool isDone = process.wait(20s) == 0;
  if (!isDone) process.waitForLine("\1", 0ms);
  EXPECT_TRUE(isDone) << command << "\n" << process.output();
  return isDone;
}

int freePort() {
  const int file = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  (void)bind(file, reinterpret_cast<sockaddr*>(&address), size);
  getsockname(file, reinterpret_cast<sockaddr*>(&address), &size);
  close(file);
  return ntohs(address.sin_port);
}

/// With TLS both ways, users whose passwords are their names, and an access list; or for everybody.
struct Broker {
  explicit Broker(const std::string& accessList = "")
      : isTLS(!accessList.empty()), port(std::to_string(freePort())) {
    std::filesystem::create_directories(cFolder);
    std::string text = "user root\nlistener " + port + " 127.0.0.1\n";
    if (isTLS) {
      makeCertificates();
      writeFile("access", accessList);
      writeFile("users", "");
      for (const char* user : {"desk", "render", "stranger"})
        shell("mosquitto_passwd -b " + cFolder + "/users " + user + " " + user);
      text += "cafile " + cFolder + "/ca.pem\ncertfile " + cFolder + "/server.pem\nkeyfile " +
              cFolder + "/server.key\npassword_file " + cFolder + "/users\nacl_file " + cFolder +
              "/access\nrequire_certificate true\n";
    } else {
      text += "allow_anonymous true\n";
    }
    writeFile("conf", text);
    start();
  }
  static void makeCertificates() {
    shell("cd " + cFolder +
          " && openssl ecparam -genkey -name prime256v1 -out ca.key && openssl req -x509 -new -key "
          "ca.key -days 9 -subj /CN=authority -out ca.pem && openssl ecparam -genkey -name "
          "prime256v1 -out server.key && openssl req -new -key server.key -subj /CN=localhost -out "
          "server.csr && echo subjectAltName=DNS:localhost >names && openssl x509 -req -in "
          "server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 9 -extfile names -out "
          "server.pem && openssl req -x509 -new -key server.key -days 9 -subj /CN=other -out "
          "other.pem");
  }
  void start() {
    process.emplace(std::vector<std::string>{programPath("mosquitto"), "-c", cFolder + "/conf"});
    EXPECT_TRUE(process->waitForLine(" running", 10s)) << process->output();
  }
  /// How a bridge of this site reaches it.
  std::string options(const std::string& site) const {
    const std::string user = pair() + " --user " + site;
    return " --broker localhost:" + port + " --site " + site + (isTLS ? user : "");
  }
  static std::string pair() {
    return " --cert " + cFolder + "/server.pem --key " + cFolder + "/server.key";
  }
  /// The start of a command line, with the password and what the system trusts.
  static std::string variables(const std::string& site) {
    return "LIPC_MQTT_PASSWORD=" + site + " SSL_CERT_FILE=" + cFolder + "/ca.pem ";
  }
  std::string clientOptions(const std::string& user) const {
    const std::string who = pair() + " --cafile " + cFolder + "/ca.pem -u " + user + " -P " + user;
    return " -h localhost -p " + port + (isTLS ? who : "");
  }

  const bool isTLS;
  const std::string port;
  std::optional<Process> process;
};

struct Bridge : Process {
  Bridge(const Broker& broker, const std::string& site, const std::string& more = "")
      : Process({"/bin/sh", "-c",
                 Broker::variables(site) + " exec " LIPC_COMMAND " mqtt" + broker.options(site) +
                     " " + more}) {
    EXPECT_TRUE(waitForLine("broker   connected to localhost:" + broker.port, 20s)) << output();
  }
};

/// What a subscriber has got so far, by topic; what was taken away is not in it.
struct Subscriber {
  Subscriber(const Broker& broker, const std::string& filter, const std::string& user = "render")
      : process(
            {"/bin/sh", "-c",
             "exec mosquitto_sub -F '%t %p' -t '" + filter + "'" + broker.clientOptions(user)}) {}
  int count() const { return static_cast<int>(topics.size()); }
  /// Whether the condition holds in time; looked at with each message.
  template <class Condition>
  bool until(std::chrono::milliseconds limit, Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      if (left <= 0ms || !process.waitForLine("", left)) return false;
      const std::size_t end = process.line().find(' ');
      const std::string topic = process.line().substr(0, end);
      if (end + 1 == process.line().size()) {
        topics.erase(topic);
      } else if (!topic.ends_with("/events") && !topic.ends_with("/echo")) {
        topics[topic] = process.line().substr(end + 1);
      }
    }
    return true;
  }
  bool has(const std::string& topic, const std::string& text) const {
    const auto found = topics.find(topic);
    return found != topics.end() && found->second.find(text) != std::string::npos;
  }
  Process process;
  std::map<std::string, std::string> topics;
};

class Mqtt : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"mosquitto", "mosquitto_sub", "mosquitto_passwd", "openssl"})
      if (programPath(name).empty()) GTEST_SKIP() << "without " << name;
    if (std::getenv("LIPC_TEST_SANDBOX") == nullptr) GTEST_SKIP() << "without a sandbox";
  }
  static constexpr const char* cReaders =
      "user desk\ntopic readwrite lipc/desk/#\n"
      "user render\ntopic readwrite lipc/render/#\n"
      "topic read lipc/desk/#\n";
};

/// A session of its own, with a bridge that mirrors, and a reader of the mirror's row.
struct FarSite : Process {
  FarSite(const Broker& broker, const std::string& mirror, const std::string& id)
      : Process({LIPC_SANDBOX, script(broker, mirror, id)}) {}
  ~FarSite() {
    closeInput();
    EXPECT_EQ(wait(20s), 0) << "of the bridge";
  }
  static std::string script(const Broker& broker, const std::string& mirror,
                            const std::string& id) {
    writeFile("far",
              "#!/bin/sh\n" LIPC_COMMAND " host >/dev/null 2>&1 & host=$!\n" +
                  Broker::variables("render") + LIPC_COMMAND " mqtt" + broker.options("render") +
                  " --mirror '" + mirror + "' >&2 & bridge=$!\n" LIPC_MQTT_PEER " '" + id +
                  "' 40\nkill $bridge; wait $bridge; status=$?; kill $host; wait; exit $status\n");
    chmod((cFolder + "/far").c_str(), 0700);
    return cFolder + "/far";
  }
  /// When a line with this came; 0 where none did.
  std::int64_t timeOf(const std::string& text) {
    return waitForLine(text, 20s) ? std::atoll(line().c_str()) : 0;
  }
};

TEST_F(Mqtt, AMirrorIsInStepWithinATenthOfASecondAndThroughTheDeathsOfBrokerAndBridge) {
  Broker broker(cReaders);
  TestHost host;
  TestClient client("Desk 1"), passing("passing");
  client.setString(5, "\xff\x01 text");
  client.setOfflineParameter(20, std::bit_cast<float>(0xFFFFFFFFU));
  ASSERT_TRUE(client.join() && passing.join());
  std::optional<Bridge> desk(std::in_place, broker, "desk");
  FarSite render(broker, "desk/Desk%201", "Desk 1@desk");
  ASSERT_TRUE(render.waitForLine(" Desk 1 @desk", 20s)) << render.output();

  std::vector<std::int64_t> delays;
  for (int value = 100; value < 115; ++value) {
    const auto set = std::chrono::steady_clock::now().time_since_epoch().count();
    client.setOfflineParameter(40, static_cast<float>(value));
    const std::int64_t seen = render.timeOf(" " + std::to_string(value) + ".0");
    ASSERT_GT(seen, set) << render.output();
    delays.push_back((seen - set) / 1'000'000);
    std::this_thread::sleep_for(std::chrono::milliseconds(50 + value % 7 * 9));
  }
  std::sort(delays.begin(), delays.end());
  // All but three: what a machine that is busy with other tests takes from each now and then.
  EXPECT_LE(delays[delays.size() - 4], LIPC_SANITIZED ? 1000 : 100) << "milliseconds";

  broker.process->signal(SIGKILL);
  EXPECT_TRUE(render.timeOf(" Desk 1 @desk (stale)")) << render.output();
  client.setOfflineParameter(40, 7);
  broker.start();
  EXPECT_TRUE(render.timeOf(" 7.000000 Desk 1 @desk")) << render.output();
  EXPECT_EQ(render.line().find("stale"), std::string::npos);
  Process near({LIPC_MQTT_PEER, "Desk 1", "40"});
  EXPECT_TRUE(near.waitForLine(" 7.000000 Desk 1 ", 10s));
  const auto sum = [](const std::string& line) { return line.substr(line.rfind(' ')); };
  EXPECT_EQ(sum(render.line()), sum(near.line())) << "all parameters and strings, to the bit";

  desk->signal(SIGKILL);
  EXPECT_TRUE(render.timeOf(" 7.000000 Desk 1 @desk (stale)")) << "by the will";
  client.setOfflineParameter(40, 8);
  passing.stopLIPCSession();
  desk.emplace(broker, "desk");
  EXPECT_TRUE(render.timeOf(" 8.000000 Desk 1 @desk")) << render.output();
  Subscriber subscriber(broker, "lipc/desk/#");
  EXPECT_TRUE(subscriber.until(10s, [&] { return subscriber.has("lipc/desk/host", "alive"); }));
  EXPECT_TRUE(subscriber.until(10s, [&] {
    return !subscriber.topics.contains("lipc/desk/clients/passing");
  })) << "an earlier run left it";
  client.stopLIPCSession();
  EXPECT_TRUE(render.timeOf(" 8.000000 Desk 1 @desk (stale)"));
  EXPECT_TRUE(subscriber.until(10s, [&] { return subscriber.topics.size() == 1; }));
  desk->signal(SIGTERM);
  EXPECT_EQ(desk->wait(10s), 0);
  EXPECT_TRUE(subscriber.until(10s, [&] { return subscriber.has("lipc/desk/host", "gone"); }));
}

TEST_F(Mqtt, NobodySetsWhatHeMayNotSetOrWhatNoRowCanHave) {
  Broker broker(std::string(cReaders) + "user stranger\ntopic write lipc/desk/clients/#\n");
  TestHost host;
  TestClient client("Desk 1");
  ASSERT_TRUE(client.join());
  const auto publish = [&](const std::string& tail, const std::string& payload,
                           const std::string& more = " -u stranger -P stranger") {
    writeFile("payload", payload);
    shell("mosquitto_pub -q 1 -h localhost -p " + broker.port + Broker::pair() + " --cafile " +
          cFolder + "/ca.pem -t 'lipc/desk/clients/Desk%201/" + tail + "' -f " + cFolder +
          "/payload" + more);
  };
  const auto value = [&](int index) { return host.session().entries[0].offlineParameters[index]; };
  const auto text = [&] { return std::string(host.session().entries[0].strings[5].current()); };

  publish("parameters/44/set", "9", " -u stranger -P stranger -r");
  Bridge desk(broker, "desk",
              "--counters 1 --allow-set 'Desk%201/parameters/4*' --allow-set '*/strings/5'");
  ASSERT_TRUE(desk.waitForLine("must not be retained", 10s)) << desk.output();
  publish("parameters/40/set", "7");
  publish("strings/5/set", "Stage B");
  EXPECT_TRUE(eventually(10s, [&] { return value(40) == 7 && text() == "Stage B"; }));
  publish("parameters/41/set", "5", " -u render -P render");
  const std::vector<std::pair<std::string, std::string>> forged = {
      {"parameters/39/set", "1"},
      {"strings/6/set", "x"},
      {"parameters/400/set", "1"},
      {"parameters/41/set", "1e99"},
      {"parameters/41/set", "nan"},
      {"parameters/41/set", "{\"value\":[]}"},
      {"strings/5/set", std::string(128, 'x')},
      {"strings/5/set", "\xff"},
      {"strings/5/set", std::string("a\0b", 3)},
      {"strings/5/set", std::string(300000, '{')},
      {"parameters/40%2F/set", "1"}};
  for (const auto& [tail, payload] : forged)
    publish(tail, payload);
  publish("parameters/42/set", "1");
  EXPECT_TRUE(eventually(10s, [&] { return value(42) == 1; })) << desk.output();
  EXPECT_EQ(value(39) + value(41) + value(44), 0);
  EXPECT_EQ(value(40), 7);
  EXPECT_EQ(text(), "Stage B");
  // Neither the two that no filter asks for, nor what the broker itself refuses, ever come here.
  EXPECT_TRUE(desk.waitForLine("3 taken, 11 dropped", 10s)) << desk.output();

  const auto says = [&](const std::string& options, const std::string& sentence,
                        const std::string& name = "localhost") {
    Process bridge({"/bin/sh", "-c",
                    "exec " LIPC_COMMAND " mqtt --broker " + name + ":" + broker.port +
                        " --site other" + Broker::pair() + " --ca " + cFolder + options});
    EXPECT_TRUE(bridge.waitForLine(sentence, 30s)) << name << options << bridge.output();
  };
  writeFile("wrong", "wrong\n");
  writeFile("right", "stranger\n");
  says("/ca.pem --user desk --password-file " + cFolder + "/wrong", "not authorised");
  says("/other.pem --user stranger --password-file " + cFolder + "/right",
       "certificate verify failed");
  says("/ca.pem --user stranger --password-file " + cFolder + "/right", "certificate verify failed",
       "127.0.0.1");
  says("/ca.pem --user stranger --password-file " + cFolder + "/right",
       "does not let this program read under lipc/other/#");
  says("/ca.pem --protocol 5 --user stranger --password-file " + cFolder + "/right",
       "does not take what this program sends");
  chmod((cFolder + "/right").c_str(), 0644);
  says("/ca.pem --user stranger --password-file " + cFolder + "/right", "may be read by others");
}

TEST_F(Mqtt, AThousandClientsAreOnTheBrokerAndAgainAfterItsDeathAndGoWithTheirTopics) {
  Broker broker;
  BareSession session;
  constexpr int cClients = 1000;
  // The row, the connections, what is set here, and three that the library never leaves at 0.
  constexpr int cTopics = 6;
  const auto name = [](int i) { return "client " + std::to_string(i); };
  const auto topicOf = [&](int i) { return "lipc/big/clients/client%20" + std::to_string(i); };
  const auto setValue = [&](int i, float value) {
    std::memcpy(session.row(i) + 144 + 4 * 110, &value, sizeof value);
  };
  for (int i = 0; i < cClients; ++i) {
    name(i).copy(session.row(i) + 72, 64);
    setValue(i, static_cast<float>(i + 1));
    name(i).copy(session.row(i), 64);
  }
  Bridge bridge(broker, "big");
  const auto holdsAll = [&](int offset) {
    Subscriber subscriber(broker, "lipc/big/#");
    const bool isThere = subscriber.until(60s, [&] {
      return subscriber.count() == 1 + cClients * cTopics &&
             subscriber.has("lipc/big/host", "alive");
    });
    ASSERT_TRUE(isThere) << subscriber.topics.size() << bridge.output();
    for (int i = 0; i < cClients; ++i) {
      const std::string value = "\"value\":" + std::to_string(i + offset) + ".0,";
      EXPECT_TRUE(subscriber.has(topicOf(i) + "/parameters/110", value)) << i;
      EXPECT_TRUE(subscriber.has(topicOf(i), "\"name\":\"" + name(i) + "\"")) << i;
      EXPECT_TRUE(subscriber.has(topicOf(i) + "/connections", "[]")) << i;
    }
  };
  holdsAll(1);
  broker.process->signal(SIGKILL);
  for (int i = 0; i < cClients; ++i)
    setValue(i, static_cast<float>(i + 2));
  broker.start();
  ASSERT_TRUE(bridge.waitForLine("connected to", 20s)) << bridge.output();
  holdsAll(2);

  Subscriber subscriber(broker, "lipc/big/#");
  for (int i = 0; i < cClients / 2; ++i)
    session.row(i)[0] = '\0';
  EXPECT_TRUE(subscriber.until(20s, [&] {
    return subscriber.count() == 1 + cClients / 2 * cTopics &&
           !subscriber.topics.contains(topicOf(0));
  })) << subscriber.topics.size();
}

}  // namespace
