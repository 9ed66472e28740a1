#include "engine/store/KeepAside.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "engine/store/GoodCopy.h"
#include "engine/store/NewFile.h"
#include "engine/store/StoreError.h"
#include "platform/TimeText.h"

namespace norvane::engine {

bool Exists(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0;
}

namespace {
/// The journals belong to the file and may be what mends it.
constexpr std::array Endings{"", "-journal", "-wal", GoodCopyEnding};

std::string FreeName(const std::string& path) {
  const auto now = platform::LocalTime(std::chrono::system_clock::now());
  const auto name = path + ".unreadable-" + platform::FormatTime("%Y%m%d-%H%M%S", now);
  auto kept = name;
  for (int i = 2; Exists(kept) || Exists(GoodCopyOf(kept)); ++i)
    kept = name + "-" + std::to_string(i);
  return kept;
}

/// Of what there is, the first.
std::string NameOf(const std::string& kept) {
  return Exists(kept) ? kept : GoodCopyOf(kept);
}

void Rename(const std::string& from, const std::string& to) {
  if (::rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT) throw SystemFailure(from, errno);
}
}  // namespace

std::string KeepAside(const std::string& path) {
  const auto kept = FreeName(path);
  for (const char* ending : Endings)
    Rename(path + ending, kept + ending);
  return NameOf(kept);
}

std::string KeepAside(const std::string& path, NewFile& successor) {
  const auto kept = FreeName(path);
  for (const char* ending : Endings) {
    // Not every file system has links, and not every file may be linked.
    if (::link((path + ending).c_str(), (kept + ending).c_str()) != 0) Rename(path + ending, kept + ending);
  }
  successor.PutInPlace();
  ::unlink(GoodCopyOf(path).c_str());
  return NameOf(kept);
}

}  // namespace norvane::engine
