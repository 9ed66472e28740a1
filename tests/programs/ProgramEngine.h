#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "loopback/TempFolder.h"
#include "tests/support/Process.h"

namespace norvane::tests {

using Arguments = std::vector<std::string>;

/// An engine in the background, in a folder of its own; ended when the test ends.
class Engine {
 public:
  explicit Engine(const loopback::TempFolder& folder) : Engine(folder, "norvane-engine", "--detach") {}
  /// Started by this program with this argument.
  Engine(const loopback::TempFolder& folder, const std::string& program, const std::string& argument)
      : m_folder(folder.Path()) {
    const auto started = RunProgram({Program(program), "--folder", m_folder, argument});
    EXPECT_EQ(started.code, 0) << started.err;
  }
  ~Engine() { Ctl({"shutdown"}); }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  Finished Ctl(Arguments arguments, const std::string& input = "") const {
    arguments.insert(arguments.begin(), {Program("norvanectl"), "--folder", m_folder});
    return RunProgram(arguments, input);
  }

 private:
  std::string m_folder;
};

}  // namespace norvane::tests
