#include "engine/store/KeepAside.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "engine/store/StoreError.h"
#include "platform/TimeText.h"

namespace norvane::engine {

namespace {
[[noreturn]] void Fail(const std::string& path) {
  throw StoreError(StoreErrorCode::Failed, path + ": " + std::strerror(errno));
}

bool Exists(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0;
}
}  // namespace

std::string KeepAside(const std::string& path) {
  const auto now = platform::LocalTime(std::chrono::system_clock::now());
  const auto name = path + ".unreadable-" + platform::FormatTime("%Y%m%d-%H%M%S", now);
  auto kept = name;
  for (int i = 2; Exists(kept); ++i)
    kept = name + "-" + std::to_string(i);
  if (::rename(path.c_str(), kept.c_str()) != 0) Fail(path);
  // The journal, if there is one, belongs to it and may be what mends it.
  if (::rename((path + "-journal").c_str(), (kept + "-journal").c_str()) != 0 && errno != ENOENT)
    Fail(path + "-journal");
  return kept;
}

}  // namespace norvane::engine
