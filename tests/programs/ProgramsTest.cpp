// The built programs, as an administrator meets them.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sstream>
#include <thread>

#include "loopback/HttpServer.h"
#include "loopback/TempFolder.h"
#include "tests/programs/ProgramEngine.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"

namespace norvane::tests {
namespace {

using namespace loopback;

namespace fs = std::filesystem;

TEST(WindowPrograms, SayThatThereIsNoDisplay) {
  for (const char* program : {"norvane", "norvane-tray"}) {
    SCOPED_TRACE(program);
    const auto finished = RunProgram({"/usr/bin/env", "-u", "QT_QPA_PLATFORM", "-u", "DISPLAY", "-u",
                                      "WAYLAND_DISPLAY", Program(program)});
    EXPECT_EQ(finished.code, 1);
    EXPECT_NE(finished.err.find(std::string(program) + ": no display"), std::string::npos) << finished.err;
  }
}

TEST(EngineProgram, SaysWhyItCannotServe) {
  const TempFolder folder;
  const Engine running(folder);
  WriteFile(folder / "file", "x");
  struct Row {
    const char* name;
    Arguments arguments;
    int code;
    std::string says;
  };
  const Row rows[] = {
      {"served already", {"--folder", folder.Path()}, 3, "another engine serves"},
      {"served already, in the background",
       {"--folder", folder.Path(), "--detach"},
       3,
       "another engine serves"},
      {"missing", {"--folder", folder / "missing"}, 4, "No such file"},
      {"no folder", {"--folder", folder / "file"}, 4, "Not a directory"},
      {"option", {"--frob"}, 2, "Usage"},
      {"operand", {"x"}, 2, "Usage"},
      {"no value", {"--folder"}, 2, "Usage"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Arguments command = row.arguments;
    command.insert(command.begin(), Program("norvane-engine"));
    const auto finished = RunProgram(command);
    EXPECT_EQ(finished.code, row.code);
    EXPECT_NE(finished.err.find(row.says), std::string::npos) << finished.err;
  }
  fs::remove(folder / "NorvaneEngine.lock");
  EXPECT_EQ(RunProgram({Program("norvane-engine"), "--folder", folder.Path()}).code, 3);
}

TEST(EngineProgram, LogsWhoChangedWhat) {
  const TempFolder folder;
  const Engine engine(folder);
  const std::string name = "Pop3Monitor Of a", key = "MonitorExt_PopPass";
  const std::string shown(200, 'x');
  const std::pair<Arguments, std::string> rows[] = {
      {{"add", name},
       "add \"" + name + "\" Monitor_LogFile: \"\" -> \"" + folder / "log/NorvaneLog%d%m%y.log" + "\""},
      {{"set", name, "Monitor_Timeout (s)", "7"},
       "set \"" + name + "\" Monitor_Timeout (s): \"30\" -> \"7\""},
      {{"set", name, "Monitor_Timeout (s)", "7"}, ""},
      {{"set", name, key, "sesame"}, "set \"" + name + "\" " + key + ": \"\" -> (hidden)"},
      {{"set", name, "Monitor_Notify Msg", "a\nb"},
       "set \"" + name + "\" Monitor_Notify Msg: \"\" -> \"a\\nb\""},
      {{"set", name, "Monitor_Notify Msg", shown + "y"},
       "set \"" + name + "\" Monitor_Notify Msg: \"a\\nb\" -> \"" + shown + "...\""},
      {{"start", name}, "set \"" + name + "\" Status: \"Disable\" -> \"Enable\""},
      {{"silence", name, "--for", "60"}, "silence for 60 s \"" + name + "\""},
      {{"unsilence", name}, "unsilence \"" + name + "\""},
      {{"remove", name}, "remove \"" + name + "\""},
      {{"remove", name}, ""},
      {{"save", folder / "copy"}, "save \"" + folder / "copy" + "\""},
      {{"load", folder / "copy"}, "load \"" + folder / "copy" + "\""},
  };
  std::string expected;
  for (const auto& [command, line] : rows) {
    engine.Ctl(command);
    if (!line.empty()) expected += line + "\n";
  }
  engine.Ctl({"shutdown"});
  expected += "shutdown\n";
  std::string found;
  std::istringstream lines(ReadFile(folder / "log/changes.log"));
  for (std::string line; std::getline(lines, line);) {
    const auto who = line.find(" norvanectl[");
    ASSERT_NE(who, std::string::npos) << line;
    found += line.substr(line.find("]: ", who) + 3) + "\n";
  }
  EXPECT_EQ(found, expected);
}

TEST(EngineProgram, GoesOnInTheBackgroundWithoutItsLog) {
  struct Row {
    const char* name;
    std::function<int(const std::string&)> put;
    const char* says;
  };
  const Row rows[] = {
      {"pipe", [](const auto& log) { return ::mkfifo(log.c_str(), 0600); }, "not a regular file"},
      {"link", [](const auto& log) { return ::symlink("/dev/null", log.c_str()); }, "is a symbolic link"},
      {"folder", [](const auto& log) { return ::mkdir(log.c_str(), 0700); }, "Is a directory"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const TempFolder folder;
    fs::create_directory(folder / "log");
    ASSERT_EQ(row.put(folder / "log/engine.log"), 0);
    const Engine engine(folder);
    Finished status;
    do {  // the writer is trying
      status = engine.Ctl({"status"});
    } while (status.code == 0);
    EXPECT_NE(status.out.find("engine.log cannot be written: " + std::string(row.says)), std::string::npos)
        << status.out;
  }
}

TEST(EngineProgram, SaysOnceWhatItCannotUseOfItsSettings) {
  const TempFolder folder;
  WriteFile(folder / "config.ini",
            "[log]\ndays=0.01\n[history]\nhours=0\n[checks]\nthreads=many\n[text]\nCharset=klingon\n[modem]"
            "\nspeed=fast\nwait=45\n"
            "[Tel\x1b[7m]\npassword=secret\n[tel\x1b]\n[help]\nfeedback=x\n[notify]\nadmn=x\nADMN=y\n"
            "give_up=soon\nsingle=-1\nrecovery=maybe\n[tls]\ncafile=none.pem\n"
            "[log]\ndays=\xe9\n");
  fs::create_directory(folder / "log");
  const auto old = WriteFile(folder / "log/NorvaneLog010126.log", "x");
  fs::last_write_time(old, fs::file_time_type::clock::now() - std::chrono::hours(91 * 24));
  Process engine({Program("norvane-engine"), "--folder", folder.Path()});
  while (fs::exists(old))  // the default of days
    std::this_thread::yield();
  engine.Signal(SIGTERM);
  const std::string expected[] = {
      "config.ini: line 26 is not UTF-8",
      "config.ini: line 19 is a second ADMN in [notify], ignored",
      "config.ini: line 25 begins a second section [log], ignored",
      "config.ini: [text] charset=klingon is not a character set, using windows-1252",
      "config.ini: [notify] give_up=soon is not a time from 1m, using 1d",
      "config.ini: [notify] single=-1 is not a number from 0, using 20",
      "config.ini: [notify] recovery=maybe is not yes or no, using no",
      "config.ini: [log] days=0.01 is not 0 or a number from 0.05, using 90",
      "config.ini: [history] hours=0 is not a number from 1 to 36500, using 400",
      "config.ini: [checks] threads=many is not a number from 1 to 64, using one for each CPU",
      "config.ini: [modem] speed=fast is not a number from 1 to 1000000, using 9600",
      "config.ini: [tls] cafile: cannot read " + (folder / "none.pem"),
      "config.ini: unknown section [Tel\\x1b[7m]",
      "config.ini: unknown section [tel\\x1b]",
      "config.ini: unknown key [notify] admn",
  };
  std::string text;
  for (const auto& line : expected)
    text += "norvane-engine: " + line + "\n";
  EXPECT_EQ(engine.Wait().err, text);
  for (const auto& line : expected)
    EXPECT_NE(ReadFile(folder / "log/engine.log").find(" " + line + "\n"), std::string::npos) << line;
}

/// Of the engine that said this of its status.
pid_t ProcessOf(const std::string& status) {
  const std::string key = "\"ProcessId\":";
  return std::stoi(status.substr(status.find(key) + key.size()));
}

TEST(EngineProgram, ReadsItsSettingsAgain) {
  const TempFolder folder;
  const Engine engine(folder);
  const auto process = ProcessOf(engine.Ctl({"status", "--json"}).out);
  engine.Ctl({"add", "SmtpMonitor Of m"});
  for (const auto& [key, value] : {std::pair("Monitor_Parameter", "mail.invalid"),
                                   {"MonitorExt_From", "a@example.com"},
                                   {"MonitorExt_To", "b@example.com"}})
    engine.Ctl({"set", "SmtpMonitor Of m", key, value});
  const auto configure = [&](const std::string& text, const std::function<bool()>& isDone) {
    WriteFile(folder / "config.ini", text);
    ::kill(process, SIGHUP);
    while (!isDone())
      std::this_thread::yield();
  };
  const auto logs = [&](const std::string& text) {
    return [&folder, text] { return ReadFile(folder / "log/engine.log").find(text) != std::string::npos; };
  };
  const auto status = [&] { return engine.Ctl({"status"}).out; };
  const auto check = [&] { return engine.Ctl({"check", "SmtpMonitor Of m"}); };
  const std::string server = "[mail mail.invalid]\nuser=x\n", reason = "user without password_file";
  configure(server, logs("config.ini was read again\n"));
  EXPECT_NE((check().out + check().err).find(reason), std::string::npos);
  configure("[engine]\ngroup=no group\n", [&] { return status().find("no group") != std::string::npos; });
  EXPECT_NE((check().out + check().err).find(reason), std::string::npos) << "the former settings";
  configure(server + "[checks]\nthreads=3\n", logs("; for the next start: [checks] threads\n"));
  EXPECT_EQ(status().find("no group"), std::string::npos);
}

TEST(EngineProgram, AnswersConsolesWhileItsMemoryIsFull) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the address sanitizer reserves more than any limit of memory allows";
#endif
  const TempFolder folder;
  const Engine engine(folder);
  for (const char* name : {"WebMonitor Of a", "WebMonitor Of b"}) {
    EXPECT_EQ(engine.Ctl({"add", name}).code, 0);
    for (const char* key : {"1", "2", "3", "4", "5", "6", "7", "8"})
      EXPECT_EQ(engine.Ctl({"set", "--force", name, key}, std::string(60000, 'x')).code, 0);
  }
  const auto process = ProcessOf(engine.Ctl({"--json", "status"}).out);
  const auto pages = ReadFile("/proc/" + std::to_string(process) + "/statm");
  rlimit space{};
  ::prlimit(process, RLIMIT_AS, nullptr, &space);
  space.rlim_cur = std::stoul(pages) * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
  ASSERT_EQ(::prlimit(process, RLIMIT_AS, &space, nullptr), 0);
  const auto list = engine.Ctl({"list"});
  EXPECT_EQ(list.code, 0) << list.err;
}

/// A running engine that can save no more.
class FullDisk : public testing::Test {
 protected:
  FullDisk() {
    Finished add;
    do {
      add = Ctl({"add", "WebMonitor Of shop"});
    } while (add.code == 3);
    const auto process = ProcessOf(Ctl({"--json", "status"}).out);
    rlimit size{};
    ::prlimit(process, RLIMIT_FSIZE, nullptr, &size);
    size.rlim_cur = 8192;
    EXPECT_EQ(::prlimit(process, RLIMIT_FSIZE, &size, nullptr), 0);
  }
  Finished Ctl(Arguments arguments) const {
    arguments.insert(arguments.begin(), {Program("norvanectl"), "--folder", m_folder.Path()});
    return RunProgram(arguments);
  }
  void ExpectToldOfTheEnd() {
    const std::string told = "ended without saving: " + (m_folder / "NorvaneEngine.dat");
    const auto finished = m_engine.Wait();
    EXPECT_EQ(finished.code, 6);
    EXPECT_NE(finished.err.find(told), std::string::npos) << finished.err;
    const auto log = ReadFile(m_folder / "log/engine.log");
    EXPECT_NE(log.find(told), std::string::npos) << log;
  }

  const TempFolder m_folder;
  Process m_engine{{Program("norvane-engine"), "--folder", m_folder.Path()}};
};

TEST_F(FullDisk, AnEngineGoesOnWhenItCannotSaveUnlessItIsForced) {
  const auto refused = Ctl({"shutdown"});
  EXPECT_EQ(refused.code, 4);
  EXPECT_NE(refused.err.find("the engine goes on"), std::string::npos) << refused.err;
  EXPECT_EQ(Ctl({"set", "--force", "WebMonitor Of shop", "note", "still here"}).code, 0);
  EXPECT_EQ(Ctl({"shutdown", "--force"}).code, 0);
  ExpectToldOfTheEnd();
}

TEST_F(FullDisk, AnEngineThatASignalEndsSaysThatItCouldNotSave) {
  m_engine.Signal(SIGTERM);
  ExpectToldOfTheEnd();
}

TEST(EngineProgram, HearsOfTheEndOfItsCommandsWhoeverStartsIt) {
  const TempFolder folder;
  const auto command = WriteFile(folder / "down.sh", "#!/bin/sh\nexit 7\n");
  fs::permissions(command, fs::perms::owner_all);
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  const Engine engine(folder);  // which inherits that
  std::signal(SIGCHLD, before);
  const std::string shop = "WebMonitor Of shop", log = WriteFile(folder / "shop.log", "");
  engine.Ctl({"add", shop});
  engine.Ctl({"set", shop, "Monitor_Command", "down.sh"});
  engine.Ctl({"set", shop, "Monitor_FailTimes", "1"});
  engine.Ctl({"set", shop, "Monitor_LogFile", log});
  EXPECT_EQ(engine.Ctl({"start", shop}).code, 0);
  while (ReadFile(log).find(" ended ") == std::string::npos)
    std::this_thread::yield();
  EXPECT_NE(ReadFile(log).find("down.sh ended with exit code 7"), std::string::npos) << ReadFile(log);
}

TEST(EngineProgram, KeepsNothingOpenInTheBackgroundThatWhoeverStartsItHasOpen) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const platform::FileDescriptor readEnd(ends[0]);
  platform::FileDescriptor writeEnd(ends[1]);
  const TempFolder folder;
  const Engine engine(folder);
  writeEnd.Reset();
  pollfd end{readEnd.Get(), POLLIN, 0};
  EXPECT_EQ(::poll(&end, 1, 10000), 1) << "the engine holds the other end";
}

TEST(EngineProgram, GoesOnAfterAnOrderlyEndAndAfterAKill) {
  const TempFolder folder;
  HttpServer server;
  server.Set("/", HttpServer::Reply("hello"));
  {
    const Engine engine(folder);
    EXPECT_EQ(engine.Ctl({"add", "WebMonitor Of shop"}).code, 0);
    EXPECT_EQ(engine.Ctl({"set", "WebMonitor Of shop", "Monitor_Parameter", server.Url("/")}).code, 0);
    EXPECT_EQ(engine.Ctl({"start", "WebMonitor Of shop"}).code, 0);
  }
  {
    Process engine({Program("norvane-engine"), "--folder", folder.Path()});
    Finished get;
    do {
      get = RunProgram(
          {Program("norvanectl"), "--folder", folder.Path(), "get", "WebMonitor Of shop", "Status"});
    } while (get.code == 3);
    EXPECT_EQ(get.out, "Enable\n");
    engine.Signal(SIGKILL);
    EXPECT_EQ(engine.Wait().code, 128 + SIGKILL);
  }
  Process engine({Program("norvane-engine"), "--folder", folder.Path()});
  Finished status;
  do {  // the socket of the killed one is still there
    status = RunProgram({Program("norvanectl"), "--folder", folder.Path(), "--json", "status"});
  } while (status.code == 3);
  EXPECT_NE(status.out.find("\"Monitors\":1,\"Running\":1"), std::string::npos) << status.out;
  engine.Signal(SIGTERM);
  EXPECT_EQ(engine.Wait().code, 0);
  EXPECT_FALSE(fs::exists(folder / "NorvaneEngine.sock"));
}

TEST(EngineProgram, LeavesNoCoreWithPasswords) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_CORE, &before), 0);
  if (before.rlim_max == 0) GTEST_SKIP() << "nobody leaves one here";
  const rlimit most{before.rlim_max, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_CORE, &most), 0);
  const TempFolder folder;
  Process engine({Program("norvane-engine"), "--folder", folder.Path()});
  ::setrlimit(RLIMIT_CORE, &before);
  while (RunProgram({Program("norvanectl"), "--folder", folder.Path(), "list"}).code == 3) {
  }
  engine.Signal(SIGABRT);
  const auto finished = engine.Wait();
  EXPECT_EQ(finished.code, 128 + SIGABRT);
  EXPECT_FALSE(finished.hasDumped);
}

TEST(EngineProgram, TellsWhoeverLooksThatItCouldNotReadItsDataFile) {
  const TempFolder folder;
  WriteFile(folder / "NorvaneEngine.dat", "no data file");
  const Engine engine(folder);
  const auto status = engine.Ctl({"status"}), json = engine.Ctl({"--json", "status"});
  EXPECT_EQ(status.code, 1);
  EXPECT_NE(status.out.find(" cannot read the data file, "), std::string::npos) << status.out;
  EXPECT_NE(json.out.find("\"Conditions\":[{\"Since\":\"20"), std::string::npos) << json.out;
  while (ReadFile(folder / "log/engine.log").find(" cannot read the data file, ") == std::string::npos)
    std::this_thread::yield();
}

TEST(EngineProgram, KeepsItsServiceManagerInformed) {
  const TempFolder folder;
  for (const std::string& name : {folder / "notify", "@" + (folder / "notify")}) {
    SCOPED_TRACE(name);
    const platform::FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path, name.size());
    if (name.front() == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    ASSERT_EQ(::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
    const auto await = [&](const std::string& state) {
      std::string received;
      while (received != state) {
        pollfd ready{socket.Get(), POLLIN, 0};
        ASSERT_EQ(::poll(&ready, 1, 20000), 1) << "no " << state;
        received.resize(1000);
        received.resize(static_cast<std::size_t>(::recv(socket.Get(), received.data(), received.size(), 0)));
      }
    };
    ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
    Process engine({Program("norvane-engine"), "--folder", folder.Path()});
    ::unsetenv("NOTIFY_SOCKET");
    await("READY=1");
    EXPECT_TRUE(fs::exists(folder / "NorvaneEngine.sock"));
    await("WATCHDOG=1");
    await("STATUS=0 monitors");
    engine.Signal(SIGTERM);
    await("STOPPING=1");
    EXPECT_EQ(engine.Wait().code, 0);
  }
}

TEST(EngineProgram, FindsHostsWhoseNamesAreNoAscii) {
  const TempFolder folder;
  HttpServer server;
  server.Set("/", HttpServer::Reply("hello"));
  const Engine engine(folder);
  const std::string shop = "WebMonitor Of shop", wideL = "\xef\xbd\x8c";  // which counts as the usual one
  engine.Ctl({"add", shop});
  engine.Ctl({"set", shop, "Monitor_Parameter", server.Url("/", wideL + "ocalhost")});
  const auto check = engine.Ctl({"check", shop});
  EXPECT_EQ(check.code, 0) << check.out;
}

/// Without a try, which would keep the program from locking it at that moment.
bool IsLocked(const std::string& path) {
  struct stat file {};
  if (::stat(path.c_str(), &file) != 0) return false;
  return ReadFile("/proc/locks").find(":" + std::to_string(file.st_ino) + " ") != std::string::npos;
}

TEST(TrayProgram, RunsOncePerFolder) {
  const TempFolder folder;
  const std::string tray = folder / "norvane-tray";
  fs::create_symlink(Program("norvane-tray"), tray);
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  const Process first({tray});
  while (!IsLocked(folder / "NorvaneTray.lock"))
    std::this_thread::yield();
  EXPECT_EQ(RunProgram({tray}).code, 0);
  EXPECT_EQ(RunProgram({tray, "--help"}).out.substr(0, 19), "Usage: norvane-tray");
  EXPECT_EQ(RunProgram({tray, "--frob"}).code, 2);
}

TEST(ConsoleProgram, RunsOncePerFolderEvenAfterAKill) {
  const TempFolder folder;
  const std::string norvane = folder / "norvane";
  fs::create_symlink(Program("norvane"), norvane);
  ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  for (const char* trace : {"new", "after a kill"}) {
    SCOPED_TRACE(trace);
    Process first({norvane});
    while (!IsLocked(folder / "NorvaneConsole.lock"))
      std::this_thread::yield();
    EXPECT_EQ(RunProgram({norvane}).code, 0);
    first.Signal(SIGKILL);
    EXPECT_EQ(first.Wait().code, 128 + SIGKILL);
  }
}

}  // namespace
}  // namespace norvane::tests
