#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "engine/Attributes.h"
#include "engine/EventLoop.h"

namespace norvane::engine {

/// What a monitor's attributes say about its failures. Both numbers may have a fraction, with which the count
/// of failures is compared as it stands: 2.5 is reached, and exceeded, by the third failure, and lets two
/// commands pass. A number below 0, or what is no number, acts as the default of 2.
struct OutageRules {
  double failTimes = 0;     ///< failures in a row that make an outage; at least 1
  double maxFailTimes = 0;  ///< commands in one outage at most; a notification goes when failures exceed it
  bool hasCommand = false;
  bool hasNotification = false;

  /// What was wrong with the numbers is added to `remark`.
  [[nodiscard]] static OutageRules Of(const Attributes& attributes, std::string& remark);
};

/// The failures in a row of one monitor and what they have led to. A notification doesn't wait for the
/// outage, nor does it begin one. Pure policy: tells what is to be done and does nothing.
class Outage {
 public:
  /// A notification that no channel took is tried again no sooner.
  static constexpr std::chrono::seconds NotifyAgainAfter{60};

  /// What outlives a restart of the engine.
  struct Record {
    int failures = 0;
    std::chrono::system_clock::time_point since;  ///< the first failure in the row
    bool isOpen = false;                          ///< they have made an outage
    int launched = 0;
    bool notified = false;
    bool operator==(const Record&) const = default;
  };
  struct Actions {
    bool begin = false;  ///< an outage has begun with this check
    bool launch = false;
    bool notify = false;
  };

  Outage() = default;
  /// As an earlier engine left it.
  explicit Outage(const Record& record) : m_record(record) {}

  [[nodiscard]] const Record& What() const { return m_record; }
  /// Or a restart would begin it anew, or send a second notification.
  [[nodiscard]] bool MustOutliveEngine() const { return m_record.isOpen || m_record.notified; }

  /// One more failed check, which was started at `at`. The actions count as taken; a notification is under
  /// way until `NotifyEnded`.
  Actions Fail(const OutageRules& rules, std::chrono::system_clock::time_point at, Moment now);
  /// `taken`: the channel has accepted the notification.
  void NotifyEnded(bool taken);

 private:
  [[nodiscard]] bool MayNotify(Moment now) const;

  Record m_record;
  bool m_isNotifying = false;
  std::optional<Moment> m_lastTry;
};

}  // namespace norvane::engine
