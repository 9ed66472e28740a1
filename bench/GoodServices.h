#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "bench/ChildProcess.h"
#include "bench/PageServer.h"
#include "bench/ServerProcess.h"
#include "engine/store/DataFile.h"
#include "loopback/Certificates.h"

namespace norvane::bench {

/// What the monitors of well-behaved services are checked with.
struct GoodTimes {
  std::chrono::milliseconds interval{1000};
  std::chrono::seconds timeout{5};
  /// How long the servers take for each dialogue; 0: they answer at once.
  std::chrono::milliseconds slow{0};
};

/// Punctuality as the servers see it, over a span of time.
struct Starts {
  int late = 0;  ///< starts more than 250 ms after an interval had passed since the one before
  std::chrono::milliseconds longest{0};  ///< by which a start was late
};

/// Well-behaved web, POP3 and SMTP servers in processes of their own, which note when a check of which
/// monitor comes, the name server by which they are found, and a bare process that connects at the pace of
/// the checks and works as much. Monitor N of service K is at 127.0.K.N, "K-N.good.test". In a private
/// network.
class GoodServices {
 public:
  static constexpr int Count = 200;
  static constexpr std::chrono::milliseconds MostLate{250};

  GoodServices(const loopback::CertificateAuthority& authority, const GoodTimes& times,
               const std::function<void()>& prepareBare);

  /// Started monitors, one for each; their log is "good.log".
  [[nodiscard]] std::vector<engine::datafile::Row> Monitors() const;
  [[nodiscard]] const ChildProcess& Bare() const { return *m_bare; }
  /// Of the checks, and of the bare process, since `from` until now.
  [[nodiscard]] Starts ChecksSince(std::chrono::steady_clock::time_point from) const;
  [[nodiscard]] Starts BareSince(std::chrono::steady_clock::time_point from) const;

 private:
  [[nodiscard]] Starts StartsOf(int service, int count, std::chrono::steady_clock::time_point from) const;

  GoodTimes m_times;
  std::array<Arrivals, 4> m_arrivals;  // by service
  ServerProcesses m_servers;           // likewise, and the name server
  std::unique_ptr<ChildProcess> m_bare;
};

}  // namespace norvane::bench
