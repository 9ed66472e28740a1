#include "bench/LoadSections.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "bench/BareWebLoop.h"
#include "bench/EngineProcess.h"
#include "bench/Lateness.h"
#include "bench/Measure.h"
#include "bench/SampleMonitors.h"
#include "console/engine/Engine.h"
#include "console/engine/MonitorKeys.h"
#include "loopback/TempFolder.h"

namespace norvane::bench {

namespace ce = console::engine;
using std::chrono::milliseconds;

namespace {

constexpr std::uint32_t MostMonitors = 32767;
constexpr milliseconds Pause{10};  // between two calls of the console

/// Web monitors whose numbers, from 0, are in their addresses; `isHung` says which never get an answer.
std::vector<engine::datafile::Row> Monitors(
    const LoadPage& page, std::uint32_t count, const std::string& interval,
    const std::function<bool(std::uint32_t)>& isHung = [](std::uint32_t) { return false; }) {
  std::vector<engine::datafile::Row> rows;
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto url = page.url + (isHung(i) ? "hung" : std::to_string(i));
    rows.push_back(WatchedPage(i + 1, url, "STR:" + page.wanted, interval));
  }
  return rows;
}

/// An engine on a fresh folder with these monitors, and a console.
class World {
 public:
  World(std::vector<engine::datafile::Row> rows, Arrivals& arrivals)
      : m_count(rows.size()),
        m_folder(Prepared(std::move(rows), arrivals)),
        m_engine(m_folder->Path()),
        m_console(ConsoleOptions(m_folder->Path())) {
    if (m_console.Count() != m_count) throw std::runtime_error("monitors are missing");
    ce::OpenGate(m_console);
  }
  [[nodiscard]] EngineProcess& Engine() { return m_engine; }

  /// Round trips of a write, one after each pause, until so much time is over.
  std::vector<double> WriteFor(std::chrono::duration<double> time) {
    const auto id = m_console.IdAt(1);
    const auto end = Clock::now() + time;
    std::vector<double> times;
    while (Clock::now() < end) {
      const auto text = std::to_string(times.size());
      times.push_back(Milliseconds([&] { m_console.SetAttribute(id, ce::keys::NotifyMsg, text); }));
      std::this_thread::sleep_for(Pause);
    }
    return times;
  }

  /// Ends the engine. How many lines of its logs are of checks that were not good.
  int EndAndCountFailures() {
    m_engine.End();
    int failures = 0;
    for (const auto& entry : std::filesystem::directory_iterator(*m_folder / "log")) {
      std::ifstream log(entry.path());
      for (std::string line; std::getline(log, line);)
        failures += line.find(": failed in ") != std::string::npos;
    }
    return failures;
  }

 private:
  static std::unique_ptr<loopback::TempFolder> Prepared(std::vector<engine::datafile::Row> rows,
                                                        Arrivals& arrivals) {
    auto folder = std::make_unique<loopback::TempFolder>();
    WriteDataFile(folder->Path(), std::move(rows));
    arrivals.Clear();
    return folder;
  }

  std::size_t m_count;
  std::unique_ptr<loopback::TempFolder> m_folder;
  EngineProcess m_engine;
  link::EngineClient m_console;
};

/// The cores that nothing but the transfers would keep busy on this machine, at so many a second.
double BareCores(const LoadPage& page, double perSecond) {
  constexpr int Checks = 20000;
  BareWebLoop loop(page.url, page.wanted);
  std::vector<CostRow> rows{{"bare loop", Checks, [&] { return loop.Run(Checks, 0); }}};
  MeasureInTurns(rows, 3);
  return 1e-6 * rows[0].best.Each() * perSecond;
}

void Wait(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

}  // namespace

void FullLoad(FigureTable& table, const LoadPage& page, int seconds) {
  constexpr int Skipped = 2;
  const int counted = std::max(2, 10 / seconds);  // ten seconds or more
  const Lateness::Expected expected{MostMonitors, MostMonitors, std::chrono::seconds(seconds), Skipped,
                                    counted};
  table.Section("32,767 web monitors every " + std::to_string(seconds) + " s");
  table.Add("a bare libcurl loop at that pace", BareCores(page, double{MostMonitors} / seconds), "cores");
  World world(Monitors(page, MostMonitors, std::to_string(seconds)), page.arrivals);
  Wait(Skipped * seconds);
  const auto cpu = world.Engine().CpuSeconds();
  const auto arrived = page.arrivals.Count();
  const auto began = Clock::now();
  const auto writes = world.WriteFor(std::chrono::duration<double>(counted * seconds));
  const auto passed = std::chrono::duration<double>(Clock::now() - began).count();
  const auto checks = page.arrivals.Count() - arrived;
  const auto busy = world.Engine().CpuSeconds() - cpu;
  Wait(seconds);  // the last round that counts comes to its end
  const auto lateness = Lateness::Of(page.arrivals.All(), expected);
  const auto failures = world.EndAndCountFailures();

  table.Add("checks a second", checks / passed, "");
  table.Add("checks lost: not started", lateness.lost, "", 0);
  table.Add("checks lost: not good", failures, "", 0);
  table.Add("engine's CPU", busy / passed, "cores", 1);
  table.Add("engine's CPU per check", 1e6 * busy / checks, "us");
  table.Add("start lateness p50, as the server sees it", Quantile(lateness.milliseconds, 0.5), "ms");
  table.Add("start lateness p99", Quantile(lateness.milliseconds, 0.99), "ms", 25);
  table.Add("answer time of the link p50, a write", Quantile(writes, 0.5), "ms");
  table.Add("answer time of the link p99", Quantile(writes, 0.99), "ms", 5);
}

void HungTargets(FigureTable& table, const LoadPage& page) {
  constexpr std::uint32_t Count = 10000;
  constexpr std::uint32_t EachHung = 5;  // every fifth
  table.Section("10,000 web monitors every 4 s, 2,000 of them hung for their 30 s");
  double alone = 0;
  for (const bool areHung : {false, true}) {
    const std::uint32_t noted = areHung ? Count - Count / EachHung : Count;
    const auto isHung = [&](std::uint32_t i) { return areHung && i % EachHung == 0; };
    World world(Monitors(page, Count, "4", isHung), page.arrivals);
    Wait(5 * 4);
    const auto lateness = Lateness::Of(page.arrivals.All(), {Count, noted, std::chrono::seconds(4), 1, 3});
    const auto p99 = Quantile(lateness.milliseconds, 0.99);
    const std::string who = areHung ? "the others" : "none hung";
    table.Add(who + ": checks lost", lateness.lost, "", 0);
    table.Add(who + ": start lateness p50", Quantile(lateness.milliseconds, 0.5), "ms");
    // Beside the ones that hang, as without them, but for the noise of two runs.
    table.Add(who + ": start lateness p99", p99, "ms", areHung ? std::max(25.0, 1.25 * alone) : 25);
    alone = p99;
  }
}

void Growth(FigureTable& table, const LoadPage& page) {
  constexpr double PerSecond = 100;
  constexpr double Window = 8;
  constexpr double MostGrowth = 1.25;
  table.Section("growth: any number of monitors, 100 checks a second together");
  const double empty = World({}, page.arrivals).Engine().Memory();
  table.Add("engine without monitors: memory", empty, "MB");
  double leastCpu = 0, leastMemory = 0;
  for (const std::uint32_t count : {100u, 1000u, 10000u, MostMonitors}) {
    World world(Monitors(page, count, std::to_string(count / PerSecond)), page.arrivals);
    Wait(2);
    const auto cpu = world.Engine().CpuSeconds();
    const auto checks = page.arrivals.Count();
    Wait(Window);
    const auto cpuEach =
        1e6 * (world.Engine().CpuSeconds() - cpu) / static_cast<double>(page.arrivals.Count() - checks);
    const auto memoryEach = 1024 * (world.Engine().Memory() - empty) / count;
    const bool isFirst = count == 100;
    const auto name = std::to_string(count) + " monitors: ";
    table.Add(name + "CPU of the engine per check", cpuEach, "us",
              isFirst ? std::nullopt : std::optional(MostGrowth * leastCpu));
    table.Add(name + "memory per monitor", memoryEach, "KB",
              isFirst ? std::nullopt : std::optional(MostGrowth * leastMemory));
    if (!isFirst) continue;
    leastCpu = cpuEach;
    leastMemory = memoryEach;
  }
}

}  // namespace norvane::bench
