#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "loopback/LoopbackServer.h"

namespace norvane::loopback {

/// A web server that plays a script for each path. One request per connection.
class HttpServer {
 public:
  using End = Saying::End;
  /// What a connection gets, as in `Saying`.
  struct Script {
    std::string bytes;
    std::string forEver{};
    std::chrono::milliseconds pace{0};
    End end = End::Close;
    std::size_t piece = 0;
  };
  struct Options {
    std::optional<Identity> tls{};
    std::optional<Script> onConnect{};  ///< played as soon as there is a connection, before any request
    std::function<void(SSL_CTX*)> changeTls{};
  };

  HttpServer() : HttpServer(Options{}) {}
  explicit HttpServer(const Options& options);

  [[nodiscard]] int Port() const { return m_server.Port(); }
  /// "http://127.0.0.1:PORT/path", or https.
  [[nodiscard]] std::string Url(const std::string& path, const std::string& host = "127.0.0.1") const;

  /// A path without a script gets 404. One that is set with a query is for that query alone.
  void Set(const std::string& path, Script script);
  /// The requests so far, with their bodies.
  [[nodiscard]] std::vector<std::string> Requests() const;
  /// Keeps no requests from here on, for endless use.
  void ForgetRequests() { m_keepsRequests = false; }

  [[nodiscard]] static Script Reply(const std::string& body, const std::string& contentType = "text/html",
                                    const std::string& status = "200 OK");
  [[nodiscard]] static Script Redirect(const std::string& location);

 private:
  [[nodiscard]] LoopbackServer::Dialogue Begin();
  [[nodiscard]] Script Answer(const std::string& request);

  const Options m_options;
  mutable std::mutex m_mutex;  // guards the two below
  std::map<std::string, Script> m_scripts;
  std::vector<std::string> m_requests;
  std::atomic<bool> m_keepsRequests = true;
  LoopbackServer m_server;  // last, since its thread uses the others
};

/// A loopback port that refuses every connection while this object lives.
class RefusingPort {
 public:
  RefusingPort();
  [[nodiscard]] int Port() const { return m_port; }

 private:
  int m_port = 0;  // set when the socket is bound
  platform::FileDescriptor m_socket;
};

/// A loopback port that accepts no connection: its backlog is full.
class StalledPort {
 public:
  StalledPort();
  [[nodiscard]] int Port() const { return m_port; }

 private:
  int m_port = 0;  // set when the socket is bound
  platform::FileDescriptor m_socket;
  std::vector<platform::FileDescriptor> m_queued;
};

}  // namespace norvane::loopback
