#include "engine/net/NameChannel.h"

#include <ares.h>
#include <sys/epoll.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>

#include "engine/net/Reason.h"
#include "platform/NumericAddress.h"

namespace norvane::engine {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Outcome = NameResult::Outcome;

namespace {

constexpr seconds ShortestKept{5};
constexpr seconds LongestKept{300};
constexpr seconds FailureKept{5};
constexpr std::size_t MaxAddresses = 16;
/// How often c-ares looks for what has timed out. To ask it when that will be takes a walk of all lookups.
constexpr milliseconds Tick{50};

std::string FailureText(int status) {
  switch (status) {
    case ARES_ENOTFOUND:
    case ARES_ENODATA:
      return "name not found";
    case ARES_EBADNAME:
      return "invalid host name";
    case ARES_ETIMEOUT:
      return "no answer from the name server";
    case ARES_ECONNREFUSED:  // or it answered that it cannot, or will not
      return "no usable answer from the name server";
    default:
      return PlainText(std::string("name lookup failed: ") + ares_strerror(status));
  }
}

Outcome OutcomeOf(int status) {
  switch (status) {
    case ARES_SUCCESS:
      return Outcome::Found;
    case ARES_ENODATA:
    case ARES_EBADRESP:
      return Outcome::Empty;
    case ARES_ETIMEOUT:
      return Outcome::TimedOut;
    default:
      return Outcome::Unknown;
  }
}

/// What is answered at once was not asked of a server.
NameResult::Source SourceOf(int status, bool isAtOnce) {
  if (status == ARES_ETIMEOUT || status == ARES_ECONNREFUSED) return NameResult::Source::None;
  return isAtOnce ? NameResult::Source::Nobody : NameResult::Source::Server;
}

void Read(int status, const ares_addrinfo* info, NameResult& result) {
  result.keep = LongestKept;
  result.answer.addresses.clear();
  for (auto* node = info != nullptr ? info->nodes : nullptr; node != nullptr; node = node->ai_next) {
    result.keep = std::min(result.keep, seconds{node->ai_ttl});
    if (result.answer.addresses.size() < MaxAddresses)
      result.answer.addresses.push_back(platform::NumericAddressText(*node->ai_addr));
  }
  if (status == ARES_SUCCESS && result.answer.addresses.empty()) status = ARES_ENODATA;
  result.outcome = OutcomeOf(status);
  if (status != ARES_SUCCESS) {
    result.answer.addresses.clear();
    result.answer.failure = FailureText(status);
    result.keep = FailureKept;
  }
  result.keep = std::max(result.keep, ShortestKept);
}

}  // namespace

NameChannel::NameChannel(EventLoop& loop, const Options& options, Transport transport, Answered answered)
    : m_loop(loop),
      m_transport(transport),
      m_answered(std::move(answered)),
      m_tick(loop, loop, [this] { Process(ARES_SOCKET_BAD, ARES_SOCKET_BAD); }) {
  static const int library = ares_library_init(ARES_LIB_INIT_ALL);
  const bool isTcp = transport == Transport::Tcp;
  char lookups[] = "b";  // the servers alone: c-ares would read the hosts file for each name
  std::string serversFile = options.serversFile;
  ares_options wanted{};
  wanted.flags = isTcp ? ARES_FLAG_USEVC : ARES_FLAG_IGNTC;
  wanted.timeout = static_cast<int>(options.tryTimeout.count());
  wanted.tries = isTcp ? 1 : options.tries;
  wanted.lookups = lookups;
  wanted.resolvconf_path = serversFile.data();
  wanted.sock_state_cb = &NameChannel::SocketState;
  wanted.sock_state_cb_data = this;
  const int mask = ARES_OPT_FLAGS | ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_LOOKUPS |
                   ARES_OPT_RESOLVCONF | ARES_OPT_SOCK_STATE_CB;
  ares_channel channel = nullptr;
  int status = library == ARES_SUCCESS ? ares_init_options(&channel, &wanted, mask) : library;
  m_channel.reset(channel);
  if (status == ARES_SUCCESS && !options.servers.empty())
    status = ares_set_servers_ports_csv(channel, options.servers.c_str());
  if (status != ARES_SUCCESS)
    throw std::runtime_error(std::string("cannot set up name lookup: ") + ares_strerror(status));
  m_tick.Set(m_loop.Now());  // from now on `Set` allocates nothing
}

NameChannel::~NameChannel() = default;

void NameChannel::Free::operator()(ares_channeldata* channel) const noexcept {
  ares_destroy(channel);
}

void NameChannel::Ask(NameQuestion& question, const std::string& host, int family, Moment now) noexcept {
  question.channel = this;
  // Not by each, or no time-out would come as long as lookups begin.
  if (m_underWay++ == 0) m_tick.Set(now + Tick);
  ares_addrinfo_hints hints{};
  hints.ai_family = family;
  hints.ai_socktype = SOCK_STREAM;
  // To sort addresses takes a socket for each, and TCP brings thousands.
  if (m_transport == Transport::Tcp) hints.ai_flags = ARES_AI_NOSORT;
  m_isAsking = true;
  ares_getaddrinfo(m_channel.get(), host.c_str(), nullptr, &hints, &NameChannel::OnAnswer, &question);
  m_isAsking = false;
}

void NameChannel::SocketState(void* self, int fd, int readable, int writable) noexcept {
  auto& channel = *static_cast<NameChannel*>(self);
  if (readable == 0 && writable == 0) return channel.m_loop.Forget(fd);
  const auto events = (readable != 0 ? EPOLLIN : 0u) | (writable != 0 ? EPOLLOUT : 0u);
  // If the kernel cannot watch it, the lookup ends by its own time-out.
  static_cast<void>(channel.m_loop.Watch(fd, events, channel));
}

void NameChannel::OnAnswer(void* argument, int status, int, ares_addrinfo* info) noexcept {
  const std::unique_ptr<ares_addrinfo, decltype(&ares_freeaddrinfo)> owned(info, &ares_freeaddrinfo);
  if (status == ARES_EDESTRUCTION || status == ARES_ECANCELLED) return;  // the channel goes
  auto& question = *static_cast<NameQuestion*>(argument);
  auto& channel = *question.channel;
  --channel.m_underWay;
  question.source = SourceOf(status, channel.m_isAsking);
  if (channel.m_transport == Transport::Tcp && status == ARES_ETIMEOUT)
    status = ARES_ECONNREFUSED;  // it has answered by UDP
  try {
    Read(status, info, question);
  } catch (const std::bad_alloc&) {
    question.outcome = Outcome::Unknown;
    question.answer.addresses.clear();
    question.answer.failure = "out of memory";  // short enough to need none
    question.keep = {};
  }
  channel.m_answered(question);
}

void NameChannel::Ready(int fd, std::uint32_t events) {
  const bool canWrite = (events & EPOLLOUT) != 0;
  const bool canRead = (events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0;  // errors are found by reading
  Process(canRead ? fd : ARES_SOCKET_BAD, canWrite ? fd : ARES_SOCKET_BAD);
}

void NameChannel::Process(int readable, int writable) {
  ares_process_fd(m_channel.get(), readable, writable);
  if (m_underWay > 0) m_tick.Set(m_loop.Now() + Tick);
}

}  // namespace norvane::engine
