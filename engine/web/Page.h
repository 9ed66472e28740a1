#pragma once

#include <string_view>

namespace norvane::engine {

/// What came from a web server, bytes as they were served.
struct Page {
  std::string_view body;
  std::string_view contentType;  ///< the header's value; empty without one
  int status = 0;                ///< of HTTP
};

}  // namespace norvane::engine
