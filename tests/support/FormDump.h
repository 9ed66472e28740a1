#pragma once

#include <QWidget>
#include <string>
#include <utility>
#include <vector>

namespace norvane::tests {

/// What a user sees of a form's parts now, by their names: texts, "off" for disabled by itself, "hidden",
/// "checked", the rows of lists and trees.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> StateOf(const QWidget& form);

/// The same with all that stays as it was designed: what contains what, classes, tool tips, limits, sizes
/// that are fixed, columns, timers, the order of the Tab key.
[[nodiscard]] std::string DumpOf(const QWidget& form);

}  // namespace norvane::tests
