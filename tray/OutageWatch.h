#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "console/engine/MonitorRecord.h"
#include "console/engine/OpenOutage.h"

namespace norvane::tray {

/// What the engine said at one time.
struct EngineView {
  std::string problem{};  ///< why nothing can be said of the services: no engine, stalled; else empty
  console::engine::MonitorSnapshot monitors{};
  std::vector<console::engine::OpenOutage> outages{};
};

enum class Colour { Green, Red, Grey };

/// A desktop notification, plain text.
struct Notice {
  std::string title, text;
  bool operator==(const Notice&) const = default;
};

/// What the icon shows, and what the user is notified of.
struct TrayUpdate {
  Colour colour = Colour::Grey;
  std::string toolTip{};  ///< lines
  std::vector<Notice> notices{};
};

/// Decides what the user sees of outages. Those that are open at the first sight of the engine are shown but
/// not notified, and one that is held is notified once it is held no longer. While there is a problem nothing
/// is; what happened meanwhile is notified afterwards.
class OutageWatch {
 public:
  /// Of the beginnings seen at once, and of the ends, more than this share one notification.
  static constexpr std::size_t MaxNotices = 3;

  [[nodiscard]] TrayUpdate Update(const EngineView& view);

 private:
  using Outages = std::map<std::string, console::engine::OpenOutage, std::less<>>;
  std::optional<Outages> m_notified;  ///< by full name; none before the first sight of the engine
};

}  // namespace norvane::tray
