#include "loopback/NameServer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <utility>

#include "loopback/Sockets.h"

namespace norvane::loopback {

namespace {
constexpr std::size_t HeaderSize = 12;
constexpr std::size_t TypeAndClass = 4;
constexpr char TypeA = 1;
constexpr int ReceiveBuffer = 4 << 20;

std::string Bytes(std::initializer_list<int> values) {
  return {values.begin(), values.end()};
}
}  // namespace

std::optional<DnsQuestion> DnsQuestion::Parse(std::string_view message) {
  DnsQuestion question;
  std::size_t at = HeaderSize;
  while (at < message.size() && message[at] != 0) {
    const auto size = static_cast<unsigned char>(message[at]);
    question.name += question.name.empty() ? "" : ".";
    question.name += message.substr(at + 1, size);
    at += 1u + size;
  }
  const auto end = at + 1 + TypeAndClass;
  if (end > message.size()) return std::nullopt;
  question.wantsIPv4 = message[at + 2] == TypeA;
  question.id = message.substr(0, 2);
  question.section = message.substr(HeaderSize, end - HeaderSize);
  return question;
}

std::string DnsQuestion::Header(int answers, bool isTruncated) const {
  return id + Bytes({isTruncated ? 0x87 : 0x85, 0x80, 0, 1, 0, answers, 0, 0, 0, 0}) + section;
}

std::string DnsQuestion::Reply(const std::string& address) const {
  if (address.empty() || !wantsIPv4) return Header(0);
  in_addr bytes{};
  ::inet_pton(AF_INET, address.c_str(), &bytes);
  return Header(1) + Bytes({0xc0, HeaderSize, 0, TypeA, 0, 1, 0, 0, 0, 5, 0, 4}) +
         std::string(reinterpret_cast<const char*>(&bytes), sizeof bytes);
}

NameServer::NameServer(int port, Answer answer)
    : m_answer(std::move(answer)), m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
  auto address = Address(port);
  auto* plain = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  ::setsockopt(m_socket.Get(), SOL_SOCKET, SO_RCVBUF, &ReceiveBuffer, sizeof ReceiveBuffer);
  if (::bind(m_socket.Get(), plain, size) != 0 || ::getsockname(m_socket.Get(), plain, &size) != 0)
    ThrowErrno("name server");
  m_port = ntohs(address.sin_port);
  m_thread = std::thread([this] { Run(); });
}

NameServer::~NameServer() {
  m_stop.Signal();
  m_thread.join();
}

void NameServer::Run() {
  std::array<pollfd, 2> fds{{{m_socket.Get(), POLLIN, 0}, {m_stop.Fd(), POLLIN, 0}}};
  while (::poll(fds.data(), fds.size(), -1) > 0 && fds[1].revents == 0)
    AnswerOne();
}

void NameServer::AnswerOne() {
  std::array<char, 512> buffer;
  sockaddr_storage peer{};
  auto* plain = reinterpret_cast<sockaddr*>(&peer);
  socklen_t size = sizeof peer;
  const auto got = ::recvfrom(m_socket.Get(), buffer.data(), buffer.size(), 0, plain, &size);
  if (got <= 0) return;
  const auto question = DnsQuestion::Parse({buffer.data(), static_cast<std::size_t>(got)});
  const auto answer = question ? m_answer(*question) : std::string();
  if (!answer.empty()) ::sendto(m_socket.Get(), answer.data(), answer.size(), 0, plain, size);
}

}  // namespace norvane::loopback
