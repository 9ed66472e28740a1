#include "engine/net/Resolver.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <iterator>
#include <utility>

#include "platform/Ascii.h"
#include "platform/NumericAddress.h"

namespace norvane::engine {

using std::chrono::milliseconds;
using Outcome = NameResult::Outcome;

namespace {

/// How long a family that has addresses waits for the other.
constexpr milliseconds FamilyPatience{200};
/// Neither wait takes more of the time of whoever asks.
constexpr int MostOfTime = 4;
constexpr std::chrono::seconds HostsKept{5};
/// Of an answer that lacks a family, or has only addresses without a route: a packet may have been lost.
constexpr std::chrono::seconds IncompleteKept{5};
/// Lookups of a lane take a place each while they are younger than this: a good name server has answered.
constexpr milliseconds Young{500};
constexpr std::size_t MaxYoung = 256;
/// Lookups under way of names of which nothing is known, and of those that hung. Each takes a few kilobytes.
constexpr std::size_t MaxNew = 4096;
constexpr std::size_t MaxSlow = 2048;
constexpr std::size_t MaxHung = 64 << 10;
/// So that a turn of the loop stays short.
constexpr int MaxBegunAtOnce = 32;
constexpr milliseconds MaxWork{2};
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

}  // namespace

Resolver::Lookup::Lookup(Resolver& resolver, std::string name)
    : host(std::move(name)),
      lane(resolver.LaneOf(host)),
      patience(resolver.m_loop, resolver.m_loop, [&resolver, this] { resolver.LosePatience(*this); }) {}

Resolver::Resolver(EventLoop& loop, Options options)
    : m_loop(loop),
      m_options(std::move(options)),
      m_deliver(loop, loop, [this] { DeliverAnswers(); }),
      m_beginWaiting(loop, loop, [this] { BeginWaiting(); }),
      m_stamp(platform::FileStamp::Of(m_options.serversFile.c_str())),
      m_udp(MakeChannel(NameChannel::Transport::Udp, m_options.tries)) {
  // From now on `Set` allocates nothing, and the callback of c-ares cannot throw.
  for (auto* timer : {&m_deliver, &m_beginWaiting})
    timer->Set(m_loop.Now());
  NoteWhetherServersAreReadable();
}

Resolver::~Resolver() = default;

std::unique_ptr<NameChannel> Resolver::MakeChannel(NameChannel::Transport transport, int tries) {
  return std::make_unique<NameChannel>(
      m_loop, NameChannel::Options{m_options.nameServers, m_options.serversFile, m_options.tryTimeout, tries},
      transport, [this](NameQuestion& question) { Answered(question); });
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
  const auto now = m_loop.Now();
  const auto cached = m_cache.find(host);
  if (cached != m_cache.end() && cached->second.until > now) return &cached->second.answer;
  if (m_options.hosts == nullptr) return nullptr;
  auto addresses = m_options.hosts->Find(host, now);
  if (addresses.empty()) return nullptr;
  m_atHand.addresses = InOrderOfUse(std::move(addresses));
  KeepAnswer(host, m_atHand, HostsKept);
  return &m_atHand;
}

std::unique_ptr<Resolver::Query> Resolver::LookUp(const std::string& host, EventOwner& owner, Done done,
                                                  milliseconds time) {
  RenewChannels();
  std::unique_ptr<Query> query(new Query(*this, host, owner, std::move(done)));
  auto& lookup = LookupOf(host);
  lookup.queries.push_back(query.get());
  lookup.time = std::min(lookup.time, time);
  BeginWaiting();
  return query;
}

/// A machine that changes networks, or was not yet in one when the engine started, gets other name servers.
void Resolver::RenewChannels() {
  const auto stamp = platform::FileStamp::Of(m_options.serversFile.c_str());
  if (m_stamp == stamp && !m_areServersUnreadable) return;
  NoteWhetherServersAreReadable();
  if (m_stamp == stamp || m_areServersUnreadable) return;  // of what it cannot read c-ares makes "127.0.0.1"
  m_udp = MakeChannel(NameChannel::Transport::Udp, m_options.tries);
  m_tcp.reset();
  m_apart.reset();
  m_stamp = stamp;
  for (auto& underWay : m_underWay)
    while (!underWay.empty())
      AskAnew(underWay.back());
  m_asked.clear();
}

bool Resolver::AreServersUnreadable() {
  if (m_areServersUnreadable) RenewChannels();
  return m_areServersUnreadable;
}

void Resolver::NoteWhetherServersAreReadable() {
  m_areServersUnreadable = ::access(m_options.serversFile.c_str(), R_OK) != 0 && errno != ENOENT;
}

Resolver::Lane Resolver::LaneOf(const std::string& host) const {
  if (m_hung.contains(host)) return Slow;
  const auto cached = m_cache.find(host);
  return cached != m_cache.end() && !cached->second.answer.addresses.empty() ? Proven : New;
}

Resolver::Lookup& Resolver::LookupOf(const std::string& host) {
  if (const auto known = m_lookups.find(host); known != m_lookups.end()) return *known->second;
  Lookups made;
  auto& lookup = made.emplace_back(*this, host);
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
  auto now = m_loop.Now();
  const auto end = now + MaxWork;
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
      if (!hasPlace || begun++ == MaxBegunAtOnce || now >= end) {
        next = std::min(next, hasPlace ? now : now + BeginPause);
        break;
      }
      lookup.began = now;
      Move(lookup, m_underWay[lane]);
      m_loop.Serve(
          m_loop, [&] { lookup.patience.Set(now + std::min(m_options.patience, lookup.time / MostOfTime)); });
      Ask(*m_udp, lookup, Both, lookup.idle);
      now = m_loop.Now();
    }
  }
  if (next != Moment::max()) m_beginWaiting.Set(next);
}

void Resolver::Ask(NameChannel& channel, Lookup& lookup, Families families, Questions& question) noexcept {
  auto& asked = question.front();
  asked.families = families;
  asked.of = &lookup;
  asked.at = question.begin();
  m_asked.splice(m_asked.end(), question, asked.at);
  lookup.asked[families] = &asked;
  constexpr int Hints[] = {AF_UNSPEC, AF_INET, AF_INET6};
  channel.Ask(asked, lookup.host, Hints[families], m_loop.Now());
}

/// A server that cannot be reached by TCP makes all lookups fail that it has been asked for by the same
/// channel, hence one for those that need it.
void Resolver::AskByTcp(Lookup& lookup) {
  if (!m_tcp) m_tcp = MakeChannel(NameChannel::Transport::Tcp, m_options.tries);
  lookup.began = m_loop.Now();
  Move(lookup, m_underWay[lookup.lane]);
  Ask(*m_tcp, lookup, Both, lookup.idle);
}

/// By one try: what was asked for both families together goes on, and tries again.
void Resolver::AskApart(Lookup& lookup) {
  lookup.missing = 2;
  if (!m_apart) m_apart = MakeChannel(NameChannel::Transport::Udp, 1);
  for (const auto family : {IPv4, IPv6}) {
    Questions made(1);
    Ask(*m_apart, lookup, family, made);
  }
}

void Resolver::AskAnew(Lookup& lookup) noexcept {
  lookup.patience.Clear();
  if (auto* asked = lookup.asked[Both]) lookup.idle.splice(lookup.idle.end(), m_asked, asked->at);
  lookup.asked = {};
  lookup.result = {};
  lookup.triedTcp = lookup.isKept = false;
  auto& waiting = m_waiting[lookup.lane];
  waiting.splice(waiting.begin(), *lookup.in, lookup.at);
  lookup.in = &waiting;
  m_beginWaiting.Set(m_loop.Now());
}

void Resolver::LosePatience(Lookup& lookup) {
  if (lookup.result.answer.addresses.empty()) return AskApart(lookup);
  Conclude(lookup);
}

void Resolver::Answered(NameQuestion& answered) noexcept {
  auto& question = static_cast<Question&>(answered);
  Questions over;
  over.splice(over.end(), m_asked, question.at);
  if (question.of == nullptr) return;  // the other family had addresses
  auto& lookup = *question.of;
  lookup.asked[question.families] = nullptr;
  if (question.families != Both) return m_loop.Serve(m_loop, [&] { AddFamily(lookup, question); });
  lookup.idle.splice(lookup.idle.end(), over);
  if (question.outcome == Outcome::Found || lookup.result.answer.addresses.empty()) {
    lookup.result = std::move(static_cast<NameResult&>(question));
    lookup.missing = 0;
  }
  Conclude(lookup);
}

void Resolver::AddFamily(Lookup& lookup, NameResult& result) {
  if (result.source == NameResult::Source::Server) --lookup.missing;
  auto& addresses = lookup.result.answer.addresses;
  const auto former = addresses.empty() ? result.keep : lookup.result.keep;
  std::ranges::move(result.answer.addresses, std::back_inserter(addresses));
  if (addresses.empty()) return;  // both together go on
  lookup.result.keep = std::min(former, result.keep);
  addresses = InOrderOfUse(std::move(addresses));
  if (lookup.missing == 0) return Conclude(lookup);
  if (!m_options.hasRoute(addresses.front())) return;  // nor to the others; both together go on
  const bool isLast = lookup.asked[IPv4] == nullptr && lookup.asked[IPv6] == nullptr;
  if (isLast) return Conclude(lookup);
  lookup.patience.Set(m_loop.Now() + std::min(FamilyPatience, lookup.time / MostOfTime));
}

/// Answers are given out outside of c-ares' own calls, so that whoever gets one may look up the next name or
/// destroy its query.
void Resolver::Conclude(Lookup& lookup) noexcept {
  for (auto*& asked : lookup.asked)
    if (asked != nullptr) std::exchange(asked, nullptr)->of = nullptr;
  lookup.patience.Clear();
  Move(lookup, m_answered);
  m_deliver.Set({});
}

/// No server has answered while this engine was held up, which may be why.
bool Resolver::WasStalled(const Lookup& lookup) const {
  return lookup.result.source == NameResult::Source::None && !lookup.queries.empty() &&
         m_loop.LastStall() >= lookup.began;
}

void Resolver::DeliverAnswers() {
  const auto end = m_loop.Now() + MaxWork;
  while (!m_answered.empty()) {
    auto& lookup = m_answered.front();
    if (WasStalled(lookup)) {
      AskAnew(lookup);
      continue;
    }
    if (lookup.result.outcome == Outcome::Empty && !std::exchange(lookup.triedTcp, true)) {
      m_loop.Serve(m_loop, [&] { AskByTcp(lookup); });
      continue;
    }
    if (!std::exchange(lookup.isKept, true)) {
      Count(lookup);
      m_loop.Serve(m_loop, [&] { Keep(lookup); });
    }
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
  m_loop.Serve(query->m_owner, [&] { done(lookup.result.answer); });
}

void Resolver::Count(const Lookup& lookup) {
  using Source = NameResult::Source;
  const auto source = lookup.triedTcp ? Source::Server : lookup.result.source;  // it has answered by UDP
  m_serverAnswers += source == Source::Server ? 1 : 0;
  m_serverFailures += source == Source::None ? 1 : 0;
}

void Resolver::Keep(const Lookup& lookup) {
  if (lookup.result.outcome == Outcome::TimedOut) {
    if (m_hung.size() >= MaxHung) m_hung.clear();
    m_hung.insert(lookup.host);
    return;
  }
  m_hung.erase(lookup.host);
  const auto& [addresses, failure] = lookup.result.answer;
  const bool isComplete = lookup.missing == 0 && std::ranges::any_of(addresses, m_options.hasRoute);
  const auto keep = lookup.result.keep;
  KeepAnswer(lookup.host, lookup.result.answer, isComplete ? keep : std::min(keep, IncompleteKept));
}

void Resolver::KeepAnswer(const std::string& host, const Answer& answer, std::chrono::seconds keep) {
  const auto now = m_loop.Now();
  if (m_cache.size() >= m_options.maxCached)
    std::erase_if(m_cache, [&](const auto& entry) { return entry.second.until <= now; });
  if (m_cache.size() >= m_options.maxCached) m_cache.erase(m_cache.begin());
  m_cache.insert_or_assign(host, Cached{answer, now + keep});
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
