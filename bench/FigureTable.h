#pragma once

#include <cstdio>
#include <optional>
#include <string>

namespace norvane::bench {

/// Prints figures, each with its limit beside it, as they come.
class FigureTable {
 public:
  void Section(const std::string& title) { std::printf("\n%s\n", title.c_str()); }

  /// A figure that is to be no more than its limit, if it has one.
  void Add(const std::string& name, double value, const char* unit, std::optional<double> limit = {}) {
    std::printf("  %-58s %10.2f %-6s", name.c_str(), value, unit);
    if (limit) std::printf(" limit %8.2f  %s", *limit, value <= *limit ? "kept" : "MISSED");
    std::printf("\n");
    std::fflush(stdout);
    if (limit && value > *limit) ++m_missed;
  }
  [[nodiscard]] int Missed() const { return m_missed; }

 private:
  int m_missed = 0;
};

}  // namespace norvane::bench
