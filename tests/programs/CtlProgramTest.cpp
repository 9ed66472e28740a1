#include <gtest/gtest.h>

#include <thread>

#include "loopback/HttpServer.h"
#include "loopback/TempFolder.h"
#include "tests/programs/ProgramEngine.h"
#include "tests/support/Process.h"

namespace norvane::tests {
namespace {

using namespace loopback;

TEST(CtlProgram, CarriesOutCommandsAndReportsTheirOutcome) {
  const TempFolder folder;
  HttpServer server;
  server.Set("/good", HttpServer::Reply("hello"));
  const Engine engine(folder);
  const std::string shop = "WebMonitor Of shop", odd = "no\x02", zero("a\0b", 3);
  struct Row {
    Arguments arguments;
    int code;
    std::string says;  // in the output or the error
    std::string input = "";
  };
  const Row rows[] = {
      {{"list"}, 0, ""},
      {{"add", shop}, 0, ""},
      {{"add", shop}, 4, "exists"},
      {{"add", "FtpMonitor Of x"}, 4, "known are WebMonitor, Pop3Monitor, SmtpMonitor: FtpMonitor Of x"},
      {{"add", "shop"}, 4, "TYPE Of NAME"},
      {{"set", shop, "Monitor_Parameter", server.Url("/good")}, 0, ""},
      {{"get", shop, "Monitor_Parameter"}, 0, server.Url("/good") + "\n"},
      {{"check", shop}, 0, "good in "},
      {{"set", shop, "MonitorExt_SuccessFlag"}, 0, "", "STR:missing"},
      {{"check", shop}, 1, "string not found"},
      {{"set", shop, "note"}, 0, "", "from a file\r\n"},
      {{"--json", "get", shop, "note"}, 0, "{\"note\":\"from a file\"}"},
      {{"set", shop, odd}, 0, "", zero + "\t\xc2\x9b\xc3\xa9"},
      {{"set", shop, "no\xff", "x"}, 4, "attribute name not in UTF-8"},
      {{"get", shop, odd}, 0, zero + "\t\xc2\x9b\xc3\xa9\n"},
      {{"get", shop}, 0, " a\\x00b\\x09\\xc2\\x9b\xc3\xa9\n"},
      {{"get", shop}, 0, "\nno\\x02 "},
      {{"--json", "get", shop, odd}, 0, "{\"no\\u0002\":\"a\\u0000b\\t\xc2\x9b\xc3\xa9\"}"},
      {{"--json", "check", shop}, 1, "\"Result\":\"string not found"},
      {{"list"}, 0, "string not found"},
      {{"--json", "list"},
       0,
       "[{\"Name\":\"WebMonitor Of shop\",\"Status\":\"Disable\",\"Monitor_Result\":\""},
      {{"--json", "get", shop}, 0, "\"Monitor_InterVal (s)\":\"60\""},
      {{"get", shop, "never set"}, 0, "\n"},
      {{"get", "WebMonitor Of other"}, 4, "no such monitor"},
      {{"check", "WebMonitor Of other"}, 4, "WebMonitor Of other"},
      {{"notify", shop}, 1, "failed"},
      {{"owed"}, 0, ""},
      {{"--json", "owed"}, 0, "[]"},
      {{"owed", "--drop"}, 0, ""},
      {{"owed", "--drop", shop}, 4, "nothing is owed by WebMonitor Of shop"},
      {{"owed", shop}, 2, "unknown operand"},
      {{"silence", shop, "--for", "90m", "--because", "new disks"}, 0, ""},
      {{"list"}, 0, "  new disks"},
      {{"--json", "list"}, 0, "\"Because\":\"new disks\""},
      {{"silence", "WebMonitor Of other", "--for", "1d"}, 4, "no such monitor: WebMonitor Of other"},
      {{"silence", shop}, 2, "--for"},
      {{"silence", shop, "--for"}, 2, "--for needs a value"},
      {{"silence", shop, "--for", "soon"}, 2, "invalid time, such as 90s, 30m, 2h or 1d: soon"},
      {{"unsilence", shop}, 0, ""},
      {{"--json", "list"}, 0, "\"SilencedUntil\":\"\",\"Because\":\"\""},
      {{"set", shop, "Monitor_Parent", shop}, 4, "circle: WebMonitor Of shop -> WebMonitor Of shop"},
      {{"start", shop}, 0, ""},
      {{"get", shop, "Status"}, 0, "Enable\n"},
      {{"stop", shop}, 0, ""},
      {{"save", folder / "copy"}, 0, ""},
      {{"remove", shop}, 0, ""},
      {{"remove", shop}, 4, "shop"},
      {{"load", folder / "copy"}, 0, ""},
      {{"get", shop, "Status"}, 0, "Disable\n"},
      {{"load", folder / "missing"}, 4, "no such file"},
      {{"save", folder / "missing/file"}, 4, "missing"},
      {{"save"}, 0, ""},
      {{}, 2, "no command"},
      {{"frob"}, 2, "unknown command: frob"},
      {{"add"}, 2, "operands"},
      {{"list", "x"}, 2, "operands"},
      {{"shutdown", "now"}, 2, "unknown operand: now"},
      {{"--frob", "list"}, 2, "invalid option: --frob"},
      {{"--folder", folder / "elsewhere", "list"}, 3, "no engine answers"},
      {{"--help"}, 0, "Exit codes"},
  };
  for (const auto& row : rows) {
    std::string trace;
    for (const auto& argument : row.arguments)
      trace += argument + " ";
    SCOPED_TRACE(trace);
    const auto finished = engine.Ctl(row.arguments, row.input);
    EXPECT_EQ(finished.code, row.code) << finished.err;
    EXPECT_NE((finished.out + finished.err).find(row.says), std::string::npos)
        << finished.out << finished.err;
  }
}

TEST(CtlProgram, WatchPrintsEveryChangeButNoPassword) {
  const TempFolder folder;
  const Engine engine(folder);
  const std::string mail = "Pop3Monitor Of mail";
  EXPECT_EQ(engine.Ctl({"add", mail}).code, 0);
  Process watch({Program("norvanectl"), "--folder", folder.Path(), "watch"});
  for (int i = 0; !watch.HasWritten("Monitor_Parameter = "); ++i)  // until it watches
    EXPECT_EQ(engine.Ctl({"set", mail, "Monitor_Parameter", std::to_string(i)}).code, 0);
  // Each is awaited, since changes that come together are seen as one.
  const auto awaitLine = [&](const std::string& end) {
    while (!watch.HasWritten(mail + ": " + end + "\n"))
      std::this_thread::yield();
  };
  EXPECT_EQ(engine.Ctl({"set", mail, "MonitorExt_PopPass"}, "s3cret").code, 0);
  awaitLine("MonitorExt_PopPass = (hidden)");
  EXPECT_EQ(engine.Ctl({"set", mail, "Monitor_Parameter", "last"}).code, 0);
  awaitLine("Monitor_Parameter = last");
  EXPECT_EQ(engine.Ctl({"remove", mail}).code, 0);
  awaitLine("Removed");
  EXPECT_EQ(engine.Ctl({"shutdown"}).code, 0);
  const auto finished = watch.Wait();
  EXPECT_EQ(finished.code, 3);
  EXPECT_EQ(finished.out.find("s3cret"), std::string::npos);
}

}  // namespace
}  // namespace norvane::tests
