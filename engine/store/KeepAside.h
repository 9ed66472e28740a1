#pragma once

#include <string>

namespace norvane::engine {

/// Gives a file that cannot be read another name beside the old one, with the time in it, so that nothing is
/// lost; returns the new name. Its SQLite journal goes with it. Throws StoreError.
std::string KeepAside(const std::string& path);

}  // namespace norvane::engine
