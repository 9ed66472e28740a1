#include "text/ApplyPlan.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "text/Nearest.h"

namespace norvane::text {

namespace ce = console::engine;
namespace keys = ce::keys;
using ce::MonitorChange;
using What = MonitorChange::What;

namespace {

std::string NameOf(const MonitorLine& line) {
  return (line.group.empty() ? std::string() : line.group + ".") + line.name;
}

std::string Shown(const MonitorLine& line) {
  if (line.isSecret) return "(not shown)";
  return line.style == MonitorLine::Style::Plain ? line.value : Quoted(line.value);
}

class Planner {
 public:
  Planner(const std::string& folder, ApplyPlan& plan) : m_folder(folder), m_plan(plan) {}

  void Add(const DescribedMonitor& monitor) {
    auto values = monitor.values;
    values.try_emplace(std::string(keys::Status), DefaultOf(keys::Status, m_folder));
    values.try_emplace(std::string(keys::LogFile), DefaultOf(keys::LogFile, m_folder));
    const auto target = values.find(keys::Parameter);
    m_plan.text += "+ " + Plain(monitor.name) + "  " + Quoted(target->second) + "\n";
    m_plan.changes.push_back({What::Add, monitor.name, {values.begin(), values.end()}});
  }

  void Change(const DescribedMonitor& monitor, const ce::MonitorRecord& present) {
    const auto before = ValuesOf(present);
    auto after = WholeOf(monitor, before);
    std::vector<std::pair<std::string, std::string>> values;
    for (const auto& [key, value] : after)
      if (present.Get(key) != value) values.emplace_back(key, value);
    if (values.empty()) {
      ++m_plan.unchanged;
      return;
    }
    m_plan.text += "~ " + Plain(monitor.name) + "\n";
    AppendDifference(LinesOf(present.TypeName(), before, m_folder),
                     LinesOf(present.TypeName(), after, m_folder));
    m_plan.changes.push_back({What::Set, monitor.name, std::move(values)});
  }

  void Remove(const std::string& name) {
    m_plan.text += "- " + Plain(name) + "\n";
    m_plan.changes.push_back({What::Remove, name, {}});
  }

 private:
  /// In one line, whatever it holds.
  static std::string Plain(const std::string& name) { return Quoted(name); }

  /// Every attribute, that of which the file says nothing too.
  AttributeValues WholeOf(const DescribedMonitor& monitor, const AttributeValues& before) const {
    auto values = monitor.values;
    for (const auto key : {keys::Status, keys::PopPass})
      if (const auto kept = before.find(key); kept != before.end()) values.insert(*kept);
    if (!before.contains(keys::Status)) values.try_emplace(std::string(keys::Status));
    for (const auto key : ce::KnownKeys)
      if (key != keys::Result) values.try_emplace(std::string(key), DefaultOf(key, m_folder));
    for (const auto& [key, value] : before)
      values.try_emplace(key);
    return values;
  }

  void AppendDifference(const std::vector<MonitorLine>& before, const std::vector<MonitorLine>& after) {
    const auto find = [](const std::vector<MonitorLine>& lines, const MonitorLine& sought) {
      const auto found = std::ranges::find_if(lines, [&](const MonitorLine& each) {
        return each.group == sought.group && each.name == sought.name;
      });
      return found == lines.end() ? nullptr : &*found;
    };
    const auto append = [&](const MonitorLine* old, const MonitorLine* now) {
      if (old != nullptr && now != nullptr && *old == *now) return;
      m_plan.text += "    " + NameOf(old != nullptr ? *old : *now) + ": " +
                     (old == nullptr ? "(default)" : Shown(*old)) + " -> " +
                     (now == nullptr ? "(default)" : Shown(*now)) + "\n";
    };
    for (const auto& line : before)
      append(&line, find(after, line));
    for (const auto& line : after)
      if (find(before, line) == nullptr) append(nullptr, &line);
  }

  const std::string& m_folder;
  ApplyPlan& m_plan;
};

std::string Count(std::size_t count, const char* what) {
  return std::to_string(count) + " " + what;
}

std::string Summary(const ApplyPlan& plan) {
  const auto count = [&](What what) {
    return static_cast<std::size_t>(std::ranges::count(plan.changes, what, &MonitorChange::what));
  };
  return Count(count(What::Add), "added, ") + Count(count(What::Set), "changed, ") +
         Count(count(What::Remove), "removed, ") + Count(plan.unchanged, "unchanged\n");
}

}  // namespace

ApplyPlan MakePlan(const Description& description, const ce::MonitorSnapshot& monitors,
                   const std::string& folder, bool prunes) {
  ApplyPlan plan;
  Planner planner(folder, plan);
  std::unordered_map<std::string_view, const ce::MonitorRecord*> present;
  for (const auto& monitor : monitors)
    present.emplace(monitor->name, monitor.get());
  std::unordered_map<std::string_view, const DescribedMonitor*> described;
  for (const auto& monitor : description.monitors) {
    described.emplace(monitor.name, &monitor);
    const auto found = present.find(monitor.name);
    found == present.end() ? planner.Add(monitor) : planner.Change(monitor, *found->second);
  }
  for (const auto& monitor : monitors)
    if (prunes && !described.contains(monitor->name)) planner.Remove(monitor->name);
  for (const auto& monitor : description.monitors) {
    const auto parent = monitor.values.find(keys::Parent);
    if (parent == monitor.values.end() || parent->second.empty() || described.contains(parent->second) ||
        (!prunes && present.contains(parent->second)))
      continue;
    plan.remarks.push_back(TextOf(monitor.place, description.files) + ": the parent of " +
                           Quoted(monitor.name) + ", " + Quoted(parent->second) + ", is no monitor");
  }
  plan.text += Summary(plan);
  return plan;
}

}  // namespace norvane::text
