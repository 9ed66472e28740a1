#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "engine/Alarms.h"
#include "engine/WorkerOptions.h"
#include "engine/history/HistoryFile.h"
#include "engine/notify/AdminMessages.h"
#include "engine/notify/ExitSettings.h"

namespace norvane::service {

/// What the engine reads from "config.ini" at its start and when it is told to; a value that makes no sense
/// is replaced by its default. The modem's settings are read at each call (`ModemSettings`), and checked
/// here.
struct Config {
  /// Absolute if the path of "config.ini" is: a relative one is of its folder.
  std::string caFile = engine::WorkerOptions().caFile;
  platform::LegacyCharset charset{};
  std::size_t checkThreads = 0;  ///< 0: one for each CPU
  engine::AdminAddress admin{};
  engine::MailServerTable mailServers{};
  engine::Alarms::Options alarms{};
  engine::ExitSettings exits{};
  engine::HistoryAges history{};
  std::optional<gid_t> group{};        ///< whose members may use the engine
  std::chrono::hours logAge{90 * 24};  ///< 0: for ever

  /// Why the file could not be read, or which line of it, and what is wrong with exits: empty if nothing is.
  std::string problem{};
  /// For the log: each line that is ignored, each value that makes no sense, with the default used, and once
  /// each key or section that nobody knows.
  std::vector<std::string> remarks{};

  [[nodiscard]] static Config Read(const std::string& path);
};

}  // namespace norvane::service
