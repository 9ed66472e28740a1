#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "platform/EventFd.h"
#include "platform/FileDescriptor.h"
#include "tests/support/Certificates.h"

namespace norvane::tests {

/// A web server on a loopback port of its own, in a thread of its own, that plays a script for each path. It
/// takes one request a connection.
class HttpServer {
 public:
  enum class End {
    Close,
    Silence,  ///< keeps the connection and says no more
    Reset,
  };
  /// What a connection gets.
  struct Script {
    std::string bytes;
    std::string forEver{};              ///< after the bytes, again and again
    std::chrono::milliseconds pace{0};  ///< unless 0: one byte, or one `forEver`, each time this has passed
    End end = End::Close;
  };
  struct Options {
    std::optional<Identity> tls{};
    /// Played as soon as a connection stands, before any request (and before TLS).
    std::optional<Script> onConnect{};
  };

  HttpServer() : HttpServer(Options{}) {}
  explicit HttpServer(const Options& options);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  [[nodiscard]] int Port() const { return m_port; }
  /// "http://127.0.0.1:PORT/path", or https.
  [[nodiscard]] std::string Url(const std::string& path, const std::string& host = "127.0.0.1") const;

  /// A path without a script gets 404. One that is set with a query is for that query alone.
  void Set(const std::string& path, Script script);
  /// The headers of the requests so far.
  [[nodiscard]] std::vector<std::string> Requests() const;
  /// Keeps no requests from here on, for endless use.
  void ForgetRequests() { m_keepsRequests = false; }

  [[nodiscard]] static Script Reply(const std::string& body, const std::string& contentType = "text/html",
                                    const std::string& status = "200 OK");
  [[nodiscard]] static Script Redirect(const std::string& location);

 private:
  class Connection;

  void Run();
  void Accept();
  [[nodiscard]] Script Answer(const std::string& request);
  void PlayPaced();

  std::string m_scheme;
  std::optional<Script> m_onConnect;
  TlsContext m_tls;
  int m_port = 0;  // told by the listener's making
  platform::FileDescriptor m_listener;
  platform::FileDescriptor m_epoll;
  platform::EventFd m_stop;
  mutable std::mutex m_mutex;  // guards the two below
  std::map<std::string, Script> m_scripts;
  std::vector<std::string> m_requests;
  std::atomic<bool> m_keepsRequests = true;
  int m_paced = 0;  // connections whose script has a pace
  std::unordered_map<int, std::unique_ptr<Connection>> m_connections;
  std::thread m_thread;
};

/// A loopback port that refuses every connection for as long as this stands.
class RefusingPort {
 public:
  RefusingPort();
  [[nodiscard]] int Port() const { return m_port; }

 private:
  int m_port = 0;  // told by the socket's making
  platform::FileDescriptor m_socket;
};

/// A loopback port to which no connection ever comes about: its queue is full.
class StalledPort {
 public:
  StalledPort();
  [[nodiscard]] int Port() const { return m_port; }

 private:
  int m_port = 0;  // told by the socket's making
  platform::FileDescriptor m_socket;
  std::vector<platform::FileDescriptor> m_queued;
};

}  // namespace norvane::tests
