#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "engine/checks/ProbeTable.h"
#include "engine/mail/MailServerTable.h"
#include "engine/net/EventLoop.h"
#include "engine/net/Resolver.h"
#include "platform/LegacyCharset.h"

namespace norvane::engine {

struct WorkerOptions {
  /// The application folder, absolute: "config.ini" and commands lie there.
  std::string folder{};
  /// PEM file of the authorities whose certificates are trusted.
  std::string caFile = "/etc/ssl/certs/ca-certificates.crt";
  /// In which the size of a page is counted.
  platform::LegacyCharset charset{};
  /// Threads for checks; 0: one for each CPU that the process may use, at most `MaxDefaultThreads`.
  std::size_t threads = 0;
  /// Checks a second that a thread has to make before the next one is used.
  double enoughForThread = 200;
  /// Checks in flight at most in each of them; 0: as many as the process may have descriptors for, within
  /// reason. Further ones wait.
  std::size_t maxInFlight = 0;
  /// Bytes of pages held at once at most; a check whose page exceeds them fails.
  std::size_t maxPageBytes = std::size_t{256} << 20;
  MonitorTypes types = ProbeTable();
  MailServerTable mailServers{};
  Resolver::Options resolver{};
  /// These are called from all threads.
  EventLoop::Clock clock = &std::chrono::steady_clock::now;
  EventLoop::ErrorLog log = &LogToStandardError;
  DelayMeter::Source delay = &ThreadDelay;

  static constexpr std::size_t MaxDefaultThreads = 8;
};

}  // namespace norvane::engine
