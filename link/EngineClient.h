#pragma once

#include <memory>

#include "console/engine/Port.h"
#include "link/LinkOptions.h"

namespace norvane::link {

class Link;

/// The engine of an application folder over one connection, which is made at the first use. Once it is lost,
/// everything fails with `Gone`. Reads of monitors are answered by a mirror; only `WaitForUpdate` and the end
/// of `Shutdown` block without asking the waiter.
class EngineClient final : public console::engine::Port {
 public:
  explicit EngineClient(LinkOptions options);
  ~EngineClient() override;

  const console::engine::EngineInfo& Info() override;
  std::size_t Count() override;
  console::engine::MonitorId IdAt(int position) override;
  console::engine::MonitorId Find(std::string_view fullName) override;
  console::engine::MonitorPtr Get(console::engine::MonitorId id) override;
  std::vector<console::engine::NamedMonitor> Select(const std::vector<std::string>& names) override;
  console::engine::MonitorSnapshot Read(const std::vector<console::engine::MonitorId>& ids) override;
  console::engine::MonitorSnapshot Snapshot() override;
  std::uint64_t LastChange() override;
  std::uint64_t WaitForUpdate(std::uint64_t seen, std::chrono::milliseconds time) override;
  void OnUpdate(std::function<void()> callback) override;
  std::string ServiceValue(std::string_view key) override;
  std::unique_ptr<console::engine::StatusQuery> QueryStatus() override;
  std::vector<console::engine::OwedMessage> Owed() override;
  std::map<std::string, console::engine::SilenceInfo> Silences() override;
  std::vector<console::engine::OpenOutage> OpenOutages() override;
  console::engine::MonitorHistory History(const console::engine::HistoryQuery& query) override;

  void OpenGate(std::string_view controlPass) override;
  void CommitServiceValues(const console::engine::ServiceValues& values) override;
  void Load(std::string_view path) override;
  void Save(std::string_view path) override;
  void Add(std::string_view fullName) override;
  void Remove(std::string_view fullName) override;
  void SetAttribute(console::engine::MonitorId id, std::string_view key, std::string_view value) override;
  void Change(const std::vector<console::engine::MonitorChange>& changes, std::uint64_t basedOn) override;
  console::engine::MonitorId Init(console::engine::MonitorId id) override;
  console::engine::Outcome Check(console::engine::MonitorId id) override;
  console::engine::Outcome Notify(console::engine::MonitorId id) override;
  void DropOwed(const std::vector<std::string>& fullNames) override;
  void Silence(const std::vector<std::string>& fullNames, std::chrono::seconds time,
               std::string_view because) override;
  void Unsilence(const std::vector<std::string>& fullNames) override;
  void Shutdown(bool force) override;
  std::unique_ptr<console::engine::PageFetch> Fetch(const std::string& url,
                                                    std::chrono::milliseconds limit) override;

 private:
  std::unique_ptr<Link> m_link;
  std::uint32_t m_lastFetch = 0;
};

}  // namespace norvane::link
