#pragma once

#include <string>

#include "engine/model/Attributes.h"

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

}  // namespace norvane::engine
