#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/GoodServices.h"
#include "bench/ServerProcess.h"
#include "engine/store/DataFile.h"

namespace norvane::bench {

/// Servers that mean harm, in processes of their own, and the monitors that watch them, stopped. Their log is
/// "hostile.log".
class HostilePeers {
 public:
  /// What a monitor of one of them has beyond what a new one has.
  using Settings = std::vector<std::pair<std::string_view, std::string>>;

  explicit HostilePeers(const loopback::CertificateAuthority& authority) : m_authority(authority) {}

  [[nodiscard]] const loopback::CertificateAuthority& Authority() const { return m_authority; }
  /// Gives its address.
  std::string Serve(const ServerProcess::Start& start);
  /// Adds so many monitors with an interval of 1 s and a time-out of 5 s, unless `settings` say otherwise.
  void Watch(int count, std::string_view type, const std::string& parameter, const Settings& settings = {});
  /// Hands them over.
  [[nodiscard]] const std::vector<engine::datafile::Row>& Monitors() const { return m_monitors; }

 private:
  const loopback::CertificateAuthority& m_authority;
  ServerProcesses m_servers;
  std::vector<engine::datafile::Row> m_monitors;
};

/// One test: hostile peers, or a machine that is short of something.
struct HostileRow {
  const char* name;
  const char* what;
  std::function<void(HostilePeers&)> addPeers{};
  bool isShort = true;                  ///< is part of the short form
  GoodTimes good{};                     ///< of the others
  std::chrono::seconds startsOver{0};   ///< the hostile monitors are started one by one over so long
  std::chrono::seconds stoppedFor{0};   ///< the engine gets SIGSTOP, and SIGCONT after so long
  std::size_t addressSpaceMegabytes{};  ///< of the engine at most; 0: no limit
  int busyLoops = 0;                    ///< processes beside an engine of the lowest priority
  int threads = 0;                      ///< for the engine's checks; 0: by default
};

[[nodiscard]] const std::vector<HostileRow>& HostileRows();

}  // namespace norvane::bench
