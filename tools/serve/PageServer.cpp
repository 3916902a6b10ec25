// SPDX-License-Identifier: BSL-1.0
#include "tools/serve/PageServer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <mutex>
#include <thread>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "lipc/util/SystemError.h"
#include "tools/Failure.h"
#include "tools/Picture.h"
#include "tools/Text.h"
#include "tools/Workers.h"
#include "tools/serve/PageFiles.h"

namespace tools {
namespace {

using httplib::Request;
using httplib::Response;
using std::chrono::milliseconds;

constexpr milliseconds cPictureLimit{3000};
constexpr milliseconds cKeepAlive{1000};    // a reader that went away is noticed by then
constexpr milliseconds cReadTimeout{1000};  // of a request that was sent by half
constexpr int cBacklog = 128;
constexpr int cSendBufferBytes = 64 * 1024;  // so that no old levels pile up for a slow reader
constexpr std::size_t cMostBodyBytes = 4096;

constexpr char cPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";
/// The drawing brings its own styles.
constexpr char cDrawingPolicy[] = "default-src 'none'; style-src 'unsafe-inline'; sandbox";
constexpr char cJson[] = "application/json";
constexpr char cNotInTime[] = "the session could not be read in time.";

const char* mediaType(std::string_view file) {
  if (file.ends_with(".html")) return "text/html; charset=utf-8";
  if (file.ends_with(".css")) return "text/css; charset=utf-8";
  if (file.ends_with(".js")) return "text/javascript; charset=utf-8";
  return "image/svg+xml";
}

/// The name in a Host header, without its port and in small letters; empty where it is none.
std::string hostIn(const std::string& header) {
  std::string host = header;
  const std::size_t end = host.starts_with('[') ? host.find(']') : std::string::npos;
  const std::size_t colon = host.find(':', end == std::string::npos ? 0 : end);
  if (colon != std::string::npos) {
    const std::string port = host.substr(colon + 1);
    if (port.find_first_not_of("0123456789") != std::string::npos) return {};
    host.resize(colon);
  }
  std::transform(host.begin(), host.end(), host.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return host;
}

/// Of the addresses that stand for all of them: the one that this machine has for itself.
std::string reachable(const std::string& address) {
  return address == "0.0.0.0" ? "127.0.0.1" : address == "::" ? "::1" : address;
}

std::string bracketed(const std::string& address) {
  return address.find(':') != std::string::npos ? "[" + address + "]" : address;
}

bool isLoopback(const std::string& address) {
  return address.starts_with("127.") || address == "::1" || address.starts_with("::ffff:127.");
}

void refuse(Response& response, int status, const std::string& sentence) {
  response.status = status;
  response.set_content("lipc: " + sentence + "\n", "text/plain; charset=utf-8");
}

void setSocketOptions(int socket) {
  // deliberate: not SO_REUSEPORT, with which a second server would get a part of the requests.
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &cSendBufferBytes, sizeof cSendBufferBytes);
}

}  // namespace

class PageServer::Site final : public httplib::Server {
 public:
  Site(SessionFeed& feed, const PageOptions& options) : mFeed(feed), mOptions(options) {
    new_task_queue = [] { return new Workers(cMostReaders + cSpareThreads); };
    set_socket_options(setSocketOptions);
    set_keep_alive_max_count(1);  // a thread that waits for a next request is missing elsewhere
    set_keep_alive_timeout(1);
    set_read_timeout(cReadTimeout);
    set_write_timeout(cWriteTimeout);
    set_payload_max_length(cMostBodyBytes);
    set_tcp_nodelay(true);
    set_default_headers({{"X-Content-Type-Options", "nosniff"},
                         {"X-Frame-Options", "DENY"},
                         {"Referrer-Policy", "no-referrer"},
                         {"Cross-Origin-Resource-Policy", "same-origin"},
                         {"Cross-Origin-Opener-Policy", "same-origin"},
                         {"Cache-Control", "no-store"}});
    set_pre_routing_handler([this](const Request& request, Response& response) {
      return isAllowed(request, response) ? HandlerResponse::Unhandled : HandlerResponse::Handled;
    });
    set_error_handler([](const Request&, Response& response) {
      if (response.body.empty()) refuse(response, response.status, "there is no such page.");
    });
    set_post_routing_handler([](const Request&, Response& response) {
      if (!response.has_header("Content-Security-Policy"))
        response.set_header("Content-Security-Policy", cPolicy);
    });
    addPages();
    listenAt();
  }

  const std::string& url() const { return mURL; }

 private:
  void listenAt() {
    errno = 0;
    const int port = mOptions.port == 0 ? bind_to_any_port(mOptions.address)
                     : bind_to_port(mOptions.address, mOptions.port) ? mOptions.port
                                                                     : -1;
    if (port <= 0)
      throw Failure(
          eExitCannotServe,
          "the page cannot be served at {}, port {}: {}. Take another port with --port, "
          "0 for any that is free, or an address of this machine with --bind.",
          printable(mOptions.address), mOptions.port,
          errno != 0 ? LIPC::systemErrorText(errno) : "that is no address of this machine");
    ::listen(svr_sock_, cBacklog);
    mURL = fmt::format("http://{}:{}/", bracketed(reachable(mOptions.address)), port);
  }

  bool isAllowed(const Request& request, Response& response) const {
    if (request.method != "GET" && request.method != "HEAD") {
      response.set_header("Allow", "GET, HEAD");
      refuse(response, 405, "this page can be read and nothing else.");
    } else if (request.get_header_value_count("Host") != 1 ||
               !isOwnName(hostIn(request.get_header_value("Host")), request.local_addr)) {
      refuse(response, 421,
             "this page is not served under that name. Start lipc serve with --host-name for "
             "another name of this machine.");
    } else if (isForeign(request)) {
      refuse(response, 403, "pages of other origins may not read this one.");
    } else {
      return true;
    }
    return false;
  }

  bool isOwnName(const std::string& name, const std::string& localAddress) const {
    if (name.empty()) return false;
    if (name == bracketed(localAddress) || name == bracketed(mOptions.address)) return true;
    if (name == "localhost") return isLoopback(localAddress);
    return std::any_of(mOptions.hostNames.begin(), mOptions.hostNames.end(),
                       [&](const std::string& own) { return hostIn(own) == name; });
  }

  /// Made by a page of another origin, as browsers say. Following a link to the page is not.
  static bool isForeign(const Request& request) {
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    return request.path != "/" && (site == "cross-site" || site == "same-site");
  }

  void addPages() {
    for (const PageFile& file : cPageFiles) {
      const std::string name = file.name == "index.html" ? "" : std::string(file.name);
      Get("/" + name, [&file](const Request&, Response& response) {
        response.set_content(file.bytes.data(), file.bytes.size(), mediaType(file.name));
      });
    }
    Get("/events",
        [this](const Request& request, Response& response) { stream(request, response); });
    Get("/graph.svg", [this](const Request&, Response& response) {
      const std::string graph = SessionFeed::Looker(mFeed).graph(cPictureLimit);
      if (graph.empty()) return refuse(response, 503, cNotInTime);
      response.set_header("Content-Security-Policy", cDrawingPolicy);
      response.set_content(graph, "image/svg+xml");
    });
    Get("/session", [this](const Request&, Response& response) {
      if (const auto picture = look(response))
        response.set_content(dump(pageWhole(*picture), -1) + "\n", cJson);
    });
    Get("/client", [this](const Request& request, Response& response) {
      const auto picture = look(response);
      if (!picture) return;
      if (const TopRow* row = findRow(*picture, request.get_param_value("key")))
        response.set_content(dump(pageDetails(*picture, *row), -1) + "\n", cJson);
      else
        refuse(response, 404, "that client is not there any more.");
    });
  }

  std::shared_ptr<const PagePicture> look(Response& response) {
    auto picture = SessionFeed::Looker(mFeed, true).picture(cPictureLimit);
    if (!picture) refuse(response, 503, cNotInTime);
    return picture;
  }

  /// One of the places for readers, for as long as it lives.
  struct Place {
    explicit Place(std::atomic<int>& taken) : mTaken(taken) { isFree = mTaken++ < cMostReaders; }
    ~Place() { --mTaken; }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    bool isFree;

   private:
    std::atomic<int>& mTaken;
  };

  void stream(const Request& request, Response& response) {
    const auto place = std::make_shared<Place>(mReaders);
    if (!place->isFree) {
      response.set_header("Retry-After", "5");
      refuse(response, 503,
             fmt::format("{} readers look already. Close one of them.", int{cMostReaders}));
      return;
    }
    if (request.method == "HEAD") {
      response.set_content("", "text/event-stream");
      return;
    }
    const auto looker = std::make_shared<SessionFeed::Looker>(mFeed);
    response.set_chunked_content_provider("text/event-stream",
                                          [place, looker](std::size_t, httplib::DataSink& sink) {
                                            const auto text = looker->next(cKeepAlive);
                                            if (!text) return false;
                                            return sink.write(text->data(), text->size());
                                          });
  }

  SessionFeed& mFeed;
  const PageOptions mOptions;
  std::string mURL;
  std::atomic<int> mReaders{0};
};

PageServer::PageServer(SessionFeed& feed, const PageOptions& options)
    : mSite(std::make_unique<Site>(feed, options)) {}

PageServer::~PageServer() = default;

const std::string& PageServer::url() const {
  return mSite->url();
}

void PageServer::run() {
  mSite->listen_after_bind();
}

void PageServer::stop() {
  mSite->stop();
}

}  // namespace tools
