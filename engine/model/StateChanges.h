#pragma once

#include "engine/model/OutageRecord.h"
#include "engine/model/OwedMessage.h"
#include "engine/model/Silence.h"
#include "engine/model/SingleMail.h"

namespace norvane::engine {

/// Changes of what the engine itself remembers, apart from the service-wide values.
struct StateChanges {
  OutageChanges outages{};
  OwedChanges owed{};
  SilenceChanges silences{};
  SingleMailChanges singles{};

  [[nodiscard]] bool IsEmpty() const {
    return outages.empty() && owed.empty() && silences.empty() && singles.empty();
  }
  /// Adds what `older` changes and this doesn't.
  void Merge(StateChanges older) {
    outages.merge(older.outages);
    owed.merge(older.owed);
    silences.merge(older.silences);
    singles.merge(older.singles);
  }
  /// Removes what `others` changes too.
  void Forget(const StateChanges& others) {
    for (const auto& [monitor, record] : others.outages)
      outages.erase(monitor);
    for (const auto& [identity, message] : others.owed)
      owed.erase(identity);
    for (const auto& [monitor, silence] : others.silences)
      silences.erase(monitor);
    for (const auto& [identity, mail] : others.singles)
      singles.erase(identity);
  }
};

}  // namespace norvane::engine
