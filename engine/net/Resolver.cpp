#include "engine/net/Resolver.h"

#include <sys/stat.h>

#include <algorithm>
#include <cassert>
#include <iterator>
#include <utility>

#include "platform/Ascii.h"
#include "platform/NumericAddress.h"

namespace norvane::engine {

using std::chrono::milliseconds;
using Outcome = NameLookup::Outcome;

namespace {

constexpr const char* ResolvConf = "/etc/resolv.conf";

/// Lookups of a lane take a place each while they are younger than this: a good name server has answered.
constexpr milliseconds Young{500};
constexpr std::size_t MaxYoung = 256;
/// Lookups under way of names of which nothing is known, and of those that hung. Each takes a few kilobytes.
constexpr std::size_t MaxNew = 4096;
constexpr std::size_t MaxSlow = 2048;
constexpr std::size_t MaxHung = 64 << 10;
/// So that a turn of the loop stays short.
constexpr int MaxBegunAtOnce = 32;
constexpr milliseconds MaxDelivery{2};
/// How long an answer waits for a place before it looks again, and a lookup.
constexpr milliseconds DeliverPause{5};
constexpr milliseconds BeginPause{50};

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

Resolver::Resolver(EventLoop& loop, Options options)
    : m_loop(loop),
      m_options(std::move(options)),
      m_deliver(loop, loop, [this] { DeliverAnswers(); }),
      m_beginWaiting(loop, loop, [this] { BeginWaiting(); }),
      m_stamp(StampOf(ResolvConf)),
      m_udp(MakeChannel(NameChannel::Transport::Udp)) {
  // From now on `Set` allocates nothing, and the callback of c-ares cannot throw.
  for (auto* timer : {&m_deliver, &m_beginWaiting})
    timer->Set(m_loop.Now());
}

Resolver::~Resolver() = default;

std::unique_ptr<NameChannel> Resolver::MakeChannel(NameChannel::Transport transport) {
  return std::make_unique<NameChannel>(
      m_loop, NameChannel::Options{m_options.nameServers, m_options.tryTimeout, m_options.tries}, transport,
      [this](NameLookup& lookup) { Answered(lookup); });
}

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
  return cached != m_cache.end() && cached->second.until > m_loop.Now() ? &cached->second.answer : nullptr;
}

std::unique_ptr<Resolver::Query> Resolver::LookUp(const std::string& host, EventOwner& owner, Done done) {
  RenewChannels();
  std::unique_ptr<Query> query(new Query(*this, host, owner, std::move(done)));
  LookupOf(host).queries.push_back(query.get());
  BeginWaiting();
  return query;
}

/// A machine that changes networks, or was not yet in one when the engine started, gets other name servers.
void Resolver::RenewChannels() {
  const auto stamp = StampOf(ResolvConf);
  if (!m_options.nameServers.empty() || Same(m_stamp, stamp)) return;
  m_udp = MakeChannel(NameChannel::Transport::Udp);
  m_tcp.reset();
  m_stamp = stamp;
  for (std::size_t lane = 0; lane < Lanes; ++lane) {
    auto& waiting = m_waiting[lane];
    for (auto& lookup : m_underWay[lane])
      lookup.in = &waiting;
    waiting.splice(waiting.begin(), m_underWay[lane]);
  }
}

Resolver::Lane Resolver::LaneOf(const std::string& host) const {
  if (m_hung.contains(host)) return Slow;
  const auto cached = m_cache.find(host);
  return cached != m_cache.end() && !cached->second.answer.addresses.empty() ? Proven : New;
}

Resolver::Lookup& Resolver::LookupOf(const std::string& host) {
  if (const auto known = m_lookups.find(host); known != m_lookups.end()) return *known->second;
  Lookups made(1);
  auto& lookup = made.front();
  lookup.host = host;
  lookup.lane = LaneOf(host);
  lookup.at = made.begin();
  m_lookups.emplace(host, &lookup);
  lookup.in = &m_waiting[lookup.lane];
  lookup.in->splice(lookup.in->end(), made);
  return lookup;
}

void Resolver::Move(Lookup& lookup, Lookups& to) noexcept {
  to.splice(to.end(), *lookup.in, lookup.at);
  lookup.in = &to;
}

void Resolver::Erase(Lookup& lookup) noexcept {
  m_lookups.erase(lookup.host);
  lookup.in->erase(lookup.at);
}

bool Resolver::HasPlace(Lane lane, Moment now) const {
  const auto& underWay = m_underWay[lane];
  if (lane == Slow) return underWay.size() < MaxSlow;
  if (lane == New && underWay.size() >= MaxNew) return false;
  return underWay.size() < MaxYoung || std::prev(underWay.end(), MaxYoung)->began + Young <= now;
}

void Resolver::BeginWaiting() {
  const auto now = m_loop.Now();
  auto next = Moment::max();
  int begun = 0;
  for (const auto lane : {Proven, New, Slow}) {
    for (auto& waiting = m_waiting[lane]; !waiting.empty();) {
      auto& lookup = waiting.front();
      if (lookup.queries.empty()) {  // withdrawn meanwhile
        Erase(lookup);
        continue;
      }
      const bool hasPlace = HasPlace(lane, now);
      if (!hasPlace || begun++ == MaxBegunAtOnce) {
        next = std::min(next, hasPlace ? now : now + BeginPause);
        break;
      }
      lookup.began = now;
      Move(lookup, m_underWay[lane]);
      m_udp->Begin(lookup, now);
    }
  }
  if (next != Moment::max()) m_beginWaiting.Set(next);
}

/// Answers are given out outside of c-ares' own calls, so that whoever gets one may look up the next name or
/// destroy its query.
void Resolver::Answered(NameLookup& answered) noexcept {
  auto& lookup = static_cast<Lookup&>(answered);
  if (!lookup.triedTcp) {  // or a server has answered before
    m_serverAnswers += lookup.source == NameLookup::Source::Server ? 1 : 0;
    m_serverFailures += lookup.source == NameLookup::Source::None ? 1 : 0;
  }
  Move(lookup, m_answered);
  m_deliver.Set({});
}

/// A server that cannot be reached by TCP makes all lookups fail that it has been asked for by the same
/// channel, hence one for those that need it.
void Resolver::AskByTcp(Lookup& lookup) {
  if (!m_tcp) m_tcp = MakeChannel(NameChannel::Transport::Tcp);
  lookup.began = m_loop.Now();
  Move(lookup, m_underWay[lookup.lane]);
  m_tcp->Begin(lookup, lookup.began);
}

void Resolver::DeliverAnswers() {
  const auto end = m_loop.Now() + MaxDelivery;
  while (!m_answered.empty()) {
    auto& lookup = m_answered.front();
    if (lookup.outcome == Outcome::Empty && !std::exchange(lookup.triedTcp, true)) {
      m_loop.Serve(m_loop, [&] { AskByTcp(lookup); });
      continue;
    }
    if (!std::exchange(lookup.isKept, true)) m_loop.Serve(m_loop, [&] { Keep(lookup); });
    while (!lookup.queries.empty()) {
      const auto now = m_loop.Now();
      if (m_mayGoOn && !m_mayGoOn()) return m_deliver.Set(now + DeliverPause);
      if (now >= end) return m_deliver.Set(now);
      DeliverNext(lookup);
    }
    Erase(lookup);
  }
}

void Resolver::DeliverNext(Lookup& lookup) noexcept {
  auto* query = lookup.queries.front();
  lookup.queries.pop_front();
  --m_queries;
  const auto done = std::exchange(query->m_done, {});
  m_loop.Serve(query->m_owner, [&] { done(lookup.answer); });
}

void Resolver::Keep(const Lookup& lookup) {
  if (lookup.outcome == Outcome::TimedOut) {
    if (m_hung.size() >= MaxHung) m_hung.clear();
    m_hung.insert(lookup.host);
    return;
  }
  m_hung.erase(lookup.host);
  const auto now = m_loop.Now();
  if (m_cache.size() >= m_options.maxCached)
    std::erase_if(m_cache, [&](const auto& entry) { return entry.second.until <= now; });
  if (m_cache.size() >= m_options.maxCached) m_cache.erase(m_cache.begin());
  m_cache.insert_or_assign(lookup.host, Cached{lookup.answer, now + lookup.keep});
}

Resolver::Query::Query(Resolver& resolver, std::string host, EventOwner& owner, Done done)
    : m_resolver(resolver), m_host(std::move(host)), m_owner(owner), m_done(std::move(done)) {
  ++m_resolver.m_queries;
}

Resolver::Query::~Query() {
  if (!m_done) return;  // was answered
  --m_resolver.m_queries;
  const auto lookup = m_resolver.m_lookups.find(m_host);
  if (lookup != m_resolver.m_lookups.end()) lookup->second->queries.remove(this);
}

bool Resolver::Query::IsQueued() const {
  const auto lookup = m_resolver.m_lookups.find(m_host);
  if (lookup == m_resolver.m_lookups.end()) return false;
  const auto* in = lookup->second->in;
  return in == &m_resolver.m_waiting[lookup->second->lane] || in == &m_resolver.m_answered;
}

}  // namespace norvane::engine
