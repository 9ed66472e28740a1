#pragma once

#include <QStringList>
#include <chrono>

namespace norvane::console {

/// Today's time, or date and time.
[[nodiscard]] QString TimeText(std::chrono::system_clock::time_point at);

/// The lines as they are, the first few of them: texts may come from servers, and a tool tip would read them
/// as markup.
[[nodiscard]] QString ToolTip(QStringList lines);

}  // namespace norvane::console
