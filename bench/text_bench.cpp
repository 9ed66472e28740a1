// Monitors as text: norvanectl's export and apply as whole processes, with the real engine beside them, and
// how long another console waits for an answer meanwhile. Run: build/release/bench/text_bench

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <thread>
#include <vector>

#include "bench/EngineProcess.h"
#include "bench/FigureTable.h"
#include "bench/Measure.h"
#include "link/EngineClient.h"
#include "loopback/TempFolder.h"

namespace {

using namespace norvane;
namespace fs = std::filesystem;

constexpr int ManyMonitors = 5000;  // the limits are for so many, and in proportion

/// Ten files; `edited` is the interval of every hundredth monitor.
void WriteFiles(const std::string& folder, int count, const std::string& edited) {
  fs::create_directories(folder);
  std::ofstream file;
  for (int i = 0; i < count; ++i) {
    if (i % (count / 10) == 0) {
      file.close();
      file.open(folder + "/site" + std::to_string(10 * i / count) + ".yaml");
      file << "defaults:\n  timeout: 10s\n  notify: {via: mail.example, from: norvane@example}\nmonitors:\n";
    }
    const auto name = std::to_string(i);
    file << "  WebMonitor Of shop " << name << ":\n    url: http://127.0.0.1:9/" << name
         << "\n    interval: " << (i % 100 == 0 ? edited : "10m") << "\n    expect: {text: Add to basket "
         << name << "}\n    notify: {mail: ops" << name << "@example, message: shop " << name
         << " is down}\n";
  }
}

/// Of a norvanectl, which is to succeed.
double SecondsOf(const std::string& folder, std::initializer_list<std::string> arguments) {
  const auto program = fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "bin/norvanectl";
  std::vector<std::string> words{program.string(), "--folder", folder};
  words.insert(words.end(), arguments);
  return bench::Milliseconds([&] {
           std::fflush(stdout);
           const auto child = ::fork();
           if (child == 0) {
             std::vector<char*> pointers;
             for (auto& word : words)
               pointers.push_back(word.data());
             pointers.push_back(nullptr);
             if (std::freopen("/dev/null", "w", stdout) != nullptr) ::execv(pointers[0], pointers.data());
             ::_exit(127);
           }
           int status = 0;
           if (child < 0 || ::waitpid(child, &status, 0) != child || status != 0)
             throw std::runtime_error("norvanectl has failed");
         }) /
         1000;
}

/// The longest time for which another console waits for an answer while `work` runs.
double LongestAnswer(const std::string& folder, const std::function<void()>& work) {
  link::EngineClient client(bench::ConsoleOptions(folder));
  static_cast<void>(client.Count());
  std::atomic<bool> isDone = false;
  double longest = 0;
  std::thread other([&] {
    while (!isDone)
      longest = std::max(longest, bench::Milliseconds([&] {
                           static_cast<void>(client.ServiceValue(console::engine::service::LogFile));
                         }));
  });
  work();
  isDone = true;
  other.join();
  return longest;
}

void Measure(bench::FigureTable& table, int count) {
  const loopback::TempFolder folder, files;
  const bench::EngineProcess engine(folder.Path());
  static_cast<void>(link::EngineClient(bench::ConsoleOptions(folder.Path())).Count());
  const double share = static_cast<double>(count) / ManyMonitors;
  const auto add = [&](const std::string& name, double limit, std::initializer_list<std::string> arguments) {
    double seconds = 0;
    const auto answer = LongestAnswer(folder.Path(), [&] { seconds = SecondsOf(folder.Path(), arguments); });
    table.Add(name, seconds, "s", limit * share);
    table.Add(name + ": longest answer to others", answer, "ms");
  };
  table.Section(std::to_string(count) + " monitors");
  const std::string text = files / "text", exported = files / "exported.yaml";
  WriteFiles(text, count, "10m");
  add("validate", 1, {"validate", text});
  add("first apply", 5, {"apply", text, "--yes"});
  add("apply without changes", 1, {"apply", text, "--yes"});
  for (const auto& words : {std::initializer_list<std::string>{"set", "shop 7", "Monitor_FailTimes", "3"},
                            {"stop", "shop 7"},
                            {"get", "shop 7"}})
    table.Add("norvanectl " + *words.begin(), 1000 * SecondsOf(folder.Path(), words), "ms", 10);
  WriteFiles(text, count, "5m");
  add("apply that changes one in a hundred", 1, {"apply", text, "--yes"});
  add("export", 1, {"export", "--file", exported});
  add("apply of what was exported", 1, {"apply", exported, "--yes"});
  table.Add("memory of the engine", engine.Memory(), "MB");
}

}  // namespace

int main() {
  bench::FigureTable table;
  Measure(table, ManyMonitors);
  Measure(table, 32760);
  return table.Missed() == 0 ? 0 : 1;
}
