#include "engine/store/KeepAside.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "engine/store/GoodCopy.h"
#include "engine/store/StoreError.h"
#include "platform/TimeText.h"

namespace norvane::engine {

namespace {
bool Exists(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0;
}
}  // namespace

std::string KeepAside(const std::string& path) {
  const auto now = platform::LocalTime(std::chrono::system_clock::now());
  const auto name = path + ".unreadable-" + platform::FormatTime("%Y%m%d-%H%M%S", now);
  auto kept = name;
  for (int i = 2; Exists(kept) || Exists(GoodCopyOf(kept)); ++i)
    kept = name + "-" + std::to_string(i);
  // The journal belongs to it and may be what mends it.
  for (const char* ending : {"", "-journal", GoodCopyEnding}) {
    if (::rename((path + ending).c_str(), (kept + ending).c_str()) != 0 && errno != ENOENT)
      throw SystemFailure(path + ending, errno);
  }
  return Exists(kept) ? kept : GoodCopyOf(kept);
}

}  // namespace norvane::engine
