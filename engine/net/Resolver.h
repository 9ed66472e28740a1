#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// Looks up host names through the hosts file and the machine's name servers, in the loop, without ever
/// blocking it for a server. Lookups of one name at one time are one; answers are kept for their time to
/// live, within limits.
class Resolver {
 public:
  struct Options {
    /// "127.0.0.1:5353,[::1]:53" instead of those that the machine names; empty for the machine's.
    std::string nameServers;
    std::chrono::milliseconds tryTimeout{2000};  ///< of the first try; later ones wait longer
    int tries = 3;
    std::size_t maxCached = 4096;  ///< answers that are kept
  };
  struct Answer {
    std::vector<std::string> addresses;  ///< numeric, the preferred first: "127.0.0.1", "::1"
    std::string failure;                 ///< why there is none; for the user
  };
  using Done = std::function<void(const Answer&)>;

  /// Someone's interest in a lookup; destroying it withdraws the interest. Must not outlive the resolver.
  class Query;

  Resolver(EventLoop& loop, Options options);
  ~Resolver();
  Resolver(const Resolver&) = delete;
  Resolver& operator=(const Resolver&) = delete;

  /// The answer if it is at hand: `host` is numeric ("127.0.0.1", "::1", "[::1]"), is "localhost", or was
  /// looked up lately. Stands until the next call, or until the loop goes on.
  [[nodiscard]] const Answer* Known(const std::string& host);
  /// Calls `done` once from the loop, never before it returns. `done` may destroy the query; what it throws
  /// goes to `owner`.
  [[nodiscard]] std::unique_ptr<Query> LookUp(const std::string& host, EventOwner& owner, Done done);

 private:
  class Channel;
  /// A name that c-ares was asked for, and later the answer. In a list of its own, so that c-ares' callback,
  /// which must not throw, needs no memory to add it to `m_answered`.
  struct Asked {
    Resolver& resolver;
    std::string host;
    Answer answer{};
    std::chrono::seconds keep{};
  };
  using Pending = std::list<Asked>;
  struct Cached {
    Answer answer;
    Moment until;
  };

  void RenewChannel();
  void Keep(const std::string& host, const Answer& answer, std::chrono::seconds keep);
  [[nodiscard]] Query* NextQuery(const std::string& host);
  void DeliverAnswers();
  void Deliver(const std::string& host, const Answer& answer);

  EventLoop& m_loop;
  Options m_options;
  std::unordered_map<std::string, std::list<Query*>> m_lookups;  // under way, with who waits for each
  std::unordered_map<std::string, Cached> m_cache;
  Pending m_answered;
  EventLoop::Timer m_deliver;
  Answer m_atHand;
  std::unique_ptr<Channel> m_channel;  // last, since its end calls back
};

class Resolver::Query {
 public:
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

 private:
  friend class Resolver;
  Query(Resolver& resolver, std::string host, EventOwner& owner, Done done);

  Resolver& m_resolver;
  std::string m_host;
  EventOwner& m_owner;
  Done m_done;
};

}  // namespace norvane::engine
