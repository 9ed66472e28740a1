#include "platform/MemoryLimit.h"

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>

namespace norvane::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t Unlimited = std::numeric_limits<std::size_t>::max();
constexpr int LargeBlock = 128 << 10;
constexpr int MostKept = 2 << 20;

/// The number that a file begins with. Where there is none ("max") nothing is limited.
std::size_t NumberIn(const fs::path& path) {
  std::size_t number = Unlimited;
  if (std::ifstream file(path); !(file >> number)) return Unlimited;
  return number;
}

/// Of a group and all that it lies in.
std::size_t GroupLimit(const fs::path& hierarchy, fs::path group, const char* file) {
  auto limit = NumberIn(hierarchy / file);
  for (; group.has_relative_path(); group = group.parent_path())
    limit = std::min(limit, NumberIn(hierarchy / group.relative_path() / file));
  return limit;
}

/// Lines like "0::/user.slice" and "4:memory:/user.slice" (cgroups(7)).
std::size_t GroupLimits(const std::string& root) {
  const fs::path mounts = root + "/sys/fs/cgroup";
  std::ifstream groups(root + "/proc/self/cgroup");
  auto limit = Unlimited;
  for (std::string line; std::getline(groups, line);) {
    const auto controllers = line.substr(0, line.rfind(':') + 1);
    const auto group = line.substr(controllers.size());
    if (controllers == "0::") limit = std::min(limit, GroupLimit(mounts, group, "memory.max"));
    if (controllers.find(":memory:") != std::string::npos)
      limit = std::min(limit, GroupLimit(mounts / "memory", group, "memory.limit_in_bytes"));
  }
  return limit;
}

std::size_t AddressSpaceLimit() {
  rlimit limit{};
  return ::getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY ? limit.rlim_cur : Unlimited;
}

/// The pages of the machine that the address space has (proc(5)).
std::size_t AddressSpaceLeft() {
  const auto limit = AddressSpaceLimit();
  const auto pages = NumberIn("/proc/self/statm");
  if (limit == Unlimited || pages == Unlimited) return limit;
  return limit - std::min(limit, pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)));
}

}  // namespace

std::size_t MemoryLimit(const std::string& root) {
  return std::min(AddressSpaceLeft(), GroupLimits(root));
}

void TuneAllocator() {
  ::mallopt(M_MMAP_THRESHOLD, LargeBlock);
  ::mallopt(M_TRIM_THRESHOLD, MostKept);
  if (AddressSpaceLimit() != Unlimited) ::mallopt(M_ARENA_MAX, 1);
}

}  // namespace norvane::platform
