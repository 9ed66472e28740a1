#pragma once

#include <string>
#include <string_view>
#include <vector>

// The pager types that the internet gateway offers. A type's number is that of its row, counted from 0.
namespace norvane::settings {

/// The rows of the gateway's reply, which is UTF-8. Each ends with a line feed, which goes together with the
/// character in front of it, a carriage return. A line feed with nothing in front of it ends the reply, and
/// so does a last line without one, which is dropped.
[[nodiscard]] std::vector<std::string> PagerTypeRows(std::string_view reply);

/// What the lists show of a row: what stands behind its first "=", or all of it.
[[nodiscard]] std::string_view PagerTypeName(std::string_view row);

// The pager type rule: whether `txtPagerMsg` is open while `name` is selected. A call by modem has no
// message.

/// On pages. An empty name is an empty entry, or no selection.
[[nodiscard]] bool HasMessageOnPage(std::string_view name);
/// In wizards.
[[nodiscard]] bool HasMessageInWizard(std::string_view name);

}  // namespace norvane::settings
