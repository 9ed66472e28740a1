#pragma once

#include <string>

namespace norvane::engine {

class Database;

// The last good copy of a file lies beside it, in case the file cannot be read one day. Throw
// StoreError.

inline constexpr const char* GoodCopyEnding = ".1";

[[nodiscard]] inline std::string GoodCopyOf(const std::string& path) {
  return path + GoodCopyEnding;
}
/// Makes or renews the copy from the open file, which was found good. A moment shows the old or the new copy.
void KeepGoodCopy(Database& database, const std::string& path);

/// When the copy was made, as text for people; empty if there is none.
[[nodiscard]] std::string GoodCopyTime(const std::string& path);
/// Puts a copy of the copy in the place of the file, which is kept under another name; gives that name.
std::string RestoreGoodCopy(const std::string& path);

}  // namespace norvane::engine
