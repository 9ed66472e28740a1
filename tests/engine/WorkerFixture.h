#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "console/engine/MonitorKeys.h"
#include "engine/WorkerThreads.h"
#include "loopback/Certificates.h"
#include "platform/EventFd.h"

namespace norvane::tests {

/// A worker and the service's side of it.
class WorkerFixture {
 public:
  explicit WorkerFixture(const engine::WorkerOptions& options = {}) : m_worker(options, m_event) {}
  engine::WorkerThreads* operator->() { return &m_worker; }

  /// Waits for the next reports; none within half a minute fails the test.
  std::vector<engine::CheckEnded> Next() {
    pollfd fd{m_event.Fd(), POLLIN, 0};
    m_gaveUp = ::poll(&fd, 1, 30000) != 1;
    EXPECT_FALSE(m_gaveUp) << "no report";
    m_event.Clear();
    std::vector<engine::CheckEnded> ended;
    for (auto& report : m_worker.DequeueReports())
      ended.push_back(std::get<engine::CheckEnded>(std::move(report)));
    return ended;
  }
  engine::CheckEnded Check(engine::CheckTarget target) { return CheckAll({std::move(target)})[0]; }
  /// Checks all at once and gives their reports in the same order.
  std::vector<engine::CheckEnded> CheckAll(std::vector<engine::CheckTarget> targets) {
    std::vector<engine::CheckEnded> reports(targets.size());
    for (std::size_t i = 0; i < targets.size(); ++i)
      m_worker.CheckOnce(std::move(targets[i]), i + 1);
    for (std::size_t left = reports.size(); left > 0;) {
      for (auto& report : Next()) {
        if (report.ticket == 0) continue;
        auto& place = reports[report.ticket - 1];
        place = std::move(report);
        --left;
      }
      if (m_gaveUp) break;
    }
    return reports;
  }
  [[nodiscard]] bool GaveUp() const { return m_gaveUp; }

 private:
  platform::EventFd m_event;
  engine::WorkerThreads m_worker;
  bool m_gaveUp = false;
};

inline engine::CheckTarget WebTarget(engine::MonitorId id, const std::string& parameter, const std::string& flag = "",
                   const std::string& timeout = "20") {
  namespace keys = console::engine::keys;
  auto attributes = engine::NewMonitorAttributes();
  attributes.Set(keys::Parameter, parameter);
  attributes.Set(keys::SuccessFlag, flag);
  attributes.Set(keys::Timeout, timeout);
  attributes.Set(keys::Interval, "0.5");
  return {id, "WebMonitor Of " + std::to_string(id), std::make_shared<const engine::Attributes>(attributes)};
}

inline std::size_t OpenDescriptors() {
  const std::filesystem::directory_iterator folder("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
}

/// A server's certificate, the name that it is called by, and what a check says to it.
struct CertificateCase {
  const char* name;
  loopback::Identity identity;
  const char* host;
  std::string reason;
};

inline std::vector<CertificateCase> CertificateCases(const loopback::CertificateAuthority& trusted) {
  const char* address = "127.0.0.1";
  const std::string of = "certificate of 127.0.0.1 ", tls = "TLS with 127.0.0.1 failed: ";
  auto longKey = trusted.Issue(address), usualKey = longKey, largeExponent = longKey, longChain = longKey,
       oldGroup = longKey;
  longKey.others = {trusted.IssueForLongKey(1025)};
  largeExponent.others = {trusted.IssueForLongKey(256, 9)};
  usualKey.others.assign(30, trusted.IssueForLongKey(1024));
  longChain.others.assign(40, trusted.Issue(address).certificate);
  oldGroup.groups = "ffdhe2048";
  return {
      {"good", trusted.Issue(address), address, "Ok"},
      {"good by name", trusted.Issue("localhost"), "localhost", "Ok"},
      {"expired", trusted.Issue(address, -10, -1), address, of + "expired"},
      {"not yet valid", trusted.Issue(address, 1, 10), address, of + "is not yet valid"},
      {"other name", trusted.Issue("elsewhere.test"), address, of + "is for another name"},
      {"name's certificate at the address", trusted.Issue("localhost"), address, of + "is for another name"},
      {"unknown authority", loopback::CertificateAuthority().Issue(address), address,
       of + "not trusted: unable to get local issuer certificate"},
      {"usual keys", usualKey, address, "Ok"},
      {"long key", longKey, address, of + "comes with a key above 8192 bits"},
      {"large exponent", largeExponent, address, of + "comes with an RSA exponent above 64 bits"},
      {"long chain", longChain, address, tls + "excessive message size"},
      {"finite-field group", oldGroup, address, tls + "sslv3 alert handshake failure"},
  };
}

}  // namespace norvane::tests
