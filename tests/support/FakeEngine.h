#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/Engine.h"
#include "tests/support/CallRecorder.h"

namespace norvane::tests {

/// A monitor of the fake.
struct FakeMonitor {
  std::string name;
  std::map<std::string, std::string, std::less<>> attributes;
  int kind = 0;
  std::chrono::system_clock::time_point since{};  ///< and time of its only check
};

/// A page that a fetch gives.
struct FakePage {
  std::string body;
  std::string contentType = "text/html";
  int status = 200;
  bool isComplete = true;  ///< or the fetch gives it only when it is stopped, and else runs out of time
};

/// An engine in memory, and one console's connection to it.
class FakePort : public console::engine::Port {
 public:
  // What the engine holds; these check nothing.

  /// Puts a monitor of any name and kind at the end of the list.
  FakeMonitor& Place(std::string_view fullName,
                     std::map<std::string, std::string, std::less<>> attributes = {}, int kind = 0);
  /// Removes it without the console's knowledge. The name must exist; so for `At`.
  void Drop(std::string_view fullName);
  [[nodiscard]] FakeMonitor& At(std::string_view fullName);
  [[nodiscard]] std::vector<std::string> Names() const;
  /// Committed service-wide values; "ControlPass" opens the gate.
  [[nodiscard]] console::engine::ServiceValues& ConfigValues() { return m_config; }
  /// The types that MonitorTypeList offers: the three that an engine knows.
  [[nodiscard]] std::vector<std::string>& Types() { return m_types; }
  /// Data files by path: the monitors in them. `Save` writes one, `Load` reads one.
  [[nodiscard]] std::map<std::string, std::vector<FakeMonitor>, std::less<>>& Files() { return m_files; }
  /// What a page's fetch gives, by its URL; all other fetches fail.
  [[nodiscard]] std::map<std::string, FakePage, std::less<>>& Pages() { return m_pages; }
  bool holdsFetches = false;  ///< none ends
  void OpenGate() { m_gateOpen = true; }
  /// What was placed, dropped or set so far reaches the console.
  void Update() const {
    if (m_onUpdate) m_onUpdate();
  }
  /// From now on no engine answers.
  void EndEngine() { m_gone = true; }

  /// What a runner's call gives.
  struct RunnerAnswer {
    std::int32_t result = 0;  ///< negative: the check or notification fails
    /// Full name of the monitor that the caller's item is replaced by; empty leaves the item alone.
    std::string replaceBy;
  };
  RunnerAnswer initAnswer;  ///< its result goes nowhere
  RunnerAnswer monitorAnswer;
  RunnerAnswer notifyAnswer;
  console::engine::EngineStatus status;  ///< what a query gives
  console::engine::MonitorHistory history;
  std::vector<console::engine::HistoryQuery> historyQueries;
  bool answersStatus = true;             ///< or queries go on until it does

  const console::engine::EngineInfo& Info() override;
  std::size_t Count() override;
  console::engine::MonitorId IdAt(int position) override;
  console::engine::MonitorId Find(std::string_view fullName) override;
  console::engine::MonitorPtr Get(console::engine::MonitorId id) override;
  std::vector<console::engine::NamedMonitor> Select(const std::vector<std::string>& names) override;
  console::engine::MonitorSnapshot Read(const std::vector<console::engine::MonitorId>& ids) override;
  console::engine::MonitorSnapshot Snapshot() override;
  std::uint64_t LastChange() override { return 0; }
  std::uint64_t WaitForUpdate(std::uint64_t seen, std::chrono::milliseconds time) override;
  void OnUpdate(std::function<void()> callback) override { m_onUpdate = std::move(callback); }
  std::string ServiceValue(std::string_view key) override;
  std::unique_ptr<console::engine::StatusQuery> QueryStatus() override;
  std::vector<console::engine::OwedMessage> Owed() override { return {}; }
  void DropOwed(const std::vector<std::string>&) override { RequireGate(); }
  std::map<std::string, console::engine::SilenceInfo> Silences() override { return {}; }
  std::vector<console::engine::OpenOutage> OpenOutages() override { return {}; }
  console::engine::MonitorHistory History(const console::engine::HistoryQuery& query) override;
  void Silence(const std::vector<std::string>&, std::chrono::seconds, std::string_view) override {
    RequireGate();
  }
  void Unsilence(const std::vector<std::string>&) override { RequireGate(); }
  void OpenGate(std::string_view controlPass) override;
  void CommitServiceValues(const console::engine::ServiceValues& values) override;
  void Load(std::string_view path) override;
  void Save(std::string_view path) override;
  void Add(std::string_view fullName) override;
  void Remove(std::string_view fullName) override;
  void SetAttribute(console::engine::MonitorId id, std::string_view key, std::string_view value) override;
  void Change(const std::vector<console::engine::MonitorChange>&, std::uint64_t) override { RequireGate(); }
  console::engine::MonitorId Init(console::engine::MonitorId id) override;
  console::engine::Outcome Check(console::engine::MonitorId id) override;
  console::engine::Outcome Notify(console::engine::MonitorId id) override;
  void Shutdown(bool) override { EndEngine(); }
  std::unique_ptr<console::engine::PageFetch> Fetch(const std::string& url,
                                                    std::chrono::milliseconds limit) override;

 private:
  void RequireGate();
  FakeMonitor& Held(console::engine::MonitorId id);
  console::engine::Outcome Run(console::engine::MonitorId id, const RunnerAnswer& answer);

  std::function<void()> m_onUpdate;
  bool m_gone = false;
  bool m_gateOpen = false;
  console::engine::EngineInfo m_info;
  std::vector<std::string> m_types = {"WebMonitor", "Pop3Monitor", "SmtpMonitor"};
  console::engine::ServiceValues m_config = {{"ControlPass", "fake control pass"}};
  std::map<console::engine::MonitorId, FakeMonitor> m_monitors;
  console::engine::MonitorId m_lastId = 0;
  std::map<std::string, std::vector<FakeMonitor>, std::less<>> m_files;
  std::map<std::string, FakePage, std::less<>> m_pages;
};

/// The engine's objects over the fake, on record. Must outlive the objects that it made.
class FakeEngine : public FakePort, public CallRecorder, public console::engine::EngineFactory {
 public:
  FakeEngine() : EngineFactory(static_cast<FakePort&>(*this), this) {}
};

}  // namespace norvane::tests
