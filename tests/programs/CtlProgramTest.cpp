#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "loopback/HttpServer.h"
#include "loopback/TempFolder.h"
#include "tests/programs/ProgramEngine.h"
#include "tests/support/Process.h"
#include "tests/support/Terminal.h"

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
      {{"add", "FtpMonitor Of x"}, 2, "unknown type"},
      {{"add", "WebMonitr Of x"}, 2, "did you mean \"WebMonitor\"?"},
      {{"add", "WebMonitor Of x", "shop"}, 2, "TYPE Of NAME"},
      {{"get", "WebMonitor Of x"}, 4, "no such monitor"},
      {{"set", shop, "Monitor_Parameter", server.Url("/good")}, 0, ""},
      {{"get", shop, "Monitor_Parameter"}, 0, server.Url("/good") + "\n"},
      {{"check", shop}, 0, "good in "},
      {{"set", shop, "MonitorExt_SuccessFlag"}, 0, "", "STR:missing"},
      {{"check", shop}, 1, "string not found"},
      {{"set", shop, "note", "x"}, 2, "unknown key \"note\""},
      {{"set", shop, "Monitor_Paramter", "x"}, 2, "did you mean \"Monitor_Parameter\"?"},
      {{"set", shop, "Monitor_InterVal (s)", "abc"}, 2, "the engine would use 60"},
      {{"set", shop, "Monitor_InterVal (s)", "-5"}, 2, "the engine would use 60"},
      {{"set", "shop", "--force", "Monitor_InterVal (s)", "-5"}, 0, ""},
      {{"get", "shop", "Monitor_InterVal (s)"}, 0, "-5\n"},
      {{"set", shop, "Monitor_InterVal (s)", "60"}, 0, ""},
      {{"set", shop, "note", "--force", "--", "--all"}, 0, ""},
      {{"get", shop, "note"}, 0, "--all\n"},
      {{"set", shop, "--force", "note"}, 0, "", "from a file\r\n"},
      {{"--json", "get", shop, "note"}, 0, "{\"note\":\"from a file\"}"},
      {{"set", shop, odd, "--force"}, 0, "", zero + "\t\xc2\x9b\xc3\xa9"},
      {{"--force", "set", shop, "no\xff", "x"}, 2, "unknown option: --force"},
      {{"set", "--force", shop, "no\xff", "x"}, 4, "attribute name not in UTF-8"},
      {{"get", shop, odd}, 0, zero + "\t\xc2\x9b\xc3\xa9\n"},
      {{"get", shop}, 0, " a\\x00b\\x09\\xc2\\x9b\xc3\xa9\n"},
      {{"get", shop}, 0, "\nno\\x02 "},
      {{"--json", "get", shop, odd}, 0, "{\"no\\u0002\":\"a\\u0000b\\t\xc2\x9b\xc3\xa9\"}"},
      {{"check", shop, "--json"}, 1, "{\"Name\":\"WebMonitor Of shop\",\"Result\":\"string not found"},
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
      {{"owed", "sh*"}, 4, "nothing is owed by sh*"},
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
      {{"list", "x"}, 4, "no such monitor: x"},
      {{"list", "--type", "ftp"}, 2, "unknown type ftp; known are WebMonitor, Pop3Monitor, SmtpMonitor"},
      {{"remove"}, 2, "name monitors, or say --all"},
      {{"remove", "--all", shop}, 2, "either names or --all"},
      {{"shutdown", "now"}, 2, "operands"},
      {{"--frob", "list"}, 2, "unknown option: --frob; see norvanectl --help\n"},
      {{"list", "--stoped"}, 2, "did you mean \"--stopped\"?; see norvanectl list --help\n"},
      {{"list", "--json=1"}, 2, "--json has no value"},
      {{"--folder", folder / "elsewhere", "list"},
       3,
       "no engine answers in " + (folder / "elsewhere") + "; --start starts it"},
      {{"--help"}, 0, "Exit codes"},
      {{"silence", "-h"}, 0, "--because TEXT"},
      {{"--version"}, 0, "norvanectl 1."},
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
    if (row.code == 2) {
      EXPECT_EQ(std::ranges::count(finished.err, '\n'), 1) << finished.err;
    }
  }
}

TEST(CtlProgram, WorksOnSeveralMonitors) {
  const TempFolder folder;
  HttpServer server;
  server.Set("/", HttpServer::Reply("hello"));
  std::filesystem::create_symlink(Program("norvane-engine"), folder / "norvane-engine");
  ASSERT_EQ(RunProgram({Program("norvanectl"), "--folder", folder.Path(), "list", "--start"}).code, 0);
  const Engine engine(folder, "norvanectl", "status");
  const std::string wide = "\xe6\x97\xa5\xe6\x9c\xac";
  struct Row {
    Arguments arguments;
    int code;
    std::string out;
    std::string input = "";
  };
  const Row rows[] = {
      {{"add", "WebMonitor Of a", "WebMonitor Of b", "Pop3Monitor Of " + wide}, 0, ""},
      {{"add", "WebMonitor Of c", "WebMonitor Of a"}, 4, ""},
      {{"list", "--names"}, 0, "WebMonitor Of a\nWebMonitor Of b\nPop3Monitor Of " + wide + "\n"},
      {{"list", wide},
       0,
       "Name                 Status   Since  LastCheck  DurationMs  Failures\n"
       "Pop3Monitor Of " +
           wide + "  Disable  never  never      0           0\n"},
      {{"set", "Web*", "x", "Monitor_Parameter", "y"}, 4, ""},
      {{"set", "Web*", wide, "MonitorExt_PopPass", "y"}, 2, ""},
      {{"set", "Web*", "Monitor_Parameter", server.Url("/")}, 0, ""},
      {{"set", "a", "b", "Monitor_Timeout (s)", "--stdin"}, 0, "", "7\n"},
      {{"get", "a", wide, "b", "Monitor_Timeout (s)"},
       0,
       "WebMonitor Of a: 7\nPop3Monitor Of " + wide + ": 30\nWebMonitor Of b: 7\n"},
      {{"get", "--all", "Status", "--json"},
       0,
       "[{\"Name\":\"WebMonitor Of a\",\"Status\":\"Disable\"},{\"Name\":\"WebMonitor Of "
       "b\",\"Status\":\"Disable\"},"
       "{\"Name\":\"Pop3Monitor Of " +
           wide + "\",\"Status\":\"Disable\"}]\n"},
      {{"get", "a", "Monitor_LogFile"}, 0, folder.Path() + "/log/NorvaneLog%d%m%y.log\n"},
      {{"set", wide, "MonitorExt_PopPass"}, 0, "", "s3cret"},
      {{"get", wide, "MonitorExt_PopPass"}, 0, "(hidden)\n"},
      {{"get", wide, "MonitorExt_PopPass", "--json"}, 0, "{\"MonitorExt_PopPass\":\"(hidden)\"}\n"},
      {{"--secrets", "get", wide, "MonitorExt_PopPass"}, 0, "s3cret\n"},
      {{"start", "Pop3*", "a"}, 0, ""},
      {{"list", "--names", "--stopped"}, 0, "WebMonitor Of b\n"},
      {{"list", "--names", "--type", "POP3", "--stopped"}, 0, ""},
      {{"stop", "--all"}, 0, ""},
      {{"list", "--names", "--failing"}, 0, ""},
      {{"list", "--names", "--stopped", "?"}, 0, "WebMonitor Of a\nWebMonitor Of b\n"},
      {{"remove", "Web*", "x*"}, 4, ""},
      {{"remove", "Web*"}, 0, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.arguments));
    const auto finished = engine.Ctl(row.arguments, row.input);
    EXPECT_EQ(finished.code, row.code) << finished.err;
    EXPECT_EQ(finished.out, row.out);
  }
}

TEST(CtlProgram, EndsSilentlyWhenNobodyReads) {
  const TempFolder folder;
  const Engine engine(folder);
  const auto finished =
      RunProgram({"/bin/bash", "-c", R"("$0" --folder "$1" status | true; echo ${PIPESTATUS[0]})",
                  Program("norvanectl"), folder.Path()});
  EXPECT_EQ(finished.err, "");
  // It may have written all before nobody read.
  EXPECT_TRUE(finished.out == "141\n" || finished.out == "0\n") << finished.out;
}

TEST(CtlProgram, KeepsAScreenOnATerminal) {
  const TempFolder folder;
  const Engine engine(folder);
  EXPECT_EQ(engine.Ctl({"add", "WebMonitor Of a", "WebMonitor Of b"}).code, 0);
  for (const bool bySignal : {false, true}) {
    Terminal terminal({Program("norvanectl"), "--folder", folder.Path(), "watch"}, 60, 5);
    terminal.Await("\x1b[?1049h");
    terminal.Await("2 monitors, 0 failing, 2 stopped (q ends)");
    terminal.Await("and 1 more");
    terminal.Resize(20, 10);
    terminal.Await("WebMonitor Of b  sto\x1b[0m\x1b[K");
    EXPECT_EQ(engine.Ctl({"stop", "a"}).code, 0);
    terminal.Write(bySignal ? "\x03" : "q");
    EXPECT_EQ(terminal.Wait(), 0);
    EXPECT_TRUE(terminal.Written().ends_with("\x1b[?25h\x1b[?1049l")) << terminal.Written();
  }
}

TEST(CtlProgram, CompletesInBash) {
  const TempFolder folder;
  const Engine engine(folder);
  EXPECT_EQ(engine.Ctl({"add", "WebMonitor Of it's", "WebMonitor Of b"}).code, 0);
  const std::string script =
      R"(source "$1"; COMP_WORDS=("$0" --folder "$2" "${@:3}"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
_norvanectl 2>/dev/null; ((${#COMPREPLY[@]})) && printf '%s\n' "${COMPREPLY[@]}")";
  const struct {
    Arguments words;
    std::string completions;
  } rows[] = {
      {{"st"}, "status\nstart\nstop\n"},
      {{"start", ""}, "WebMonitor\\ Of\\ it\\'s\nWebMonitor\\ Of\\ b\n"},
      {{"start", "WebMonitor\\ Of\\ i"}, "WebMonitor\\ Of\\ it\\'s\n"},
      {{"stop", "\"Web"}, "WebMonitor Of it's\nWebMonitor Of b\n"},
      {{"set", "x", "Monitor_Notify\\ M"}, "Monitor_Notify\\ Mode\nMonitor_Notify\\ Msg\n"},
      {{"silence", "x", "--f"}, "--folder\n--for\n"},
      {{"list", "--type", ""}, "web\npop3\nsmtp\n"},
  };
  for (const auto& row : rows) {
    Arguments command = {"/bin/bash", "-c", script, Program("norvanectl"), NORVANE_COMPLETION, folder.Path()};
    command.insert(command.end(), row.words.begin(), row.words.end());
    EXPECT_EQ(RunProgram(command).out, row.completions) << testing::PrintToString(row.words);
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
