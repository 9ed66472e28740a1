#include <gtest/gtest.h>

#include "link/EngineClient.h"
#include "loopback/TempFolder.h"
#include "tests/programs/ProgramEngine.h"
#include "tests/support/Files.h"
#include "tests/support/OddMonitors.h"
#include "tests/support/Process.h"

namespace norvane::tests {
namespace {

using loopback::TempFolder;

/// Whatever the engine holds comes back as it was.
TEST(TextProgram, ExportsWhatApplyMakesAnew) {
  const TempFolder folder;
  const Engine engine(folder);
  link::LinkOptions options;
  options.folder = folder.Path();
  link::EngineClient client(options);
  console::engine::OpenGate(client);
  client.Change(OddMonitors(100, 7), client.LastChange());
  EXPECT_EQ(engine.Ctl({"export", "--secrets", "--file", folder / "first"}).code, 0);
  WriteFile(folder / "none", "monitors: {}\n");
  const auto unchanged = engine.Ctl({"apply", folder / "first"});
  EXPECT_EQ(unchanged.code, 0) << unchanged.err;
  EXPECT_EQ(unchanged.out, "0 added, 0 changed, 0 removed, 100 unchanged\n");
  EXPECT_EQ(engine.Ctl({"apply", folder / "none", "--prune", "--yes"}).code, 0);
  EXPECT_EQ(engine.Ctl({"list"}).out, "");  // the client may not know yet
  const auto applied = engine.Ctl({"apply", folder / "first", "--yes"});
  EXPECT_EQ(applied.code, 0) << applied.err;
  EXPECT_EQ(engine.Ctl({"export", "--secrets", "--file", folder / "second"}).code, 0);
  EXPECT_EQ(ReadFile(folder / "first"), ReadFile(folder / "second"));
}

TEST(TextProgram, PlansAppliesAndRefuses) {
  const TempFolder folder;
  const Engine engine(folder);
  const std::string file = folder / "a.yaml", shop = "WebMonitor Of shop";
  const auto write = [&](const std::string& settings) {
    WriteFile(file, "monitors:\n  WebMonitor Of shop: {url: 'http://shop/', " + settings + "}\n");
  };
  struct Row {
    std::string settings;
    Arguments arguments;
    int code;
    std::string says;
  };
  const Row rows[] = {
      {"state: stopped", {"validate", file}, 0, "1 monitors in 1 file\n"},
      {"sate: stopped",
       {"validate", file},
       2,
       "a.yaml:2:45: unknown setting \"sate\"; did you mean \"state\"?\n"},
      {"sate: stopped", {"apply", file, "--yes"}, 2, "did you mean \"state\"?\n"},
      {"state: stopped", {"apply", file}, 2, "needs --yes"},
      {"state: stopped", {"apply", file, "--dry-run"}, 1, "1 added, 0 changed, 0 removed, 0 unchanged\n"},
      {"", {"get", shop}, 4, "no such monitor"},
      {"state: stopped", {"apply", file, "--yes"}, 0, "+ \"WebMonitor Of shop\"  \"http://shop/\"\n"},
      {"", {"get", shop, "Status"}, 0, "Disable\n"},
      {"interval: 5m",
       {"apply", file, "--dry-run"},
       1,
       "~ \"WebMonitor Of shop\"\n    interval: (default) -> 5m\n"},
      {"interval: 5m", {"apply", file, "--yes"}, 0, "0 added, 1 changed"},
      {"", {"get", shop, "Status"}, 0, "Disable\n"},
      {"interval: 5m", {"apply", file}, 0, "0 added, 0 changed, 0 removed, 1 unchanged\n"},
      {"parent: WebMonitor Of shop", {"apply", file, "--yes"}, 4, "circle"},
      {"parent: WebMonitor Of other",
       {"apply", file, "--dry-run"},
       1,
       "\"WebMonitor Of other\", is no monitor"},
      {"", {"export", "Pop3*"}, 4, "Pop3*"},
      {"", {"export", "Web*"}, 0, "    interval: 5m\n    state: stopped\n"},
      {"", {"apply", folder / "none.yaml"}, 2, "none.yaml: No such file or directory\n"},
      {"", {"apply"}, 2, "wrong number of operands for apply"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.arguments) + row.settings);
    write(row.settings);
    const auto finished = engine.Ctl(row.arguments);
    EXPECT_EQ(finished.code, row.code) << finished.out << finished.err;
    EXPECT_NE((finished.out + finished.err).find(row.says), std::string::npos)
        << finished.out << finished.err;
  }
}

}  // namespace
}  // namespace norvane::tests
