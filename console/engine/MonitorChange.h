#pragma once

#include <string>
#include <utility>
#include <vector>

namespace norvane::console::engine {

/// One monitor's part of a change of many.
struct MonitorChange {
  enum class What {
    Add,  ///< a new monitor, with these values beside `NewMonitorValues`
    Set,  ///< these values of a monitor that is there
    Remove,
  };
  What what = What::Set;
  std::string name;                                         ///< full
  std::vector<std::pair<std::string, std::string>> values;  ///< keys and their values, each key once
};

}  // namespace norvane::console::engine
