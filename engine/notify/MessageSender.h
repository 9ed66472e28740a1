#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "engine/model/OwedMessage.h"
#include "engine/model/Reports.h"
#include "engine/model/Worker.h"
#include "engine/net/EventLoop.h"
#include "engine/notify/Digests.h"
#include "engine/notify/ExitSettings.h"
#include "engine/notify/RetryPause.h"

namespace norvane::engine {

/// Sends the owed messages, and tries again until each is accepted, given up or dropped. On the service
/// thread.
///
/// Each server of a channel, and each webhook, has a queue of its own, with one message in flight. A message
/// goes when it is on disk, the next one of its queue when the end of the former is: so a killed engine
/// repeats at most one message for each server. What failed waits, longer each time, and what has not failed
/// comes first. An address that the server refuses delays only what goes to it, a message that is refused
/// only itself; a server that does not serve, twice in a row, delays its queue. A digest that is refused for
/// what it says is split. Of several addresses, only those that have not got it are tried again.
///
/// A message that the server may have accepted without an answer is tried once more as any other, then
/// seldom.
///
/// A message that is held waits until it isn't any more, and nothing waits for it.
///
/// When a monitor's next message comes to be owed, those that wait are tried first, and a waiting one of a
/// recovery is dropped if the next one tells of a failure: it would be the last word.
///
/// While the disk refuses writes, messages go all the same: rather twice than not at all.
class MessageSender {
 public:
  static constexpr std::chrono::seconds FirstPause{5};  ///< doubled after each try
  static constexpr std::chrono::seconds MaxPause{300};  ///< both within a fifth, by chance
  /// Between tries of a message that may have arrived, or is refused for good.
  static constexpr std::chrono::seconds FirstLongPause{600}, MaxLongPause{3600};
  static constexpr std::chrono::hours MaxRetryAfter{24};  ///< that a server may ask for
  static constexpr std::chrono::seconds MaxWriteTime{10};
  static constexpr std::chrono::hours LogPause{1};  ///< between two failures of a message in the log
  static constexpr std::size_t MaxInFlight = 100;
  static constexpr std::size_t MaxDigestSize = std::size_t{100} << 10;  ///< bytes of text
  /// No message is given up before it could be tried for so long, unless it is given up sooner by choice.
  static constexpr std::chrono::hours MinTryTime{1};

  struct Options {
    std::chrono::seconds giveUp{std::chrono::hours(24)};
    std::size_t single = 20;  ///< mails to an address in a minute; more become a digest
    Webhooks webhooks{};
  };
  enum class End { Accepted, GivenUp, Dropped };
  struct Ended {
    End end;
    std::string reason{};  ///< why it was given up or dropped
    bool toldEnd = true;   ///< whoever accepted the message knows of the end of its outage
  };
  struct Hooks {
    ActionRunner& runner;
    std::function<std::uint64_t()> newTicket;
    /// Into the log of the message's monitor.
    std::function<void(const OwedMessage&, const std::string& text)> log;
    /// After a try, with the reason.
    std::function<void(const OwedMessage&)> failed;
    std::function<void(const std::string& identity, const OwedMessage&, const Ended&)> ended;
    EventLoop::Clock clock;
    /// Empty: it may be sent.
    std::function<std::string(const OwedMessage&)> whyHeld = [](const auto&) { return std::string(); };
  };

  MessageSender(Options options, Hooks hooks);
  /// What is owed already keeps its time.
  void Configure(const Options& options) {
    m_options = options;
    m_digests.SetSingle(options.single);
  }

  /// Goes on with what an earlier engine left: messages, and the mails that went alone of late.
  void Restore(const OwedMessages& messages, const SingleMails& singles);
  /// The message is owed from now on.
  void Owe(std::string identity, OwedMessage message);
  /// A message that has not been accepted yet says so.
  void OutageEnded(const std::string& identity, OwedMessage::Time at);
  /// Drops those of the monitors for which `isMeant` says so; gives how many. `why` goes to their logs.
  std::size_t Drop(const std::function<bool(const OwedMessage&)>& isMeant, const std::string& why);
  /// The same for one that is not in flight; false if it is.
  [[nodiscard]] bool DropWaiting(const std::string& identity, const std::string& why);
  [[nodiscard]] bool Owes(const std::string& identity) const { return m_messages.contains(identity); }
  /// `revise` may change where a message goes that isn't in flight; it is due at once then. A text is the
  /// reason why it is dropped. To be called about once a second.
  void Revise(const std::function<std::string(OwedMessage&)>& revise);
  /// False if it is none of these.
  [[nodiscard]] bool Receive(const NotificationEnded& report);

  /// What changed since the last call. It is to be written at once, and `Asked` to be called with the number
  /// of that write.
  [[nodiscard]] OwedChanges DequeueChanges();
  void Asked(std::uint64_t write);
  /// Changes of the mails that went alone, since the last call. They can wait for any other write.
  [[nodiscard]] SingleMailChanges DequeueSingles() { return m_digests.DequeueChanges(); }
  /// Closes digests, and looks for what is held no longer. To be called once a second, before the changes are
  /// dequeued.
  void OnSecond();
  /// Sends what is due; all writes up to `written` are on disk. To be called whenever that number grows, and
  /// once a second.
  void SendDue(std::uint64_t written);
  /// Sends nothing more: the engine is ending.
  void Hold() { m_isHeld = true; }
  [[nodiscard]] bool IsSending() const { return !m_inFlight.empty(); }

  /// All, with the reason why they are still there.
  [[nodiscard]] OwedMessages All() const;
  /// What is wrong with a monitor's messages; empty if each is on its way.
  [[nodiscard]] std::string Problem() const;

 private:
  struct Entry {
    OwedMessage message;
    std::string shipment{};  ///< empty while it gathers for a digest
    Moment giveUpAt{};
    Moment logAgain{};
    bool isHeld = false;
  };
  /// The place of a shipment in its queue: those whose address has not failed come first, in their order.
  struct Place {
    Moment due;
    std::uint64_t number;
    auto operator<=>(const Place&) const = default;
  };
  /// What goes as one: a message, or a digest.
  struct Shipment {
    std::string queue, address;
    std::vector<std::string> messages;  ///< identities
    Place place{};
    std::uint64_t write = NotAsked;                         ///< after which it is on disk
    SendFailure::Blame blame = SendFailure::Blame::Server;  ///< for which it waits
  };
  /// Failures of a server since it last served, with messages that had not failed or with those that had.
  struct Pace {
    int failures = 0;
    Moment next{};
  };
  /// One that was refused since it was last accepted.
  struct Address {
    int failures = 0;
    std::string reason{};
  };
  struct Queue {
    std::map<Place, std::string> waiting;
    std::map<std::string, Address> addresses;
    std::set<std::string> held;
    Pace fresh, failed;
    std::string reason;   ///< why the server does not serve; empty: it last did
    std::string problem;  ///< why a monitor's message failed last, for the administrator
    bool isInFlight = false;
    std::uint64_t write = 0;  ///< after which the end of the former is on disk
    [[nodiscard]] bool IsPaused() const { return fresh.failures > 1; }
  };
  struct InFlight {
    std::string shipment;
    std::map<std::string, OwedMessage::Time> ends;  ///< of the outages, as the message tells them
  };
  using Entries = std::map<std::string, Entry, std::less<>>;
  static constexpr auto NotAsked = std::numeric_limits<std::uint64_t>::max();
  static constexpr auto Fresh = Moment::min();

  void Insert(const std::string& identity, OwedMessage message);
  void Enqueue(const std::string& identity, std::vector<std::string> messages, Moment due);
  void MakeWayFor(const OwedMessage& next);
  void Redirect(const std::string& identity);
  void LeaveShipment(const std::string& message, const std::string& shipment);
  [[nodiscard]] std::set<std::string_view> MessagesInFlight() const;
  void CloseDigest(const std::vector<std::string>& identities);
  void SendDue(Queue& queue);
  [[nodiscard]] bool HoldIfNeeded(const std::string& identity);
  [[nodiscard]] bool IsHeld(const std::string& identity);
  void ReleaseHeld(Queue& queue);
  void Drop(const std::vector<std::string>& identities, const std::string& why);
  [[nodiscard]] std::string NextOf(const Queue& queue) const;
  void Send(const std::string& identity);
  [[nodiscard]] NotifyRequest RequestFor(const std::string& identity, const OwedMessage& message) const;
  void Accept(const Shipment& shipment, const InFlight& sent, Queue& queue);
  void Fail(Shipment shipment, const InFlight& sent, Queue& queue, const NotificationEnded& report);
  void NoteServer(Queue& queue, bool wasFresh, const NotificationEnded& report);
  void NoteFailure(Entry& entry, Queue& queue, const NotificationEnded& report, Moment::duration pause);
  void Split(const std::vector<std::string>& refused);
  [[nodiscard]] Moment::duration PauseAfter(const NotificationEnded& report, const Shipment& failed,
                                            Queue& queue);
  void RefusedBy(Queue& queue, const Shipment& failed);
  void AcceptedBy(Queue& queue, const std::string& address);
  void Reschedule(Queue& queue, const std::string& address, const std::function<void(Shipment&)>& change);
  [[nodiscard]] std::string ProblemOf(const Queue& queue) const;
  [[nodiscard]] std::string ReasonOf(const Entry& entry) const;
  void LogAndGiveUp(Queue& queue);
  void LogFailure(Entry& entry, const std::string& text);
  void Remove(const std::string& identity, const Ended& ended);
  [[nodiscard]] bool IsInFlight(const std::string& identity) const;
  [[nodiscard]] Moment::duration LeastTime() const {
    return std::min<std::chrono::seconds>(m_options.giveUp, MinTryTime);
  }
  [[nodiscard]] bool IsOnDisk(std::uint64_t write) const;
  [[nodiscard]] OwedMessage::Time NextTry(const Entry& entry) const;

  Options m_options;
  Hooks m_hooks;
  Digests m_digests;
  Entries m_messages;
  std::multimap<std::string, std::string> m_byMonitor;  // identities
  std::map<std::string, Shipment> m_shipments;
  std::map<std::string, Queue> m_queues;
  std::map<std::uint64_t, InFlight> m_inFlight;  // by ticket
  std::uint64_t m_lastNumber = 0;
  OwedChanges m_changes;
  std::uint64_t m_asked = 0, m_written = 0;
  Moment m_lastWrite;  // when the disk had last written all, or some more
  bool m_isHeld = false;
  RetryPause m_pause{FirstPause, MaxPause};
};

}  // namespace norvane::engine
