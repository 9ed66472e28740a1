#pragma once

#include <tuple>
#include <vector>

namespace norvane::tests {

/// The table of a test: `for (const auto& [name, text, size] : Rows<const char*, std::string, int>{...})`.
template <class... Cells>
using Rows = std::vector<std::tuple<Cells...>>;

}  // namespace norvane::tests
