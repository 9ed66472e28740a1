#pragma once

#include <string>

namespace norvane::engine {

/// Whatever it is: links are not followed.
[[nodiscard]] bool Exists(const std::string& path);

class NewFile;

/// Gives a file that cannot be read another name beside the old one, with the time in it, so that nothing is
/// lost; returns the new name. Its SQLite journal and its last good copy go with it; if the file itself is
/// missing the name is the copy's. Throws StoreError.
std::string KeepAside(const std::string& path);
/// The same, and `successor` takes the place. Whenever a kill comes, file and copy lie under the old names,
/// or the successor is in place.
std::string KeepAside(const std::string& path, NewFile& successor);

}  // namespace norvane::engine
