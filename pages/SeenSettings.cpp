#include "pages/SeenSettings.h"

#include <QStyle>
#include <QTabWidget>
#include <set>
#include <utility>

#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"

namespace norvane::pages {

namespace {
namespace engine = console::engine;
namespace keys = engine::keys;

constexpr char ChangedToolTip[] =
    "Another program has changed these settings since they were read: Apply overwrites them, Restore shows "
    "them";

struct Setting {
  std::string_view key;
  int tab;
};
// clang-format off
constexpr Setting Settings[] = {
    {keys::Parameter, 0}, {keys::SuccessFlag, 0}, {keys::Interval, 0}, {keys::Timeout, 0},
    {keys::PopAccount, 0}, {keys::PopPass, 0}, {keys::From, 0}, {keys::To, 0},
    {keys::NotifyMode, 1}, {keys::NotifyPager, 1}, {keys::NotifyMsg, 1},
    {keys::Command, 2}, {keys::CommandSucc, 2}, {keys::MaxFailTimes, 2}, {keys::FailTimes, 2},
    {keys::LogFile, 2},
};
// clang-format on

std::set<int> ChangedTabs(const engine::MonitorRecord& before, const engine::MonitorRecord& now) {
  std::set<int> tabs;
  for (const auto& [key, tab] : Settings)
    if (before.Get(key) != now.Get(key)) tabs.insert(tab);
  return tabs;
}

engine::MonitorPtr RecordOf(const engine::MonitorItem& monitor) {
  try {
    return monitor.Record();
  } catch (const engine::EngineError&) {
    return nullptr;  // whoever reads it next hears of it
  }
}
}  // namespace

void SeenSettings::See(const engine::MonitorItem& monitor) {
  m_seen = m_now = RecordOf(monitor);
  RemoveMarks();
}

bool SeenSettings::HaveChanged(const engine::MonitorItem& monitor) {
  const auto now = RecordOf(monitor);
  if (!now || !m_seen || now->id != m_seen->id) return false;
  const bool changed = !ChangedTabs(*m_now, *now).empty();
  m_now = now;
  return changed;
}

void SeenSettings::RemoveMarks() {
  for (const auto& [tab, toolTip] : std::exchange(m_toolTips, {})) {
    m_tabs.setTabIcon(tab, {});
    m_tabs.setTabToolTip(tab, toolTip);
  }
}

void SeenSettings::MarkTabs() {
  RemoveMarks();
  for (const int tab : ChangedTabs(*m_seen, *m_now)) {
    const auto& before = m_toolTips[tab] = m_tabs.tabToolTip(tab);
    m_tabs.setTabIcon(tab, m_tabs.style()->standardIcon(QStyle::SP_MessageBoxWarning));
    const auto head = before.isEmpty() ? before : before + QLatin1Char('\n');
    m_tabs.setTabToolTip(tab, head + QLatin1String(ChangedToolTip));
  }
}

}  // namespace norvane::pages
