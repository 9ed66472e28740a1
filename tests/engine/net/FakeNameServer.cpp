#include "tests/engine/net/FakeNameServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>

namespace norvane::tests {

namespace {
constexpr std::size_t HeaderSize = 12;
constexpr char TypeA = 1;

std::string Bytes(std::initializer_list<int> values) {
  return {values.begin(), values.end()};
}
}  // namespace

FakeNameServer::FakeNameServer(engine::EventLoop& loop, std::map<std::string, Entry> entries)
    : m_loop(loop),
      m_entries(std::move(entries)),
      m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* plain = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  if (::bind(m_socket.Get(), plain, size) != 0 || ::getsockname(m_socket.Get(), plain, &size) != 0 ||
      !m_loop.Watch(m_socket.Get(), EPOLLIN, *this))
    throw std::runtime_error("no name server on loopback");
  m_port = ntohs(address.sin_port);
}

FakeNameServer::~FakeNameServer() {
  m_loop.Forget(m_socket.Get());
}

void FakeNameServer::Ready(int fd, std::uint32_t) {
  std::array<char, 512> buffer;
  sockaddr_storage peer{};
  socklen_t size = sizeof peer;
  auto* plain = reinterpret_cast<sockaddr*>(&peer);
  const auto got = ::recvfrom(fd, buffer.data(), buffer.size(), 0, plain, &size);
  if (got <= static_cast<ssize_t>(HeaderSize)) return;
  const auto answer = Answer({buffer.data(), static_cast<std::size_t>(got)});
  if (!m_isSilent) ::sendto(fd, answer.data(), answer.size(), 0, plain, size);
}

std::string FakeNameServer::Answer(const std::string& question) {
  std::string name;
  std::size_t at = HeaderSize;
  for (auto label = static_cast<std::size_t>(question.at(at)); label != 0;
       label = static_cast<std::size_t>(question.at(at))) {
    name += (name.empty() ? "" : ".") + question.substr(at + 1, label);
    at += 1 + label;
  }
  const bool wantsAddress = question.at(at + 2) == TypeA;
  if (wantsAddress) m_asked.push_back(name);
  const auto entry = m_entries.find(name);
  const bool exists = entry != m_entries.end();
  // Header: the question's id, an authoritative answer, no error, "no such name" or "refused", counts.
  auto answer = question.substr(0, 2) +
                Bytes({0x85,
                       m_refuses ? 0x85
                       : exists  ? 0x80
                                 : 0x83,
                       0, 1, 0, exists && wantsAddress && !m_refuses, 0, 0, 0, 0}) +
                question.substr(HeaderSize, at + 5 - HeaderSize);
  if (!exists || !wantsAddress || m_refuses) return answer;
  const auto ttl = entry->second.timeToLive;
  answer += Bytes({0xc0, HeaderSize, 0, TypeA, 0, 1, 0, 0, ttl >> 8, ttl & 0xff, 0, 4});
  in_addr address{};
  ::inet_pton(AF_INET, entry->second.address.c_str(), &address);
  return answer.append(reinterpret_cast<const char*>(&address), sizeof address);
}

}  // namespace norvane::tests
