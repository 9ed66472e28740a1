#include "tests/support/Script.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <vector>

namespace norvane::tests {
namespace {

std::vector<std::string> Scripts() {
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(NORVANE_EXPECTED))
    if (entry.path().extension() == ".txt") paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  return paths;
}

class ScriptTest : public ::testing::TestWithParam<std::string> {};

TEST_P(ScriptTest, MatchesItsExpectedTrace) {
  PlayScript(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Expected, ScriptTest, ::testing::ValuesIn(Scripts()), [](const auto& script) {
  const std::filesystem::path path(script.param);
  return path.parent_path().filename().string() + "_" + path.stem().string();
});

}  // namespace
}  // namespace norvane::tests
