#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "engine/net/Probe.h"

namespace norvane::engine {

/// The section "modem" of "config.ini".
struct ModemSettings {
  static constexpr int MaxSpeed = 1000000;
  /// Longest time to wait for the result of a call.
  static constexpr std::chrono::seconds MaxWait{600};

  std::string device;             ///< key "device": path of the serial line; empty: there is no modem
  int speed = 9600;               ///< key "speed", bits a second
  std::string init;               ///< key "init", "ATZ"; empty sends none
  std::string dial;               ///< key "dial", "ATDT": the number follows at once
  std::chrono::seconds wait{30};  ///< key "wait": for the result of a call

  /// A number that is missing or out of range is replaced by the default.
  [[nodiscard]] static ModemSettings FromConfig(const std::string& path);
};

/// `number` reduced to what a modem may dial: digits and + * # , ;
[[nodiscard]] std::string DialableNumber(std::string_view number);

/// Dials a number through a modem by AT commands (ITU-T V.250): success when the modem reports OK or CONNECT.
/// Hangs up in any case, also when it is destroyed on the way, and leaves the line's settings as they were.
[[nodiscard]] std::unique_ptr<Probe> MakeModemCall(EventLoop& loop, ModemSettings settings,
                                                   std::string_view number, ProbeClient& client);

}  // namespace norvane::engine
