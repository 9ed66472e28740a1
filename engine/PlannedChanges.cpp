#include "engine/PlannedChanges.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "console/engine/EngineError.h"
#include "console/engine/Limits.h"
#include "engine/model/FullName.h"
#include "engine/outages/Holds.h"
#include "platform/Blanks.h"

namespace norvane::engine {

namespace ce = console::engine;
namespace keys = ce::keys;
using ce::EngineError;
using ce::EngineErrorCode;
using ce::MonitorChange;
using What = MonitorChange::What;

namespace {

const Monitor& Present(const MonitorTable& table, const std::string& name, std::uint64_t basedOn) {
  const auto* monitor = table.Find(name);
  if (monitor == nullptr) throw EngineError(EngineErrorCode::NotFound, "no such monitor: " + name);
  if (monitor->settingChange > basedOn)
    throw EngineError(EngineErrorCode::Refused, "changed meanwhile: " + name + "; apply again");
  return *monitor;
}

/// The same ones if none differs.
std::shared_ptr<const Attributes> With(const std::shared_ptr<const Attributes>& before,
                                       const MonitorChange& change) {
  std::shared_ptr<Attributes> attributes;
  for (const auto& [key, value] : change.values) {
    if ((attributes ? *attributes : *before).Get(key) == value) continue;
    if (!attributes) attributes = std::make_shared<Attributes>(*before);
    try {
      RequireAttribute(key, value);
      attributes->Set(key, value);
    } catch (const EngineError& error) {
      throw EngineError(error.Code(), change.name + ": " + key + ": " + error.what());
    }
  }
  return attributes ? attributes : before;
}

PlannedChange Plan(const MonitorTable& table, const MonitorChange& change, std::uint64_t basedOn) {
  if (change.what == What::Add) {
    RequireText(change.name, "monitor name");
    table.RequireNew(change.name);
    return {nullptr, change.name, With(std::make_shared<const Attributes>(NewMonitorAttributes()), change)};
  }
  const auto& monitor = Present(table, change.name, basedOn);
  if (change.what == What::Remove) return {&monitor, change.name, nullptr};
  return {&monitor, change.name, With(monitor.attributes, change)};
}

/// Who depends on whom when all is done.
class Parents {
 public:
  Parents(const MonitorTable& table, const std::vector<PlannedChange>& changes) : m_table(table) {
    for (const auto& change : changes) {
      m_planned.emplace(change.name, change.attributes.get());
      if (HasNewParent(change)) m_newParents.insert(change.name);
    }
  }

  /// Throws if a monitor that changes is in a circle. Each is visited once, however many depend on it.
  void RequireNoCircles(const std::vector<PlannedChange>& changes) {
    for (const auto& change : changes) {
      if (!HasNewParent(change)) continue;
      ++m_walk;
      std::string_view name = change.name;
      while (!name.empty() && m_walks.emplace(name, m_walk).second)
        name = Above(name);
      if (!name.empty() && m_walks[name] == m_walk) RequireOthersCircle(name);
    }
  }

 private:
  static bool HasNewParent(const PlannedChange& change) {
    return change.attributes != nullptr &&
           (change.monitor == nullptr ||
            change.monitor->attributes->Get(keys::Parent) != change.attributes->Get(keys::Parent));
  }

  const Attributes* Find(std::string_view name) const {
    if (const auto planned = m_planned.find(name); planned != m_planned.end()) return planned->second;
    const auto* monitor = m_table.Find(name);
    return monitor == nullptr ? nullptr : monitor->attributes.get();
  }

  /// Empty if it depends on nobody that exists.
  std::string_view Above(std::string_view name) const {
    const auto parent = platform::Trimmed(Find(name)->Get(keys::Parent));
    return !parent.empty() && Find(parent) != nullptr ? parent : std::string_view();
  }

  /// A data file may have one, which is nobody's fault here.
  void RequireOthersCircle(std::string_view first) const {
    std::string chain(first);
    bool isOthers = !m_newParents.contains(first);
    for (auto name = Above(first); name != first; name = Above(name)) {
      chain.append(" -> ").append(name);
      isOthers = isOthers && !m_newParents.contains(name);
    }
    if (!isOthers) RefuseCircle(chain.append(" -> ").append(first));
  }

  const MonitorTable& m_table;
  std::unordered_map<std::string_view, const Attributes*> m_planned;
  std::unordered_set<std::string_view> m_newParents;
  std::unordered_map<std::string_view, std::size_t> m_walks;  // that came by first
  std::size_t m_walk = 0;
};

void RequireEachOnce(const std::vector<PlannedChange>& changes) {
  std::vector<std::string_view> names;
  for (const auto& change : changes)
    names.push_back(change.name);
  std::ranges::sort(names);
  if (const auto twice = std::ranges::adjacent_find(names); twice != names.end())
    throw EngineError(EngineErrorCode::Invalid, "several changes of " + std::string(*twice));
}

}  // namespace

std::vector<PlannedChange> PlanChanges(const MonitorTable& table, const std::vector<MonitorChange>& changes,
                                       std::uint64_t basedOn) {
  std::vector<PlannedChange> planned;
  planned.reserve(changes.size());
  auto count = table.Count();
  for (const auto& change : changes) {
    planned.push_back(Plan(table, change, basedOn));
    if (change.what == What::Add) ++count;
    if (change.what == What::Remove) --count;
  }
  if (count > ce::MaxMonitors && count > table.Count())
    throw EngineError(EngineErrorCode::Full,
                      "too many monitors, the limit is " + std::to_string(ce::MaxMonitors));
  RequireEachOnce(planned);
  Parents(table, planned).RequireNoCircles(planned);
  // Those that go make room for new ones.
  std::ranges::stable_partition(planned, [](const auto& change) { return change.attributes == nullptr; });
  return planned;
}

}  // namespace norvane::engine
