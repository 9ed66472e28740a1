#include "platform/MemoryLimit.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <string>

#include "loopback/TempFolder.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::platform {
namespace {

TEST(MemoryLimit, TheNarrowestControlGroupCounts) {
  constexpr auto None = std::numeric_limits<std::size_t>::max();
  using Files = std::vector<std::pair<std::string, std::string>>;  // below /sys/fs/cgroup
  const tests::Rows<const char*, std::string, Files, std::size_t> rows = {
      {"no group", "", {}, None},
      {"no limit", "0::/a/b\n", {{"a/b/memory.max", "max\n"}}, None},
      {"its own", "0::/a/b\n", {{"a/b/memory.max", "1000\n"}, {"a/memory.max", "2000\n"}}, 1000},
      {"an outer one", "0::/a/b\n", {{"a/b/memory.max", "3000\n"}, {"a/memory.max", "2000\n"}}, 2000},
      {"a container's", "0::/\n", {{"memory.max", "4000\n"}}, 4000},
      {"another's", "0::/a\n", {{"b/memory.max", "1000\n"}}, None},
      {"version 1",
       "5:cpu,cpuacct:/a\n4:memory:/a\n",
       {{"memory/a/memory.limit_in_bytes", "5000\n"}, {"cpu/a/memory.limit_in_bytes", "1\n"}},
       5000},
      {"version 1 in a container",
       "4:memory:/docker/x\n",
       {{"memory/memory.limit_in_bytes", "6000\n"}},
       6000},
  };
  for (const auto& [name, groups, files, limit] : rows) {
    SCOPED_TRACE(name);
    const loopback::TempFolder root;
    const auto write = [&](const std::string& path, const std::string& text) {
      std::filesystem::create_directories(std::filesystem::path(root / path).parent_path());
      tests::WriteFile(root / path, text);
    };
    write("proc/self/cgroup", groups);
    for (const auto& [path, text] : files)
      write("sys/fs/cgroup/" + path, text);
    EXPECT_EQ(MemoryLimit(root.Path()), limit);
  }
}

}  // namespace
}  // namespace norvane::platform
