#include "engine/net/Resolver.h"

#include <ares.h>
#include <sys/epoll.h>
#include <sys/stat.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>

#include "engine/net/Reason.h"
#include "platform/Ascii.h"
#include "platform/NumericAddress.h"

namespace norvane::engine {

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr seconds ShortestKept{5};
constexpr seconds LongestKept{300};
constexpr seconds FailureKept{5};
constexpr std::size_t MaxAddresses = 16;
constexpr const char* ResolvConf = "/etc/resolv.conf";

/// Always this machine, whatever files or name servers say (RFC 6761, section 6.3).
bool IsLocalhost(const std::string& host) {
  return platform::EqualsIgnoringCase(host, "localhost");
}

/// The bare address if `host` is one.
std::string NumericAddress(std::string_view host) {
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  const std::string bare(bracketed ? host.substr(1, host.size() - 2) : host);
  const bool isNumeric =
      bracketed ? platform::IsNumericIPv6(bare) : platform::ParseNumericAddress(bare).has_value();
  return isNumeric ? bare : std::string();
}

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

/// Differs for a file that was changed or replaced.
std::pair<timespec, ino_t> StampOf(const char* path) {
  struct stat status {};
  ::stat(path, &status);  // a missing file has the stamp of zeros
  return {status.st_mtim, status.st_ino};
}

bool Same(const std::pair<timespec, ino_t>& a, const std::pair<timespec, ino_t>& b) {
  return a.second == b.second && a.first.tv_sec == b.first.tv_sec && a.first.tv_nsec == b.first.tv_nsec;
}

}  // namespace

/// The one place that touches c-ares: a channel with its sockets in the loop.
class Resolver::Channel : public Watcher {
 public:
  Channel(Resolver& owner, const Options& options)
      : m_owner(owner),
        m_stamp(StampOf(ResolvConf)),
        m_timer(owner.m_loop, owner.m_loop, [this] { Process(ARES_SOCKET_BAD, 0); }) {
    static const int library = ares_library_init(ARES_LIB_INIT_ALL);
    char lookups[] = "fb";  // the hosts file, then the servers
    ares_options wanted{};
    wanted.timeout = static_cast<int>(options.tryTimeout.count());
    wanted.tries = options.tries;
    wanted.lookups = lookups;
    wanted.sock_state_cb = &Channel::SocketState;
    wanted.sock_state_cb_data = this;
    const int mask = ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_LOOKUPS | ARES_OPT_SOCK_STATE_CB;
    int status = library == ARES_SUCCESS ? ares_init_options(&m_channel, &wanted, mask) : library;
    if (status == ARES_SUCCESS && !options.nameServers.empty())
      status = ares_set_servers_ports_csv(m_channel, options.nameServers.c_str());
    if (status == ARES_SUCCESS) return;
    if (m_channel != nullptr) ares_destroy(m_channel);
    throw std::runtime_error(std::string("cannot set up name lookup: ") + ares_strerror(status));
  }
  ~Channel() override { ares_destroy(m_channel); }

  void Begin(const std::string& host) {
    ares_addrinfo_hints hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    ares_getaddrinfo(m_channel, host.c_str(), nullptr, &hints, &Channel::Answered,
                     new Pending(1, Asked{m_owner, host}));
    SetTimer();
  }
  [[nodiscard]] bool IsStale() const { return !Same(m_stamp, StampOf(ResolvConf)); }

  void Ready(int fd, std::uint32_t events) override { Process(fd, events); }
  EventOwner& Owner() override { return m_owner.m_loop; }

 private:
  static void SocketState(void* self, ares_socket_t fd, int readable, int writable) noexcept {
    auto& channel = *static_cast<Channel*>(self);
    if (readable == 0 && writable == 0) return channel.m_owner.m_loop.Forget(fd);
    const auto events = (readable != 0 ? EPOLLIN : 0u) | (writable != 0 ? EPOLLOUT : 0u);
    // If the kernel cannot watch it, the lookup ends by its own time-out.
    static_cast<void>(channel.m_owner.m_loop.Watch(fd, events, channel));
  }

  static void Answered(void* argument, int status, int, ares_addrinfo* info) noexcept {
    std::unique_ptr<Pending> pending(static_cast<Pending*>(argument));
    const std::unique_ptr<ares_addrinfo, decltype(&ares_freeaddrinfo)> owned(info, &ares_freeaddrinfo);
    if (status == ARES_EDESTRUCTION || status == ARES_ECANCELLED) return;  // the channel is being replaced
    auto& asked = pending->front();
    auto& resolver = asked.resolver;
    try {
      Read(status, info, asked);
    } catch (const std::bad_alloc&) {
      asked.answer = {{}, "out of memory"};
    }
    resolver.m_answered.splice(resolver.m_answered.end(), *pending);
    resolver.m_deliver.Set(resolver.m_loop.Now());
  }

  static void Read(int status, const ares_addrinfo* info, Asked& asked) {
    asked.keep = LongestKept;
    for (auto* node = info != nullptr ? info->nodes : nullptr; node != nullptr; node = node->ai_next) {
      asked.keep = std::min(asked.keep, seconds{node->ai_ttl});
      if (asked.answer.addresses.size() < MaxAddresses)
        asked.answer.addresses.push_back(platform::NumericAddressText(*node->ai_addr));
    }
    if (status == ARES_SUCCESS && asked.answer.addresses.empty()) status = ARES_ENODATA;
    if (status != ARES_SUCCESS) {
      asked.answer = {{}, FailureText(status)};
      asked.keep = FailureKept;
    }
    asked.keep = std::max(asked.keep, ShortestKept);
  }

  void Process(int fd, std::uint32_t events) {
    const bool canWrite = (events & EPOLLOUT) != 0;
    const bool canRead =
        (events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0;  // errors are found by reading
    ares_process_fd(m_channel, canRead ? fd : ARES_SOCKET_BAD, canWrite ? fd : ARES_SOCKET_BAD);
    SetTimer();
  }

  void SetTimer() {
    timeval left{};
    if (ares_timeout(m_channel, nullptr, &left) == nullptr) return m_timer.Clear();
    const auto wait = seconds{left.tv_sec} + std::chrono::microseconds{left.tv_usec};
    // A millisecond more, or c-ares finds that nothing is due yet.
    m_timer.Set(m_owner.m_loop.Now() + wait + milliseconds{1});
  }

  Resolver& m_owner;
  ares_channel m_channel = nullptr;
  std::pair<timespec, ino_t> m_stamp;
  EventLoop::Timer m_timer;
};

Resolver::Resolver(EventLoop& loop, Options options)
    : m_loop(loop),
      m_options(std::move(options)),
      m_deliver(loop, loop, [this] { DeliverAnswers(); }),
      m_channel(std::make_unique<Channel>(*this, m_options)) {
  m_deliver.Set(
      m_loop.Now());  // from now on `Set` allocates nothing, and the callback of c-ares cannot throw
}

Resolver::~Resolver() = default;

const Resolver::Answer* Resolver::Known(const std::string& host) {
  if (auto address = NumericAddress(host); !address.empty()) {
    m_atHand.addresses.assign(1, std::move(address));
    return &m_atHand;
  }
  if (IsLocalhost(host)) {
    m_atHand.addresses = {"127.0.0.1", "::1"};
    return &m_atHand;
  }
  const auto cached = m_cache.find(host);
  if (cached == m_cache.end()) return nullptr;
  if (cached->second.until > m_loop.Now()) return &cached->second.answer;
  m_cache.erase(cached);
  return nullptr;
}

std::unique_ptr<Resolver::Query> Resolver::LookUp(const std::string& host, EventOwner& owner, Done done) {
  RenewChannel();
  std::unique_ptr<Query> query(new Query(*this, host, owner, std::move(done)));
  const auto [lookup, isNew] = m_lookups.try_emplace(host);
  try {
    lookup->second.push_back(query.get());
    if (isNew) m_channel->Begin(host);
  } catch (...) {
    if (isNew) m_lookups.erase(lookup);  // or nobody would ask for this name again
    throw;
  }
  return query;
}

/// A machine that changes networks, or was not yet in one when the engine started, gets other name servers.
void Resolver::RenewChannel() {
  if (!m_options.nameServers.empty() || !m_channel->IsStale()) return;
  m_channel = std::make_unique<Channel>(*this, m_options);
  for (const auto& [host, queries] : m_lookups)
    m_channel->Begin(host);
}

void Resolver::Keep(const std::string& host, const Answer& answer, seconds keep) {
  const auto now = m_loop.Now();
  if (m_cache.size() >= m_options.maxCached)
    std::erase_if(m_cache, [&](const auto& entry) { return entry.second.until <= now; });
  if (m_cache.size() >= m_options.maxCached) m_cache.erase(m_cache.begin());
  m_cache.insert_or_assign(host, Cached{answer, now + keep});
}

Resolver::Query* Resolver::NextQuery(const std::string& host) {
  const auto lookup = m_lookups.find(host);
  if (lookup == m_lookups.end() || lookup->second.empty()) return nullptr;
  auto* query = lookup->second.front();
  lookup->second.pop_front();
  return query;
}

/// Outside of c-ares' own calls, so that a callback may look up the next name or destroy its query.
void Resolver::DeliverAnswers() {
  for (auto& asked : std::exchange(m_answered, {})) {
    m_loop.Serve(m_loop, [&] { Keep(asked.host, asked.answer, asked.keep); });
    Deliver(asked.host, asked.answer);
  }
}

void Resolver::Deliver(const std::string& host, const Answer& answer) {
  // Searched anew each time, since a callback may add lookups and withdraw queries.
  for (auto* query = NextQuery(host); query != nullptr; query = NextQuery(host)) {
    const auto done = std::exchange(query->m_done, {});
    m_loop.Serve(query->m_owner, [&] { done(answer); });
  }
  m_lookups.erase(host);
}

Resolver::Query::Query(Resolver& resolver, std::string host, EventOwner& owner, Done done)
    : m_resolver(resolver), m_host(std::move(host)), m_owner(owner), m_done(std::move(done)) {}

Resolver::Query::~Query() {
  if (!m_done) return;  // was answered
  const auto lookup = m_resolver.m_lookups.find(m_host);
  if (lookup != m_resolver.m_lookups.end()) lookup->second.remove(this);
}

}  // namespace norvane::engine
