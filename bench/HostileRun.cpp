#include "bench/HostileRun.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <optional>
#include <set>
#include <thread>

#include "bench/EngineProcess.h"
#include "bench/Measure.h"
#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"
#include "loopback/TempFolder.h"

namespace norvane::bench {

namespace ce = console::engine;
using namespace std::chrono_literals;

namespace {

constexpr auto WarmUp = 2s;
constexpr auto MostToWarmUp = 30s;
constexpr auto Settling = 3s;
constexpr auto MostToEnd = 20s;
constexpr int LowestPriority = 19;
constexpr std::size_t MostReasons = 12;

/// What the engine and the bare process beside it have to live with.
void Burden(const HostileRow& row) {
  if (row.busyLoops > 0) ::setpriority(PRIO_PROCESS, 0, LowestPriority);
  if (row.addressSpaceMegabytes == 0) return;
  const rlimit limit{row.addressSpaceMegabytes << 20, row.addressSpaceMegabytes << 20};
  ::setrlimit(RLIMIT_AS, &limit);
}

[[noreturn]] void Spin() {
  for (volatile unsigned i = 0;;)
    static_cast<void>(i);
}

/// Without figures, so that what differs in them alone is one.
std::string Shape(const std::string& line) {
  std::string shape;
  for (const char c : line.substr(std::min(line.size(), line.find(" ms: ") + 5)))
    if (!std::isdigit(static_cast<unsigned char>(c)) || !shape.ends_with('9'))
      shape += std::isdigit(static_cast<unsigned char>(c)) ? '9' : c;
  return shape;
}

/// The checks that a log tells of, from where it was before.
class CheckLog {
 public:
  explicit CheckLog(std::string path) : m_path(std::move(path)) {}

  struct Counts {
    int good = 0, failed = 0;
    std::set<std::string> reasons;
  };
  Counts ReadOn() {
    Counts counts;
    std::ifstream file(m_path);
    file.seekg(m_at);
    for (std::string line; std::getline(file, line) && !file.eof();) {
      m_at = file.tellg();
      counts.good += line.find(": good in ") != std::string::npos;
      if (line.find(": failed in ") == std::string::npos) continue;
      ++counts.failed;
      if (counts.reasons.size() < MostReasons) counts.reasons.insert(Shape(line));
    }
    return counts;
  }

 private:
  std::string m_path;
  std::streamoff m_at = 0;
};

class HostileRun {
 public:
  HostileRun(const HostileRow& row, const loopback::CertificateAuthority& authority)
      : m_row(row), m_good(authority, row.good, [&row] { Burden(row); }), m_peers(authority) {
    if (row.addPeers) row.addPeers(m_peers);
    for (int i = 0; i < row.busyLoops; ++i)
      m_busy.push_back(std::make_unique<ChildProcess>(&Spin));
    auto rows = m_good.Monitors();
    rows.insert(rows.end(), m_peers.Monitors().begin(), m_peers.Monitors().end());
    WriteDataFile(m_folder.Path(), std::move(rows));
    std::ofstream(m_folder / "config.ini")
        << "[tls]\ncafile=" << authority.WriteTo(m_folder / "ca.pem") << "\n"
        << (row.threads == 0 ? "" : "[checks]\nthreads=" + std::to_string(row.threads) + "\n");
    m_engine.emplace(m_folder.Path(), [this] { BecomeEngine(); });
  }

  HostileFigures Run(std::chrono::seconds time) {
    WarmUpEngine();
    m_figures.memoryBefore = m_engine->Memory();
    m_figures.descriptorsBefore = m_engine->Descriptors();
    const auto began = Clock::now();
    Attack(time);
    const std::chrono::duration<double> passed = Clock::now() - began;
    m_figures.due = GoodServices::Count * passed / m_row.good.interval;
    m_figures.checks = m_good.ChecksSince(began);
    m_figures.bare = m_good.BareSince(began);
    if (m_figures.ending.empty()) {
      m_figures.memoryAfter = m_engine->Memory();
      m_figures.descriptorsAfter = m_engine->Descriptors();
    }
    Count();
    End();
    return m_figures;
  }

 private:
  void BecomeEngine() const {
    Burden(m_row);
    const int log = ::open((m_folder / "stderr").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ::dup2(log, STDERR_FILENO);
  }

  /// Lets time pass, while the engine lives.
  void Watch(std::chrono::milliseconds time) {
    for (const auto end = Clock::now() + time; Clock::now() < end && m_figures.ending.empty();) {
      std::this_thread::sleep_for(50ms);
      m_figures.memoryMost = std::max(m_figures.memoryMost, m_engine->Memory());
      m_figures.ending = m_engine->Ending();
    }
  }

  /// Until each good service has been checked, and then some.
  void WarmUpEngine() {
    const auto end = Clock::now() + MostToWarmUp;
    for (int good = 0; good < GoodServices::Count && Clock::now() < end; good += m_goodLog.ReadOn().good)
      Watch(100ms);
    Watch(WarmUp);
    static_cast<void>(m_goodLog.ReadOn());
  }

  void Attack(std::chrono::milliseconds time) {
    SetHostile(ce::StatusEnable, m_row.startsOver);
    if (m_row.stoppedFor > 0s) {
      Watch(500ms);
      Signal(SIGSTOP);
      Watch(m_row.stoppedFor);
      Signal(SIGCONT);
    }
    Watch(time);
    SetHostile(ce::StatusDisable, 0s);
    Watch(Settling);
  }

  void SetHostile(std::string_view status, std::chrono::milliseconds over) try {
    const auto& rows = m_peers.Monitors();
    if (rows.empty() || !m_figures.ending.empty()) return;
    link::EngineClient console(ConsoleOptions(m_folder.Path()));
    ce::OpenGate(console);
    for (const auto& row : rows) {
      console.SetAttribute(console.Find(row.name), ce::keys::Status, status);
      Watch(over / rows.size());
    }
  } catch (const ce::EngineError& gone) {
    m_figures.messages.push_back(std::string("no answer from it: ") + gone.what());
    Watch(1s);
  }

  void Signal(int signal) {
    m_engine->Signal(signal);
    m_good.Bare().Signal(signal);
  }

  void Count() {
    const auto good = m_goodLog.ReadOn();
    m_figures.good = good.good;
    m_figures.failed = good.failed;
    m_figures.falseReasons.insert(m_figures.falseReasons.end(), good.reasons.begin(), good.reasons.end());
    const auto hostile = CheckLog(m_folder / "hostile.log").ReadOn();
    m_figures.reasons.assign(hostile.reasons.begin(), hostile.reasons.end());
    std::ifstream errors(m_folder / "stderr");
    for (std::string line; std::getline(errors, line) && m_figures.messages.size() < MostReasons;)
      m_figures.messages.push_back(line);
  }

  /// The engine is to end when it is told to, too.
  void End() {
    if (!m_figures.ending.empty()) return;
    m_engine->Signal(SIGTERM);
    const auto end = Clock::now() + MostToEnd;
    while (m_engine->Ending().empty()) {
      std::this_thread::sleep_for(50ms);
      if (Clock::now() < end) continue;
      m_engine->Signal(SIGKILL);
      m_figures.ending = "did not end when told to";
    }
  }

  const HostileRow& m_row;
  loopback::TempFolder m_folder;
  GoodServices m_good;
  HostilePeers m_peers;
  std::vector<std::unique_ptr<ChildProcess>> m_busy;
  std::optional<EngineProcess> m_engine;
  CheckLog m_goodLog{m_folder / "good.log"};
  HostileFigures m_figures;
};

}  // namespace

HostileFigures RunBeside(const HostileRow& row, const loopback::CertificateAuthority& authority,
                         std::chrono::seconds time) {
  return HostileRun(row, authority).Run(time);
}

}  // namespace norvane::bench
