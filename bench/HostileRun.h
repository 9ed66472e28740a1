#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "bench/HostilePeers.h"

namespace norvane::bench {

struct HostileFigures {
  double due = 0;  ///< checks of the good services
  int good = 0, failed = 0;
  Starts checks, bare;
  double memoryBefore = 0, memoryMost = 0, memoryAfter = 0;  ///< MB
  int descriptorsBefore = 0, descriptorsAfter = 0;
  std::string ending;  ///< how the engine ended by itself; empty: it did not
  /// Of the good ones, and of the others: each text once, without its figures.
  std::vector<std::string> falseReasons, reasons;
  std::vector<std::string> messages;  ///< of the engine, the first few, and what went wrong with the test
};

/// Runs an engine beside the peers of `row`, for so long. In a private network, with one thread.
[[nodiscard]] HostileFigures RunBeside(const HostileRow& row, const loopback::CertificateAuthority& authority,
                                       std::chrono::seconds time);

}  // namespace norvane::bench
