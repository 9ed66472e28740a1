#pragma once

#include <QString>
#include <map>

#include "console/engine/Engine.h"

class QTabWidget;

namespace norvane::pages {

/// The stored settings of a monitor as a page has last read or written them, and the marks on its tabs when
/// another program has changed them.
class SeenSettings {
 public:
  /// `tabs` are "General", "Notification" and "Command".
  explicit SeenSettings(QTabWidget& tabs) : m_tabs(tabs) {}

  /// The page is to show what is stored of `monitor` now. The marks go.
  void See(const console::engine::MonitorItem& monitor);
  /// Whether other settings are stored of it by now. False for another monitor than the one seen.
  [[nodiscard]] bool HaveChanged(const console::engine::MonitorItem& monitor);
  /// Marks the tabs of those that have changed, by an icon and a tool tip, and no others.
  void MarkTabs();

 private:
  void RemoveMarks();

  QTabWidget& m_tabs;
  console::engine::MonitorPtr m_seen;
  console::engine::MonitorPtr m_now;
  std::map<int, QString> m_toolTips;  ///< of the marked tabs, as they were before
};

}  // namespace norvane::pages
