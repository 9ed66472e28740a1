#pragma once

#include <chrono>
#include <optional>

#include "engine/model/OutageRecord.h"
#include "engine/model/OutageRules.h"
#include "engine/net/EventLoop.h"

namespace norvane::engine {

/// The failures in a row of one monitor and what they have led to. A notification doesn't wait for the
/// outage, nor does it begin one. Pure policy: says what is to be done and does nothing.
class Outage {
 public:
  /// A notification that its channel did not accept is tried again no sooner.
  static constexpr std::chrono::seconds NotifyAgainAfter{60};

  struct Actions {
    bool begin = false;  ///< an outage has begun with this check
    bool launch = false;
    bool notify = false;
  };

  Outage() = default;
  /// As an earlier engine left it.
  explicit Outage(const OutageRecord& record) : m_record(record) {}

  [[nodiscard]] const OutageRecord& What() const { return m_record; }
  /// Without its record a restart would begin it again, or send a second notification.
  [[nodiscard]] bool MustOutliveEngine() const {
    return m_record.isOpen || m_record.message != OutageRecord::Message::None;
  }

  /// One more failed check, which was started at `at`. The actions count as done; a notification is under
  /// way until `NotifyEnded`.
  Actions Fail(const OutageRules& rules, std::chrono::system_clock::time_point at, Moment now);
  /// `accepted` by the channel.
  void NotifyEnded(bool accepted);

 private:
  [[nodiscard]] bool MayNotify(Moment now) const;

  OutageRecord m_record;
  bool m_isNotifying = false;
  std::optional<Moment> m_lastTry;
};

}  // namespace norvane::engine
