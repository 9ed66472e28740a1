// What the history costs: time of the processor, disk, memory, and the time of an answer. The clock is
// simulated, so that years pass in minutes. Run: build/release/bench/history_bench

#include <malloc.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <random>

#include "bench/FigureTable.h"
#include "bench/Measure.h"
#include "engine/history/HistoryFile.h"
#include "loopback/TempFolder.h"

namespace {

using namespace norvane::engine;
using norvane::bench::FigureTable;
namespace ce = norvane::console::engine;
using Time = StateChange::Time;
using std::chrono::seconds;

constexpr Time Begin{seconds(20000LL * 86400)};  // a day of UTC
constexpr std::uint32_t MostMonitors = 32767;

double ProcessorSeconds() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

std::string NameOf(std::uint32_t number) {
  return "WebMonitor Of " + std::to_string(number);
}

/// Monitors that are checked every `interval`, and fail now and then for a while, written as the engine does.
class Watched {
 public:
  Watched(const std::string& folder, std::uint32_t monitors, seconds interval)
      : m_file(folder, {}), m_monitors(monitors), m_interval(interval), m_down(monitors) {
    HistoryBatch all{.isWhole = true, .at = Begin};
    for (std::uint32_t number = 1; number <= monitors; ++number)
      all.monitors.push_back({number, NameOf(number), true, true});
    m_file.Write(all);
  }

  void Pass(seconds time) {
    const auto end = m_now + time;
    while (m_now < end)
      PassSpan();
  }
  HistoryFile& File() { return m_file; }
  [[nodiscard]] Time Now() const { return m_now; }
  [[nodiscard]] std::uint64_t Results() const { return m_results; }

 private:
  void PassSpan() {
    HistoryBatch batch{.at = m_now + HistoryFile::Span,
                       .span = std::chrono::floor<seconds>(m_now.time_since_epoch()) / HistoryFile::Span};
    const auto checks = std::max<std::int64_t>(HistoryFile::Span / m_interval, 1);
    for (std::uint32_t number = 1; number <= m_monitors; ++number)
      Change(number, batch);
    for (std::int64_t i = 0; i < checks; ++i)
      for (std::uint32_t number = 1; number <= m_monitors; ++number)
        batch.results.push_back(
            {number, static_cast<std::uint32_t>(40 + m_random() % 30), m_down[number - 1] ? 0u : 1u});
    // As they come from the engine, which keeps no more than so many.
    constexpr std::size_t Most = 1 << 16;
    auto results = std::exchange(batch.results, {});
    for (std::size_t at = 0; at < results.size(); at += Most) {
      const auto last = results.begin() + static_cast<std::ptrdiff_t>(std::min(results.size(), at + Most));
      batch.results.assign(results.begin() + static_cast<std::ptrdiff_t>(at), last);
      m_file.Write(std::exchange(batch, {.at = batch.at, .span = batch.span}));
    }
    m_results += results.size();
    m_now += HistoryFile::Span;
    while (m_file.Join(m_now))
      continue;
  }

  /// An outage begins once in some 3,000 spans, ten days, and lasts one.
  void Change(std::uint32_t number, HistoryBatch& batch) {
    const bool isDown = !m_down[number - 1] && m_random() % 3000 == 0;
    if (isDown == m_down[number - 1]) return;
    m_down[number - 1] = isDown;
    using Kind = StateChange::Kind;
    batch.changes.push_back(
        {number, {isDown ? Kind::Down : Kind::Up, m_now, {}, isDown ? "connection refused" : ""}});
  }

  HistoryFile m_file;
  std::uint32_t m_monitors;
  seconds m_interval;
  std::vector<bool> m_down;
  Time m_now = Begin;
  std::minstd_rand m_random{7};
  std::uint64_t m_results = 0;
};

double SizeOf(const std::string& folder) {
  return static_cast<double>(std::filesystem::file_size(HistoryFile::PathIn(folder)));
}

double AllocatedBytes() {
  return static_cast<double>(::mallinfo2().uordblks);
}

/// The processor's share, of results as they come and of what is joined of them.
void MeasureShare(FigureTable& table) {
  const norvane::loopback::TempFolder folder;
  const auto before = AllocatedBytes();
  Watched watched(folder.Path(), MostMonitors, seconds(8));
  table.Add("memory of the file's monitors", (AllocatedBytes() - before) / MostMonitors, "B each", 120);
  const auto begin = ProcessorSeconds();
  constexpr seconds Passed = std::chrono::minutes(70);  // an hour is joined
  watched.Pass(Passed);
  table.Add("processor", 100 * (ProcessorSeconds() - begin) / static_cast<double>(Passed.count()), "%", 3);
  table.Add("of it, a result", (ProcessorSeconds() - begin) / static_cast<double>(watched.Results()) * 1e9,
            "ns");
}

void MeasureDay(FigureTable& table) {
  constexpr std::uint32_t Monitors = 1000;
  const norvane::loopback::TempFolder folder;
  Watched watched(folder.Path(), Monitors, seconds(8));
  watched.Pass(std::chrono::hours(25));
  table.Add("disk of a monitor's first day", SizeOf(folder.Path()) / Monitors / 1024, "KiB", 12);
}

void MeasureYears(FigureTable& table, std::uint32_t monitors, int years, double limit) {
  const norvane::loopback::TempFolder folder;
  Watched watched(folder.Path(), monitors, std::chrono::minutes(5));
  watched.Pass(std::chrono::days(365 * years + 1));
  table.Add("disk of a monitor", SizeOf(folder.Path()) / monitors / 1024, "KiB", limit);
  ce::MonitorHistory history;
  const auto read = [&](std::chrono::days days) {
    history = watched.File().Read({NameOf(monitors / 2 + 1), watched.Now() - days}, watched.Now());
  };
  table.Add("chart of a year", norvane::bench::Milliseconds([&] { read(std::chrono::days(365)); }), "ms");
  table.Add("  its points", static_cast<double>(history.points.size()), "");
  table.Add("chart of a day", norvane::bench::Milliseconds([&] { read(std::chrono::days(1)); }), "ms");
}

}  // namespace

int main() {
  FigureTable table;
  table.Section("32,767 monitors, each checked every 8 s");
  MeasureShare(table);
  table.Section("1,000 monitors, each checked every 8 s");
  MeasureDay(table);
  table.Section("A year of 100 monitors");
  MeasureYears(table, 100, 1, 1024);
  table.Section("Ten years of 4 monitors");
  MeasureYears(table, 4, 10, 1024);
  return table.Missed() == 0 ? 0 : 1;
}
