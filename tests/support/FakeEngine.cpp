#include "tests/support/FakeEngine.h"

#include <algorithm>

#include "console/engine/Limits.h"
#include "engine/model/FullName.h"
#include "platform/FileNames.h"

namespace norvane::tests {

namespace ce = console::engine;
using ce::EngineError;
using ce::EngineErrorCode;
using ce::MonitorId;

namespace {
class FakeFetch : public ce::PageFetch {
 public:
  FakeFetch(const bool& isHeld, const FakePage* page, std::chrono::milliseconds limit)
      : m_isHeld(isHeld), m_end(std::chrono::steady_clock::now() + limit) {
    if (page == nullptr) return;
    m_reply = {PageReply::End::Complete, "", page->body, page->contentType, page->status};
    m_hasEnded = page->isComplete;
  }
  bool HasEnded() override { return !m_isHeld && (m_hasEnded || std::chrono::steady_clock::now() >= m_end); }
  void Stop() override { m_hasEnded = true; }
  ce::PageReply Reply() override {
    return m_hasEnded ? m_reply : PageReply{PageReply::End::TimedOut, "no answer in time", "", ""};
  }

 private:
  using PageReply = ce::PageReply;
  const bool& m_isHeld;
  std::chrono::steady_clock::time_point m_end;
  PageReply m_reply{PageReply::End::Failed, "no such page", "", ""};
  bool m_hasEnded = true;
};

class FakeStatusQuery : public ce::StatusQuery {
 public:
  explicit FakeStatusQuery(const FakePort& port) : m_port(port) {}
  bool HasEnded() override { return m_port.answersStatus; }
  ce::EngineStatus Reply() override { return m_port.status; }

 private:
  const FakePort& m_port;
};
}  // namespace

// What the fake holds

FakeMonitor& FakePort::Place(std::string_view fullName,
                             std::map<std::string, std::string, std::less<>> attributes, int kind) {
  return m_monitors[++m_lastId] = {std::string(fullName), std::move(attributes), kind};
}

void FakePort::Drop(std::string_view fullName) {
  m_monitors.erase(Find(fullName));
}

FakeMonitor& FakePort::At(std::string_view fullName) {
  return Held(Find(fullName));
}

std::vector<std::string> FakePort::Names() const {
  std::vector<std::string> names;
  for (const auto& [id, monitor] : m_monitors)
    names.push_back(monitor.name);
  return names;
}

FakeMonitor& FakePort::Held(MonitorId id) {
  const auto found = m_monitors.find(id);
  if (found == m_monitors.end()) throw EngineError(EngineErrorCode::NotFound, "no such monitor");
  return found->second;
}

// Reads

const ce::EngineInfo& FakePort::Info() {
  if (m_gone) throw EngineError(EngineErrorCode::Gone, "no engine answers");
  m_info.monitorTypes.clear();
  for (const auto& type : m_types)
    m_info.monitorTypes.push_back({type});
  return m_info;
}

std::size_t FakePort::Count() {
  static_cast<void>(Info());
  return m_monitors.size();
}

MonitorId FakePort::IdAt(int position) {
  if (position < 1 || static_cast<std::size_t>(position) > Count())
    throw EngineError(EngineErrorCode::NotFound, "no monitor of this number");
  return std::next(m_monitors.begin(), position - 1)->first;
}

MonitorId FakePort::Find(std::string_view fullName) {
  static_cast<void>(Info());
  for (const auto& [id, monitor] : m_monitors)
    if (monitor.name == fullName) return id;
  throw EngineError(EngineErrorCode::NotFound, "no such monitor: " + std::string(fullName));
}

std::vector<ce::NamedMonitor> FakePort::Select(const std::vector<std::string>& names) {
  struct Table final : ce::MonitorNames {
    explicit Table(const FakePort& fake) : port(fake) {}
    std::optional<MonitorId> Find(std::string_view fullName) const override {
      for (const auto& [id, monitor] : port.m_monitors)
        if (monitor.name == fullName) return id;
      return std::nullopt;
    }
    void ForEach(const Visit& visit) const override {
      for (const auto& [id, monitor] : port.m_monitors)
        visit(id, monitor.name);
    }
    std::vector<std::string_view> Types() const override {
      return {port.m_types.begin(), port.m_types.end()};
    }
    const FakePort& port;
  };
  static_cast<void>(Info());
  return ce::SelectMonitors(Table(*this), names);
}

ce::MonitorSnapshot FakePort::Read(const std::vector<MonitorId>& ids) {
  ce::MonitorSnapshot monitors;
  for (const auto id : ids)
    if (m_monitors.contains(id)) monitors.push_back(Get(id));
  return monitors;
}

ce::MonitorHistory FakePort::History(const ce::HistoryQuery& query) {
  static_cast<void>(Info());
  historyQueries.push_back(query);
  return history;
}

ce::MonitorPtr FakePort::Get(MonitorId id) {
  static_cast<void>(Info());
  const auto& monitor = Held(id);
  ce::MonitorRecord record;
  record.id = id;
  record.name = monitor.name;
  record.hasPage = monitor.kind != 1;
  record.others = monitor.attributes;
  record.since = record.checkedAt = monitor.since;
  return std::make_shared<ce::MonitorRecord>(std::move(record));
}

ce::MonitorSnapshot FakePort::Snapshot() {
  static_cast<void>(Info());
  ce::MonitorSnapshot all;
  for (const auto& [id, monitor] : m_monitors)
    all.push_back(Get(id));
  return all;
}

std::uint64_t FakePort::WaitForUpdate(std::uint64_t seen, std::chrono::milliseconds) {
  static_cast<void>(Info());
  return seen;
}

std::string FakePort::ServiceValue(std::string_view key) {
  static_cast<void>(Info());
  const auto found = m_config.find(key);
  return found == m_config.end() ? std::string() : found->second;
}

std::unique_ptr<ce::StatusQuery> FakePort::QueryStatus() {
  static_cast<void>(Info());
  return std::make_unique<FakeStatusQuery>(*this);
}

// Writes

void FakePort::RequireGate() {
  static_cast<void>(Info());
  if (!m_gateOpen)
    throw EngineError(
        EngineErrorCode::Refused,
        "the control gate of this connection is closed, so nothing can be changed; start the program again");
}

void FakePort::OpenGate(std::string_view controlPass) {
  if (controlPass != ServiceValue(ce::service::ControlPass))
    throw EngineError(EngineErrorCode::Refused, "wrong control pass");
  OpenGate();
}

void FakePort::CommitServiceValues(const ce::ServiceValues& values) {
  RequireGate();
  if (values.count(ce::service::ControlPass) != 0)
    throw EngineError(EngineErrorCode::Invalid, "ControlPass cannot be set");
  for (const auto& [key, value] : values)
    m_config[key] = value;
}

void FakePort::Load(std::string_view path) {
  static_cast<void>(Info());
  if (!path.ends_with(platform::files::EngineData)) RequireGate();
  const auto file = m_files.find(path);
  if (file == m_files.end())
    throw EngineError(EngineErrorCode::NotFound, "no such file: " + std::string(path));
  m_monitors.clear();
  for (const auto& monitor : file->second)
    Place(monitor.name, monitor.attributes, monitor.kind);
}

void FakePort::Save(std::string_view path) {
  RequireGate();
  auto& file = m_files[std::string(path)];
  file.clear();
  for (const auto& [id, monitor] : m_monitors)
    file.push_back(monitor);
}

void FakePort::Add(std::string_view fullName) {
  RequireGate();
  engine::RequireFullName(fullName);
  if (std::ranges::count(m_types, engine::TypeNameOf(fullName)) == 0)
    engine::RefuseName(fullName, "unknown monitor type");
  const auto names = Names();
  if (std::count(names.begin(), names.end(), fullName) != 0)
    throw EngineError(EngineErrorCode::Exists, "monitor already exists: " + std::string(fullName));
  Place(fullName, {ce::NewMonitorValues.begin(), ce::NewMonitorValues.end()});
}

void FakePort::Remove(std::string_view fullName) {
  RequireGate();
  Drop(fullName);
}

void FakePort::SetAttribute(MonitorId id, std::string_view key, std::string_view value) {
  RequireGate();
  if (key.empty() || key.size() > ce::MaxKeySize || value.size() > ce::MaxValueSize)
    throw EngineError(EngineErrorCode::Invalid, "the key or the value is too long, or the key is empty");
  Held(id).attributes[std::string(key)] = value;
}

ce::Outcome FakePort::Run(MonitorId id, const RunnerAnswer& answer) {
  RequireGate();
  Held(id);
  const bool good = answer.result >= 0;
  return {.good = good,
          .reason = good ? "Ok" : "failed",
          .monitor = answer.replaceBy.empty() ? id : Find(answer.replaceBy)};
}

MonitorId FakePort::Init(MonitorId id) {
  return Run(id, initAnswer).monitor;
}
ce::Outcome FakePort::Check(MonitorId id) {
  return Run(id, monitorAnswer);
}
ce::Outcome FakePort::Notify(MonitorId id) {
  return Run(id, notifyAnswer);
}

std::unique_ptr<ce::PageFetch> FakePort::Fetch(const std::string& url, std::chrono::milliseconds limit) {
  const auto page = m_pages.find(url);
  return std::make_unique<FakeFetch>(holdsFetches, page == m_pages.end() ? nullptr : &page->second, limit);
}

}  // namespace norvane::tests
