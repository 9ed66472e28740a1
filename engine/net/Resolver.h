#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "engine/net/AddressOrder.h"
#include "engine/net/EventLoop.h"
#include "engine/net/HostsFile.h"
#include "engine/net/NameChannel.h"
#include "platform/FileStamp.h"

namespace norvane::engine {

/// Looks up host names through the hosts file and the machine's name servers, in the loop, without ever
/// blocking it for a server. Lookups of one name at one time are one; answers are kept for their time to
/// live, within limits.
///
/// A server is asked for both families of addresses at once. When that is not answered soon, each is asked
/// for apart, and the one that has addresses waits for the other only a little: some servers never answer
/// for one of the two. Addresses to which this machine has no route wait as long as both together may take.
///
/// So many lookups are under way at once and no more; the others wait in three lanes, so that names which
/// hang hold up no others: names that were found before, names of which nothing is known, and names whose
/// last lookup timed out.
class Resolver {
 public:
  struct Options {
    /// "127.0.0.1:5353,[::1]:53" instead of those that the machine names; empty for the machine's.
    std::string nameServers;
    std::chrono::milliseconds tryTimeout{2000};  ///< of the first try; later ones wait longer
    int tries = 3;
    /// How long a server may take for both families together before each is asked for apart.
    std::chrono::milliseconds patience{250};
    std::size_t maxCached = 4096;  ///< answers that are kept
    /// In which the machine names them; they are asked anew when it has changed. As long as it cannot be
    /// read, the former ones are.
    std::string serversFile = "/etc/resolv.conf";
    HostsFile* hosts = nullptr;  ///< whose names come first
    /// Whether this machine has a route to a numeric address.
    std::function<bool(const std::string&)> hasRoute = &HasRoute;
  };
  using Answer = NameAnswer;
  using Done = std::function<void(const Answer&)>;

  /// Someone's interest in a lookup; destroying it withdraws the interest. Must not outlive the resolver.
  class Query;

  Resolver(EventLoop& loop, Options options);
  ~Resolver();
  Resolver(const Resolver&) = delete;
  Resolver& operator=(const Resolver&) = delete;

  /// The answer if it is at hand: `host` is numeric ("127.0.0.1", "::1", "[::1]"), is "localhost", was looked
  /// up lately, or is in the hosts file. Stands until the next call, or until the loop goes on.
  [[nodiscard]] const Answer* Known(const std::string& host);
  /// Calls `done` once from the loop, never before it returns. `done` may destroy the query; what it throws
  /// goes to `owner`. Who has little `time` for all that it does waits less for a second family.
  [[nodiscard]] std::unique_ptr<Query> LookUp(const std::string& host, EventOwner& owner, Done done,
                                              std::chrono::milliseconds time = std::chrono::hours(1));

  /// There is a file of the machine's name servers, but it cannot be read, as was seen at the last lookup.
  [[nodiscard]] bool AreServersUnreadable();
  /// Those without an answer yet.
  [[nodiscard]] std::size_t Queries() const { return m_queries; }
  /// Lookups that a name server has answered, even if with "no such name".
  [[nodiscard]] std::uint64_t ServerAnswers() const { return m_serverAnswers; }
  /// Lookups that no name server has answered.
  [[nodiscard]] std::uint64_t ServerFailures() const { return m_serverFailures; }
  /// Answers are given out only while `mayGoOn` holds, which is asked before each; until then the query
  /// counts as queued.
  void DeliverWhile(std::function<bool()> mayGoOn) { m_mayGoOn = std::move(mayGoOn); }

 private:
  enum Lane : std::size_t { Proven, New, Slow, Lanes };
  enum Families : std::size_t { Both, IPv4, IPv6, FamiliesEnd };
  struct Question;
  struct Lookup;
  using Questions = std::list<Question>;
  using Lookups = std::list<Lookup>;
  /// Lives until it is answered, though nobody may wait for it any more.
  struct Question : NameQuestion {
    Families families = Both;
    Lookup* of = nullptr;
    Questions::iterator at{};
  };
  struct Lookup {
    Lookup(Resolver& resolver, std::string name);
    std::string host;
    Lane lane = New;
    std::list<Query*> queries{};  ///< who waits for it
    Lookups* in = nullptr;        ///< the list that it is in, and where
    Lookups::iterator at{};
    Moment began{};
    std::chrono::milliseconds time = std::chrono::hours(1);  ///< of those who wait for it, the least
    Questions idle = Questions(1);               ///< the one for both families, while it isn't asked
    std::array<Question*, FamiliesEnd> asked{};  ///< those under way
    EventLoop::Timer patience;  ///< ends the wait for both families together, then for the other
    NameResult result{};        ///< of one family as long as it is under way
    int missing = 0;            ///< families of which no server has said anything
    bool triedTcp = false;
    bool isKept = false;
  };
  struct Cached {
    Answer answer;
    Moment until;
  };

  [[nodiscard]] std::unique_ptr<NameChannel> MakeChannel(NameChannel::Transport transport, int tries);
  void RenewChannels();
  void NoteWhetherServersAreReadable();
  [[nodiscard]] Lookup& LookupOf(const std::string& host);
  [[nodiscard]] Lane LaneOf(const std::string& host) const;
  static void Move(Lookup& lookup, Lookups& to) noexcept;
  void Erase(Lookup& lookup) noexcept;
  void BeginWaiting();
  [[nodiscard]] bool HasPlace(Lane lane, Moment now) const;
  void Ask(NameChannel& channel, Lookup& lookup, Families families, Questions& question) noexcept;
  void AskByTcp(Lookup& lookup);
  void AskApart(Lookup& lookup);
  void AskAnew(Lookup& lookup) noexcept;
  void LosePatience(Lookup& lookup);
  void Answered(NameQuestion& question) noexcept;
  void AddFamily(Lookup& lookup, NameResult& result);
  void Conclude(Lookup& lookup) noexcept;
  [[nodiscard]] bool WasStalled(const Lookup& lookup) const;
  void DeliverAnswers();
  void DeliverNext(Lookup& lookup) noexcept;
  void Count(const Lookup& lookup);
  void Keep(const Lookup& lookup);
  void KeepAnswer(const std::string& host, const Answer& answer, std::chrono::seconds keep);

  EventLoop& m_loop;
  Options m_options;
  std::function<bool()> m_mayGoOn;
  std::size_t m_queries = 0;
  std::uint64_t m_serverAnswers = 0, m_serverFailures = 0;
  std::unordered_map<std::string, Lookup*> m_lookups;  // all, by host
  std::array<Lookups, Lanes> m_waiting;
  std::array<Lookups, Lanes> m_underWay;  // each in the order in which they began
  Lookups m_answered;
  Questions m_asked;                                // under way
  std::unordered_map<std::string, Cached> m_cache;  // also what is past its time, as proof that there was one
  std::unordered_set<std::string> m_hung;           // names whose last lookup timed out
  EventLoop::Timer m_deliver;
  EventLoop::Timer m_beginWaiting;
  Answer m_atHand;
  platform::FileStamp m_stamp;  // of the machine's list of servers when the channels were made
  bool m_areServersUnreadable = false;
  std::unique_ptr<NameChannel> m_udp;
  std::unique_ptr<NameChannel> m_tcp;    // made when it is needed
  std::unique_ptr<NameChannel> m_apart;  // likewise; for one family at a time
};

class Resolver::Query {
 public:
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  /// The lookup has yet to begin, or its answer to be given out, since there are too many.
  [[nodiscard]] bool IsQueued() const;

 private:
  friend class Resolver;
  Query(Resolver& resolver, std::string host, EventOwner& owner, Done done);

  Resolver& m_resolver;
  std::string m_host;
  EventOwner& m_owner;
  Done m_done;
};

}  // namespace norvane::engine
