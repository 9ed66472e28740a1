// What a console waits for, at growing numbers of monitors, with the real engine beside it: connecting and
// filling the mirror, reading it, a write while other consoles connect; and the engine's memory. All monitors
// are stopped. Run: build/release/bench/link_bench

#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

#include "bench/EngineProcess.h"
#include "bench/Measure.h"
#include "bench/SampleMonitors.h"
#include "console/engine/Engine.h"
#include "link/EngineClient.h"
#include "loopback/TempFolder.h"
#include "platform/FileNames.h"

namespace {

using namespace norvane;
using bench::Milliseconds;
using bench::Quantile;
namespace ce = console::engine;

constexpr int Runs = 9;
constexpr int Calls = 2000;

std::vector<engine::datafile::Row> StoppedMonitors(std::uint32_t count) {
  std::vector<engine::datafile::Row> rows;
  for (std::uint32_t i = 1; i <= count; ++i)
    rows.push_back(bench::RowOf(i, "http://www.example.com/" + std::to_string(i), ce::StatusDisable));
  return rows;
}

/// What the status poll reads of every row.
std::size_t ReadTwoOfEach(link::EngineClient& client) {
  ce::EngineFactory engine(client);
  const auto list = engine.NewMonitorList();
  const int count = list->Count();
  std::size_t bytes = 0;
  for (int i = 1; i <= count; ++i) {
    const auto item = list->Item(i);
    bytes += item->GetAttr(ce::keys::Status).size() + item->GetAttr(ce::keys::Result).size();
  }
  return bytes;
}

/// Round trips of a write.
std::vector<double> WriteTimes(link::EngineClient& client) {
  const auto id = client.IdAt(1);
  std::vector<double> times;
  for (int i = 0; i < Calls; ++i)
    times.push_back(Milliseconds([&] { client.SetAttribute(id, ce::keys::Parameter, std::to_string(i)); }));
  return times;
}

/// Round trips of a question that no mirror answers.
std::vector<double> QuestionTimes(link::EngineClient& client) {
  std::vector<double> times;
  for (int i = 0; i < Calls; ++i)
    times.push_back(Milliseconds([&] { static_cast<void>(client.ServiceValue(ce::service::LogFile)); }));
  return times;
}

/// What is measured while another thread does its work without pause.
std::vector<double> Meanwhile(const std::function<void()>& work,
                              const std::function<std::vector<double>()>& measure) {
  std::atomic<bool> done = false;
  std::thread other([&] {
    while (!done)
      work();
  });
  auto times = measure();
  done = true;
  other.join();
  return times;
}

void Measure(std::uint32_t count) {
  const loopback::TempFolder folder;
  bench::WriteDataFile(folder.Path(), StoppedMonitors(count));
  const bench::EngineProcess engine(folder.Path());
  const auto options = bench::ConsoleOptions(folder.Path());
  link::EngineClient client(options);
  if (client.Count() != count) throw std::runtime_error("monitors are missing");

  std::vector<double> connects;
  for (int i = 0; i < Runs; ++i) {
    link::EngineClient other(options);
    connects.push_back(Milliseconds([&] { static_cast<void>(other.Count()); }));
  }
  std::vector<double> reads;
  for (int i = 0; i < Runs; ++i)
    reads.push_back(Milliseconds([&] {
      if (ReadTwoOfEach(client) != count * (ce::StatusDisable.size() + ce::ResultOk.size()))
        throw std::runtime_error("wrong values");
    }));

  ce::OpenGate(client);
  const auto quiet = WriteTimes(client);
  const auto busy = Meanwhile([&] { static_cast<void>(link::EngineClient(options).Count()); },
                              [&] { return WriteTimes(client); });
  const double memory = engine.Memory();
  link::EngineClient keeper(options);
  ce::OpenGate(keeper);
  const std::string copy = folder / "copy.dat",
                    own = platform::PathIn(folder.Path(), platform::files::EngineData);
  const auto storing = Meanwhile(
      [&] {
        keeper.Save(copy);
        keeper.Load(copy);
        keeper.Load(own);
      },
      [&] { return QuestionTimes(client); });
  std::printf("%8u %12.2f %12.2f %10.3f %8.3f %10.3f %8.3f %10.3f %8.3f %8.1f\n", count,
              Quantile(connects, 0.5), Quantile(reads, 0.5), Quantile(quiet, 0.5), Quantile(quiet, 0.99),
              Quantile(busy, 0.5), Quantile(busy, 0.99), Quantile(storing, 0.5), Quantile(storing, 0.99),
              memory);
}

}  // namespace

int main() {
  std::printf(
      "Times in ms (medians), memory in MB. \"busy\": while other consoles connect without pause. "
      "\"storing\":\n"
      "questions while another console saves and loads all monitors without pause.\n");
  std::printf("%8s %12s %12s %10s %8s %10s %8s %10s %8s %8s\n", "monitors", "connect+fill", "read 2 each",
              "write p50", "p99", "busy: p50", "p99", "stor.: p50", "p99", "memory");
  std::printf("%8s %12d %12d %10s %8s %10s %8d %10s %8d %8d\n", "limit", 100, 50, "", "", "", 5, "", 5, 64);
  for (const std::uint32_t count : {100u, 1000u, 10000u, 32767u})
    Measure(count);
  return 0;
}
