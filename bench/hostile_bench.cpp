// The engine beside hostile peers and on a machine that is short of something: 200 well-behaved web, POP3 and
// SMTP services, checked each second, are to be checked on time and found good all the same. A line for each
// row: good checks made of those due, checks that failed, starts more than 250 ms late, by how much the
// latest was, and how late a bare process was that connects at the same pace and uses the processor as much.
//
// Run: build/release/bench/hostile_bench [--short] [--seconds N] [--reasons] [ROW...]; without a row all of
// them, which takes about twenty minutes. `--short` is for every change, and takes four; a row that is only
// late is tried once more there, since another program may have used the processor. `--reasons` shows what is
// said of the hostile peers. Ends with 1 if a check failed falsely, came later than the bare process allows,
// or the engine ended. It needs a network of its own: the right to make namespaces.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>

#include "bench/HostileRun.h"
#include "loopback/PrivateNetwork.h"
#include "loopback/TempFolder.h"

namespace norvane::bench {
namespace {

using namespace std::chrono_literals;

struct Wishes {
  bool isShort = false, showsReasons = false;
  std::chrono::seconds time{10};
  std::vector<std::string> rows;
};

Wishes Parse(const std::vector<std::string>& arguments) {
  Wishes wishes;
  for (auto at = arguments.begin(); at != arguments.end(); ++at) {
    if (*at == "--short") {
      wishes.isShort = true;
      wishes.time = 4s;
    } else if (*at == "--reasons") {
      wishes.showsReasons = true;
    } else if (*at == "--seconds" && at + 1 != arguments.end()) {
      wishes.time = std::chrono::seconds(std::stoi(*++at));
    } else {
      wishes.rows.push_back(*at);
    }
  }
  return wishes;
}

bool Runs(const HostileRow& row, const Wishes& wishes) {
  if (!wishes.rows.empty())
    return std::find(wishes.rows.begin(), wishes.rows.end(), row.name) != wishes.rows.end();
  return !wishes.isShort || row.isShort;
}

/// Later than what the machine itself was. An engine that gets no processor is late, which is no fault.
bool IsLate(const HostileRow& row, const HostileFigures& figures) {
  return row.busyLoops == 0 && figures.checks.longest > figures.bare.longest + GoodServices::MostLate;
}

void Print(const HostileRow& row, const HostileFigures& figures, bool isGood, const Wishes& wishes) {
  std::printf("%-11s %5d / %5.0f %6d %6d %7.2f %7.2f %6.0f %6.0f %6.0f %5d %5d  %s%s\n", row.name,
              figures.good, figures.due, figures.failed, figures.checks.late,
              1e-3 * static_cast<double>(figures.checks.longest.count()),
              1e-3 * static_cast<double>(figures.bare.longest.count()), figures.memoryBefore,
              figures.memoryMost, figures.memoryAfter, figures.descriptorsBefore, figures.descriptorsAfter,
              isGood ? "kept" : "MISSED", figures.ending.empty() ? "" : (", " + figures.ending).c_str());
  for (const auto& reason : figures.falseReasons)
    std::printf("              ! %s\n", reason.c_str());
  if (wishes.showsReasons)
    for (const auto& reason : figures.reasons)
      std::printf("              - %s\n", reason.c_str());
  if (wishes.showsReasons)
    for (const auto& message : figures.messages)
      std::printf("              > %s\n", message.c_str());
  std::fflush(stdout);
}

int Main(const std::vector<std::string>& arguments) {
  const auto wishes = Parse(arguments);
  const loopback::TempFolder folder;
  loopback::EnterPrivateNetwork();
  loopback::AskLoopbackForNames(folder.Path());
  const loopback::CertificateAuthority authority;
  for (const auto& row : HostileRows())
    if (Runs(row, wishes)) std::printf("%-11s %s\n", row.name, row.what);
  std::printf("\n%-11s %13s %6s %6s %7s %7s %20s %11s\n", "", "good / due", "failed", "late", "stall s",
              "bare s", "MB before most after", "fds");
  int ran = 0, missed = 0;
  for (const auto& row : HostileRows()) {
    if (!Runs(row, wishes)) continue;
    auto figures = RunBeside(row, authority, wishes.time);
    const auto isUnharmed = [&] { return figures.failed == 0 && figures.ending.empty(); };
    if (wishes.isShort && isUnharmed() && IsLate(row, figures))
      figures = RunBeside(row, authority, wishes.time);
    const bool isGood = isUnharmed() && !IsLate(row, figures);
    Print(row, figures, isGood, wishes);
    ++ran;
    missed += !isGood;
  }
  if (ran == 0) throw std::runtime_error("no such row");
  std::printf("\n%d of %d rows missed\n", missed, ran);
  return missed == 0 ? 0 : 1;
}

}  // namespace
}  // namespace norvane::bench

int main(int argc, char** argv) {
  try {
    return norvane::bench::Main({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "hostile_bench: %s\n", error.what());
    return 2;
  }
}
