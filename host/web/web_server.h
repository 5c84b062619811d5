#pragma once

#include <memory>
#include <string>

#include "host/web/live_feed.h"

namespace halden::host {

/// Where the page is served.
struct WebAddress {
  std::string address = "127.0.0.1";  ///< a numeric address of this machine
  int port = 0;                       ///< 1 to 65535; 0: none is served
  std::string token;                  ///< that the address of the page must carry; empty: none

  /// Whether only programs of this machine can reach it.
  bool IsLocal() const { return address.starts_with("127.") || address == "::1"; }
};

/// Serves the page, its events and the last values over HTTP, on threads of its own. It only reads the feed:
/// no request can change anything. The destructor ends all connections, within a second.
class WebServer {
 public:
  virtual ~WebServer() = default;

  /// `feed` must outlive the server, and end before it is destroyed. Null on failure; then `error` is one
  /// line that says why.
  static std::unique_ptr<WebServer> Start(const WebAddress& where, LiveFeed& feed, std::string* error);
  /// What to type into a browser.
  static std::string UrlOf(const WebAddress& where);
};

/// A feed with its server, for a recording or for live values.
struct WebView {
  WebView(std::string device, std::vector<Column> columns) : feed(std::move(device), std::move(columns)) {}
  ~WebView() { feed.End(); }

  LiveFeed feed;
  std::unique_ptr<WebServer> server;  // destroyed before the feed
};

}  // namespace halden::host
