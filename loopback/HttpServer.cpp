#include "loopback/HttpServer.h"

#include <sys/socket.h>

#include <string_view>
#include <utility>

#include "loopback/Sockets.h"

namespace norvane::loopback {

namespace {

/// Its header and the body that this announces.
bool IsComplete(const std::string& request) {
  constexpr std::string_view length = "\r\nContent-Length: ";
  const auto end = request.find("\r\n\r\n");
  const auto at = request.find(length);
  const std::size_t body = at < end ? std::stoul(request.substr(at + length.size())) : 0;
  return end != std::string::npos && request.size() >= end + 4 + body;
}

}  // namespace

HttpServer::HttpServer(const Options& options)
    : m_options(options),
      m_server(
          {.tls = options.tls, .isTlsFromStart = options.tls.has_value(), .changeTls = options.changeTls},
          [this] { return Begin(); }) {}

LoopbackServer::Dialogue HttpServer::Begin() {
  return [this, script = m_options.onConnect](std::string& received, bool) mutable -> std::optional<Saying> {
    if (!script && IsComplete(received)) script = Answer(received);
    if (!script) return std::nullopt;
    return Saying{script->bytes, script->end, script->forEver, {}, script->pace, script->piece};
  };
}

std::string HttpServer::Url(const std::string& path, const std::string& host) const {
  return (m_options.tls ? "https://" : "http://") + host + ":" + std::to_string(Port()) + path;
}

void HttpServer::Set(const std::string& path, Script script) {
  const std::lock_guard lock(m_mutex);
  m_scripts[path] = std::move(script);
}

std::vector<std::string> HttpServer::Requests() const {
  const std::lock_guard lock(m_mutex);
  return m_requests;
}

HttpServer::Script HttpServer::Answer(const std::string& request) {
  const auto from = request.find(' ') + 1;
  const auto target = request.substr(from, request.find(' ', from) - from);
  const std::lock_guard lock(m_mutex);
  if (m_keepsRequests) m_requests.push_back(request);
  auto script = m_scripts.find(target);
  if (script == m_scripts.end()) script = m_scripts.find(target.substr(0, target.find('?')));
  return script == m_scripts.end() ? Reply("nothing here", "text/plain", "404 Not Found") : script->second;
}

HttpServer::Script HttpServer::Reply(const std::string& body, const std::string& contentType,
                                     const std::string& status) {
  return {"HTTP/1.1 " + status + "\r\nContent-Type: " + contentType +
          "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body};
}

HttpServer::Script HttpServer::Redirect(const std::string& location) {
  return {"HTTP/1.1 302 Found\r\nLocation: " + location + "\r\nContent-Length: 0\r\n\r\n"};
}

RefusingPort::RefusingPort() : m_socket(BoundSocket(m_port)) {}

StalledPort::StalledPort() : m_socket(BoundSocket(m_port)) {
  if (::listen(m_socket.Get(), 0) != 0) ThrowErrno("listen");
  const auto address = Address(m_port);
  for (int i = 0; i < 4; ++i) {
    m_queued.push_back(NewSocket());
    // In progress or refused a place: the queue fills either way.
    static_cast<void>(
        ::connect(m_queued.back().Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  }
}

}  // namespace norvane::loopback
