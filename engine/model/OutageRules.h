#pragma once

#include <string>

#include "engine/model/Attributes.h"

namespace norvane::engine {

/// What a monitor's attributes say about its failures. Both numbers may have a fraction, and are not rounded:
/// 2.5 is reached, and exceeded, by the third failure, and allows two commands. Negative or not a number
/// means the default of 2.
struct OutageRules {
  double failTimes = 0;     ///< failures in a row that make an outage; at least 1
  double maxFailTimes = 0;  ///< commands in one outage at most; a notification goes when failures exceed it
  bool hasCommand = false;
  bool hasNotification = false;

  /// Whether the attribute `key` names a command: blanks don't.
  [[nodiscard]] static bool NamesCommand(const Attributes& attributes, std::string_view key);

  /// What was wrong with the numbers is added to `remark`.
  [[nodiscard]] static OutageRules Of(const Attributes& attributes, std::string& remark);
};

}  // namespace norvane::engine
