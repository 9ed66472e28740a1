#include "tests/engine/net/FakeNameServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace norvane::tests {

namespace {
constexpr std::size_t HeaderSize = 12;
constexpr char TypeA = 1;
constexpr int Refused = 0x85, NoSuchName = 0x83, ServerFailure = 0x82, NoError = 0x80;

std::string Bytes(std::initializer_list<int> values) {
  return {values.begin(), values.end()};
}

/// Empty for no address.
std::string AddressBytes(int family, const std::string& address) {
  std::string bytes(family == AF_INET ? sizeof(in_addr) : sizeof(in6_addr), '\0');
  return ::inet_pton(family, address.c_str(), bytes.data()) == 1 ? bytes : std::string();
}
}  // namespace

/// The port is one that is free for TCP, of which there are fewer.
FakeNameServer::FakeNameServer(engine::EventLoop& loop, std::map<std::string, Entry> entries)
    : m_loop(loop),
      m_entries(std::move(entries)),
      m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
      m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* plain = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  if (::bind(m_listener.Get(), plain, size) != 0 || ::getsockname(m_listener.Get(), plain, &size) != 0 ||
      ::bind(m_socket.Get(), plain, size) != 0 || !m_loop.Watch(m_socket.Get(), EPOLLIN, *this))
    throw std::runtime_error("no name server on loopback");
  m_port = ntohs(address.sin_port);
}

FakeNameServer::~FakeNameServer() {
  for (auto* fd : {&m_socket, &m_listener, &m_connection})
    m_loop.Close(*fd);
}

void FakeNameServer::ListenByTcp() {
  if (::listen(m_listener.Get(), 1) != 0 || !m_loop.Watch(m_listener.Get(), EPOLLIN, *this))
    throw std::runtime_error("no name server by TCP");
}

void FakeNameServer::Ready(int fd, std::uint32_t) {
  if (fd == m_connection.Get()) return AnswerByTcp();
  if (fd == m_listener.Get()) {
    m_loop.Close(m_connection);
    m_connection.Reset(::accept4(fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    return static_cast<void>(m_loop.Watch(m_connection.Get(), EPOLLIN, *this));
  }
  while (AnswerByUdp()) {
  }
}

/// False when nothing has come.
bool FakeNameServer::AnswerByUdp() {
  std::array<char, 512> buffer;
  sockaddr_storage peer{};
  socklen_t size = sizeof peer;
  auto* plain = reinterpret_cast<sockaddr*>(&peer);
  const auto got = ::recvfrom(m_socket.Get(), buffer.data(), buffer.size(), 0, plain, &size);
  if (got <= static_cast<ssize_t>(HeaderSize)) return false;
  const auto answer = Answer({buffer.data(), static_cast<std::size_t>(got)}, false);
  if (!answer.empty()) ::sendto(m_socket.Get(), answer.data(), answer.size(), 0, plain, size);
  return true;
}

/// Messages are headed by their size.
void FakeNameServer::AnswerByTcp() {
  std::array<char, 4096> buffer;
  const auto got = ::recv(m_connection.Get(), buffer.data(), buffer.size(), 0);
  if (got <= 0) return m_loop.Close(m_connection);
  std::string questions(buffer.data(), static_cast<std::size_t>(got));
  while (questions.size() > 2) {
    const auto size = static_cast<std::size_t>(questions[1]);
    const auto answer = Answer(questions.substr(2, size), true);
    const auto message = Bytes({0, static_cast<int>(answer.size())}) + answer;
    ::send(m_connection.Get(), message.data(), message.size(), MSG_NOSIGNAL);
    questions.erase(0, 2 + size);
  }
}

std::string FakeNameServer::Answer(const std::string& question, bool isTcp) {
  std::string name;
  std::size_t at = HeaderSize;
  for (auto label = static_cast<std::size_t>(question.at(at)); label != 0;
       label = static_cast<std::size_t>(question.at(at))) {
    name += (name.empty() ? "" : ".") + question.substr(at + 1, label);
    at += 1 + label;
  }
  const char type = question.at(at + 2);
  if (type == TypeA) m_asked.push_back(name);
  const auto found = m_entries.find(name);
  const bool exists = found != m_entries.end();
  const auto entry = exists ? found->second : Entry{};
  const auto reply = type == TypeA ? entry.ipv4 : entry.ipv6;
  const bool isLate = reply == Reply::LateAnswer && std::ranges::count(m_asked, name) < 3;
  if (m_isSilent || entry.isSilent || reply == Reply::Silence || isLate || m_toLose-- > 0) return {};
  const bool isCut = entry.isLong && !isTcp;
  auto address =
      AddressBytes(type == TypeA ? AF_INET : AF_INET6, type == TypeA ? entry.address : entry.address6);
  const bool hasAddress = !address.empty() && reply != Reply::Failure && !m_refuses && !isCut;
  const int code = m_refuses                 ? Refused
                   : !exists                 ? NoSuchName
                   : reply == Reply::Failure ? ServerFailure
                                             : NoError;
  // Header: the question's id, an authoritative answer, how it went, counts.
  const int count = !hasAddress ? 0 : entry.hasTwo ? 2 : 1;
  auto answer = question.substr(0, 2) + Bytes({isCut ? 0x87 : 0x85, code, 0, 1, 0, count, 0, 0, 0, 0}) +
                question.substr(HeaderSize, at + 5 - HeaderSize);
  const auto ttl = entry.timeToLive;
  const auto size = static_cast<int>(address.size());
  const auto head = Bytes({0xc0, HeaderSize, 0, type, 0, 1, 0, 0, ttl >> 8, ttl & 0xff, 0, size});
  for (int i = 0; i < count; ++i, ++address.back())
    answer += head + address;
  return answer;
}

}  // namespace norvane::tests
