#pragma once

#include <string>
#include <string_view>
#include <vector>

// The pager types that the internet gateway offers. A type's number is that of its row, counted from 0.
namespace norvane::settings {

/// Parses the gateway's reply, which is UTF-8. A row ends with a newline, which is removed together with the
/// character before it, a carriage return. An empty line ends the list, and a last line without a newline is
/// dropped.
[[nodiscard]] std::vector<std::string> PagerTypeRows(std::string_view reply);

/// Whether the rows can be a list for a person to choose from: 1,000 at most, of 1,000 bytes each.
[[nodiscard]] bool IsUsableList(const std::vector<std::string>& rows);

/// The part of a row that lists show: the text behind its first "=", or all of it.
[[nodiscard]] std::string_view PagerTypeName(std::string_view row);

// The pager type rule: whether `txtPagerMsg` is enabled while `name` is selected. A call by modem has no
// message.

/// On pages. An empty name is an empty entry, or no selection.
[[nodiscard]] bool HasMessageOnPage(std::string_view name);
/// In wizards.
[[nodiscard]] bool HasMessageInWizard(std::string_view name);

}  // namespace norvane::settings
