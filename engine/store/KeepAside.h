#pragma once

#include <string>

namespace norvane::engine {

/// Gives a file that cannot be read another name beside the old one, with the time in it, so that nothing is
/// lost; returns the new name. Its SQLite journal and its last good copy go with it; if the file itself is
/// missing the name is the copy's. Throws StoreError.
std::string KeepAside(const std::string& path);

}  // namespace norvane::engine
