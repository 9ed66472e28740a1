#pragma once

#include <chrono>

#include "engine/model/OutageRecord.h"
#include "engine/model/OutageRules.h"

namespace norvane::engine {

/// The failures in a row of one monitor and what they have led to. A notification doesn't wait for the
/// outage, nor does it begin one. Pure policy: says what is to be done and does nothing.
class Outage {
 public:
  struct Actions {
    bool begin = false;  ///< an outage has begun with this check
    bool launch = false;
    bool notify = false;                             ///< a message is owed from now on
    bool holdsLaunch = false, holdsMessage = false;  ///< one is called for, and held
    bool isSettled = false;                          ///< more failures would lead to nothing more
  };

  struct Held {
    bool messages, commands;
  };

  Outage() = default;
  /// As an earlier engine left it, or with no more than an identity.
  explicit Outage(OutageRecord record) : m_record(std::move(record)) {}

  [[nodiscard]] const OutageRecord& What() const { return m_record; }
  /// One more failed check, which was started at `at`. The actions count as done.
  Actions Fail(const OutageRules& rules, std::chrono::system_clock::time_point at, Held held = {});
  /// Something is held no longer.
  Actions Release(const OutageRules& rules, Held held) { return Act(rules, held); }
  /// What became of the message that was owed.
  void MessageEnded(OutageRecord::Message how) { m_record.message = how; }

 private:
  Actions Act(const OutageRules& rules, Held held);
  [[nodiscard]] bool MayLaunch(const OutageRules& rules) const;

  OutageRecord m_record;
};

}  // namespace norvane::engine
