#include "host/web/web_server.h"

#if HALDEN_WEB
#include <atomic>
#include <cerrno>
#include <cstring>
#include <httplib.h>
#include <thread>
#include <utility>
#include <web_page.h>  // made by the build
#endif

namespace halden::host {

std::string WebServer::UrlOf(const WebAddress& where) {
  const bool is_v6 = where.address.find(':') != std::string::npos;
  const std::string host = is_v6 ? "[" + where.address + "]" : where.address;
  return "http://" + host + ":" + std::to_string(where.port) + "/" +
         (where.token.empty() ? "" : "?token=" + where.token);
}

#if !HALDEN_WEB

std::unique_ptr<WebServer> WebServer::Start(const WebAddress&, LiveFeed&, std::string* error) {
  *error =
      "--serve is not in this program: install npm and libcpp-httplib-dev, and build it again (not on "
      "Windows)";
  return nullptr;
}

#else
namespace {

constexpr int kMostStreams = 8;
constexpr int kThreads = kMostStreams + 4;           // a stream keeps its thread
constexpr std::chrono::milliseconds kPatience(800);  // for a client that takes nothing; also delays the end

/// Takes as long for any wrong text of the same length, so that a token can't be guessed letter by letter.
bool SameText(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  int difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) difference |= a[i] ^ b[i];
  return difference == 0;
}

class HttpServer final : public WebServer {
 public:
  HttpServer(const WebAddress& where, LiveFeed& feed) : where_(where), feed_(feed) {
    server_.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server_.set_write_timeout(kPatience);
    server_.set_read_timeout(std::chrono::seconds(2));
    server_.set_keep_alive_max_count(1);  // an idle connection would keep a thread
    server_.set_payload_max_length(1024);
    server_.set_pre_routing_handler([this](const auto& request, auto& response) {
      if (IsAllowed(request)) return httplib::Server::HandlerResponse::Unhandled;
      response.status = 404;
      return httplib::Server::HandlerResponse::Handled;
    });
    server_.Get("/", [](const auto&, auto& response) {
      response.set_header("Content-Security-Policy", kPagePolicy);
      SetHeaders(response);
      response.set_content(kPage.data(), kPage.size(), "text/html; charset=utf-8");
    });
    server_.Get("/latest", [this](const auto&, auto& response) {
      SetHeaders(response);
      response.set_content(feed_.Latest(), "application/json");
    });
    server_.Get("/stream", [this](const auto&, auto& response) { Stream(response); });
  }

  ~HttpServer() override {
    ending_ = true;
    server_.stop();
    if (thread_.joinable()) thread_.join();
  }

  bool Listen() {
    if (!server_.bind_to_port(where_.address, where_.port)) return false;
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::yield();  // otherwise an early stop would be lost
    return true;
  }

 private:
  static void SetHeaders(httplib::Response& response) {
    response.set_header("Cache-Control", "no-store");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "no-referrer");
  }

  /// Only reading, and only with the token. Without one the page is for this machine, and a name in the Host
  /// header that isn't this machine's comes from a page elsewhere that has pointed its own name at us.
  bool IsAllowed(const httplib::Request& request) const {
    if (request.method != "GET" && request.method != "HEAD") return false;
    if (!where_.token.empty()) return SameText(request.get_param_value("token"), where_.token);
    const std::string host = request.get_header_value("Host");
    const std::string name = host.substr(0, host.rfind(':'));
    return name == "localhost" || name == "[::1]" || name == where_.address;
  }

  void Stream(httplib::Response& response) {
    if (streams_.fetch_add(1) >= kMostStreams) {
      --streams_;
      response.status = 503;
      response.set_content("there are 8 viewers already\n", "text/plain");
      return;
    }
    SetHeaders(response);
    response.set_chunked_content_provider(
        "text/event-stream",
        [this, client = feed_.Join(), greeted = false](std::size_t, httplib::DataSink& sink) mutable {
          if (!std::exchange(greeted, true)) return Write(sink, feed_.Hello());
          const auto events = ending_ ? std::nullopt : client->Next(std::chrono::milliseconds(500));
          // A comment shows whether the client is still there.
          if (events) return Write(sink, events->empty() ? ":\n\n" : *events);
          Write(sink, "event: end\ndata:\n\n");
          sink.done();
          return true;
        },
        [this](bool) { --streams_; });
  }

  static bool Write(httplib::DataSink& sink, const std::string& text) {
    return sink.write(text.data(), text.size());
  }

  const WebAddress where_;
  LiveFeed& feed_;
  httplib::Server server_;
  std::atomic<int> streams_ = 0;
  std::atomic<bool> ending_ = false;
  std::thread thread_;
};

}  // namespace

std::unique_ptr<WebServer> WebServer::Start(const WebAddress& where, LiveFeed& feed, std::string* error) {
  auto server = std::make_unique<HttpServer>(where, feed);
  if (server->Listen()) return server;
  *error = "--serve " + where.address + ":" + std::to_string(where.port) +
           ": can't listen there: " + std::strerror(errno);
  return nullptr;
}

#endif

}  // namespace halden::host
