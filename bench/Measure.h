#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace norvane::bench {

using Clock = std::chrono::steady_clock;

inline double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

inline double CpuSeconds(const rusage& usage) {
  return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
}

inline double OwnCpuSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return CpuSeconds(usage);
}

inline double Milliseconds(const std::function<void()>& action) {
  const auto start = Clock::now();
  action();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

inline double Quantile(std::vector<double> values, double part) {
  if (values.empty()) throw std::runtime_error("nothing was measured");
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

/// CPU seconds of each thread of this process so far.
inline std::map<std::string, double> ThreadSeconds() {
  std::map<std::string, double> seconds;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    double nanoseconds = 0;
    std::ifstream(task.path() / "schedstat") >> nanoseconds;
    seconds[task.path().filename()] = 1e-9 * nanoseconds;
  }
  return seconds;
}

/// What a number of checks cost this process.
struct Cost {
  int checks = 0;
  double cpu = 0;      // seconds of all threads together
  double wall = 0;     // seconds
  double busiest = 0;  // seconds of the thread that had most to do

  [[nodiscard]] double Each() const { return 1e6 * cpu / checks; }  // microseconds of CPU
  /// Checks a second that the threads could make, had each of them a CPU of its own.
  [[nodiscard]] double Possible() const { return checks / busiest; }
};

/// `run` gives how many of the `checks` were good; anything but all of them throws.
inline Cost Measure(int checks, const std::function<int()>& run) {
  const auto began = Clock::now();
  const auto cpu = OwnCpuSeconds();
  auto threads = ThreadSeconds();
  if (const int good = run(); good != checks)
    throw std::runtime_error("only " + std::to_string(good) + " of " + std::to_string(checks) +
                             " checks were good");
  Cost cost{checks, OwnCpuSeconds() - cpu, std::chrono::duration<double>(Clock::now() - began).count()};
  for (const auto& [thread, seconds] : ThreadSeconds())
    cost.busiest = std::max(cost.busiest, seconds - threads[thread]);
  return cost;
}

/// One way of making checks, measured several times in turns with others: the best counts, since other work
/// on the machine only ever adds.
struct CostRow {
  std::string name;
  int checks = 0;
  std::function<int()> run;
  Cost best{};
};

inline void MeasureInTurns(std::vector<CostRow>& rows, int rounds) {
  for (int round = 0; round < rounds; ++round)
    for (auto& row : rows)
      if (const auto cost = Measure(row.checks, row.run);
          row.best.checks == 0 || cost.Each() < row.best.Each())
        row.best = cost;
}

}  // namespace norvane::bench
