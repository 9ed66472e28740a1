#include "bench/BareMailLoop.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "loopback/Sockets.h"

namespace norvane::bench {

BareMailLoop::BareMailLoop(MailDialogue dialogue)
    : m_dialogue(std::move(dialogue)), m_epoll(::epoll_create1(EPOLL_CLOEXEC)) {
  for (auto& talk : m_talks)
    m_idle.push_back(&talk);
}

int BareMailLoop::Run(int checks, int perSecond) {
  const Pace pace(perSecond);
  std::array<epoll_event, InFlight> events;
  int begun = 0;
  int good = 0;
  for (int ended = 0; ended < checks;) {
    for (; !m_idle.empty() && begun < checks && pace.Allows(begun); ++begun)
      Begin();
    const int count = ::epoll_wait(m_epoll.Get(), events.data(), events.size(), pace.LongestWait());
    for (int i = 0; i < count; ++i) {
      auto& talk = *static_cast<Talk*>(events[static_cast<std::size_t>(i)].data.ptr);
      if (Answer(talk)) continue;
      good += talk.said == m_dialogue.commands.size();
      ++ended;
      talk.socket.Reset();
      m_idle.push_back(&talk);
    }
  }
  return good;
}

void BareMailLoop::Begin() {
  auto& talk = *m_idle.back();
  m_idle.pop_back();
  talk = {loopback::NewSocket(), 0};
  const auto address = loopback::Address(m_dialogue.port);
  if (::connect(talk.socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
      errno != EINPROGRESS)
    loopback::ThrowErrno("connect");
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.ptr = &talk;
  if (::epoll_ctl(m_epoll.Get(), EPOLL_CTL_ADD, talk.socket.Get(), &event) != 0)
    loopback::ThrowErrno("epoll_ctl");
}

bool BareMailLoop::Answer(Talk& talk) {
  std::array<char, 4096> buffer;
  const auto got = ::recv(talk.socket.Get(), buffer.data(), buffer.size(), 0);
  if (got <= 0 || m_dialogue.accepting.find(buffer[0]) == std::string::npos) return false;
  const auto& command = m_dialogue.commands[talk.said];
  if (::send(talk.socket.Get(), command.data(), command.size(), MSG_NOSIGNAL) < 0) return false;
  return ++talk.said < m_dialogue.commands.size();
}

}  // namespace norvane::bench
