#include "engine/store/LogFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <future>
#include <stdexcept>
#include <thread>

#include "engine/store/EngineLog.h"
#include "engine/store/Writer.h"
#include "loopback/TempFolder.h"
#include "platform/ErrorText.h"
#include "platform/FileDescriptor.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

namespace fs = std::filesystem;
using tests::ModeOf;
using tests::ReadFile;
using tests::Rows;
using tests::WriteFile;

class LogFilesTest : public ::testing::Test {
 protected:
  LogFilesTest() {
    SetZone("TST-5:30");
    // 2031-02-03T04:05:06.007 in that zone
    m_moment = std::chrono::system_clock::from_time_t(1927838106) + std::chrono::milliseconds(7);
  }
  ~LogFilesTest() override { ::unsetenv("TZ"), ::tzset(); }

  static void SetZone(const char* zone) {
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  [[nodiscard]] LogLine Line(std::string pattern, std::string text) const {
    return {std::move(pattern), m_moment, std::move(text)};
  }

  loopback::TempFolder m_folder;
  std::chrono::system_clock::time_point m_moment;
  std::vector<std::string> m_reports;
  LogFiles m_logs{m_folder.Path(),
                  [this](const auto&, const auto& problem) { m_reports.push_back(problem); }};
};

const std::string Stamp = "2031-02-03T04:05:06.007+05:30 ";

TEST_F(LogFilesTest, PatternsNameTheFileByTheLinesOwnDay) {
  const Rows<std::string, std::string> rows = {
      {"plain.log", "plain.log"},
      {"log\\Log%d%m%y.log", "log/Log030231.log"},
      {m_folder.Path() + "\\log\\abs%y.log", "log/abs31.log"},
      {"%%d %D%Y%x%", "%03 %D%Y%x%"},
      {"%y%m/%d/deep", "3102/03/deep"},
  };
  for (const auto& [pattern, file] : rows) {
    SCOPED_TRACE(pattern);
    m_logs.Write({Line(pattern, "text")});
    EXPECT_EQ(ReadFile(m_folder / file), Stamp + "text\n");
    EXPECT_EQ(ModeOf(m_folder / file), 0600u);
  }
  EXPECT_EQ(ModeOf(m_folder / "3102/03"), 0700u);

  auto nextDay = Line("day%d", "later");
  nextDay.at += std::chrono::hours(20);
  m_logs.Write({Line("day%d", "first"), nextDay});
  EXPECT_EQ(ReadFile(m_folder / "day03"), Stamp + "first\n");
  EXPECT_EQ(ReadFile(m_folder / "day04"), "2031-02-04T00:05:06.007+05:30 later\n");
  EXPECT_TRUE(m_reports.empty());
}

TEST_F(LogFilesTest, AZoneWestOfGreenwichIsNegative) {
  SetZone("TST3:30");
  m_logs.Write({Line("a", "x")});
  EXPECT_EQ(ReadFile(m_folder / "a"), "2031-02-02T19:05:06.007-03:30 x\n");
}

TEST_F(LogFilesTest, LinesStayInOrderAndAreAppended) {
  m_logs.Write({Line("a", "1"), Line("b", "2"), Line("a", "3")});
  m_logs.Write({Line("a", "4")});
  EXPECT_EQ(ReadFile(m_folder / "a"), Stamp + "1\n" + Stamp + "3\n" + Stamp + "4\n");
  EXPECT_EQ(ReadFile(m_folder / "b"), Stamp + "2\n");
}

TEST_F(LogFilesTest, AFileThatWasMovedAwayIsMadeAnew) {
  m_logs.Write({Line("log/a", "1")});
  fs::rename(m_folder / "log", m_folder / "old");
  m_logs.Write({Line("log/a", "2")});
  EXPECT_EQ(ReadFile(m_folder / "old/a"), Stamp + "1\n");
  EXPECT_EQ(ReadFile(m_folder / "log/a"), Stamp + "2\n");
}

TEST_F(LogFilesTest, ControlCharactersAreEscaped) {
  for (const auto& [text, written] : Rows<std::string, std::string>{
           {"a\nb\r\tc", "a\\nb\\r\\tc"},
           {std::string("\0\x1b[31m\x7f", 7), "\\x00\\x1b[31m\\x7f"},
           {"\xc2\x9b[1m \xc2\xa0\xc2\xb5 \xe2\x82\xac", "\\x9b[1m \xc2\xa0\xc2\xb5 \xe2\x82\xac"},
           {"C:\\new", "C:\\new"},
           {"", ""},
       }) {
    fs::remove(m_folder / "a");
    m_logs.Write({Line("a", text)});
    EXPECT_EQ(ReadFile(m_folder / "a"), Stamp + written + "\n");
  }
}

TEST_F(LogFilesTest, AFileThatCannotBeWrittenIsReportedOnceAndHoldsNothingUp) {
  WriteFile(m_folder / "file", "");
  fs::create_directory(m_folder / "folder");
  ASSERT_EQ(::mkfifo((m_folder / "pipe").c_str(), 0600), 0);
  fs::create_symlink(m_folder / "file", m_folder / "link");
  const Rows<std::string, std::string> rows = {
      {"folder", "Is a directory"},
      {"link", "is a symbolic link"},
      {"file/below", "Not a directory"},
      {"pipe", "not a regular file"},
      {"/dev/null", "not a regular file"},
      {std::string("zero\0", 5), "NUL character in its name"},
      {"", "Is a directory"},
  };
  for (const auto& [pattern, reason] : rows) {
    m_reports.clear();
    for (int i = 0; i < 3; ++i)
      m_logs.Write({Line(pattern, "lost"), Line("good", "kept")});
    const auto path = pattern.starts_with('/') ? pattern : m_folder / pattern;
    EXPECT_EQ(m_reports, std::vector<std::string>{"log file " + path + " cannot be written: " + reason});
  }
  const std::string line = Stamp + "kept\n";
  EXPECT_EQ(ReadFile(m_folder / "good").size(), line.size() * 3 * rows.size());
}

TEST_F(LogFilesTest, NoLineGoesToTheProgramsOwnFiles) {
  fs::create_directories(m_folder / "help/sub");
  fs::create_directory(m_folder / "log");
  fs::create_directory_symlink(m_folder.Path(), m_folder / "log/up");
  const Rows<std::string, bool> rows = {
      {"NorvaneEngine.dat", true},
      {"NorvaneEngine.dat-journal", true},
      {"NorvaneEngine.state", true},
      {"NorvaneConsole.lock", true},
      {"config.ini", true},
      {"help.htm", true},
      {"help/page.htm", true},
      {"norvanectl", true},
      {m_folder / "config.ini", true},
      {"log/../config.ini", true},
      {"log\\up\\config.ini", true},
      {"log/config.ini", false},
      {"norvane.log", false},
      {"log/up/shop.log", false},
      {"log/NorvaneEngine.log", false},
      {"config.log", false},
  };
  for (const auto& [pattern, isOurs] : rows) {
    m_reports.clear();
    m_logs.Write({Line(pattern, "x")});
    EXPECT_EQ(m_reports.size(), isOurs ? 1u : 0u) << pattern;
    for (const auto& report : m_reports)
      EXPECT_TRUE(report.ends_with(": a file of Norvane's own")) << report;
  }
  EXPECT_FALSE(fs::exists(m_folder / "config.ini"));
}

/// Files can grow to so many bytes, as on a disk that is then full.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : m_signal(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &m_before);
    const rlimit limit{bytes, m_before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &m_before);
    std::signal(SIGXFSZ, m_signal);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  sighandler_t m_signal;
  rlimit m_before{};
};

TEST_F(LogFilesTest, AFileThatWasFullSaysHowManyLinesItLacks) {
  const auto line = Stamp + "text\n";
  {
    const FileSizeLimit limit(line.size() + 5);
    m_logs.Write({Line("a", "text"), Line("a", "text"), Line("a", "text")});
    m_logs.Write({Line("a", "text")});
    EXPECT_EQ(m_reports, std::vector<std::string>{"log file " + (m_folder / "a") +
                                                  " cannot be written: File too large"});
  }
  m_logs.Retry();
  EXPECT_EQ(m_reports.back(), "");
  m_logs.Write({Line("a", "text")});
  const auto text = ReadFile(m_folder / "a");
  EXPECT_EQ(text.substr(0, line.size() + 6), line + Stamp.substr(0, 5) + "\n");
  EXPECT_NE(text.find(" lines missing here: 3, the first of "), std::string::npos) << text;
  EXPECT_TRUE(text.ends_with("\n" + line)) << text;
  EXPECT_EQ(m_reports.size(), 2u);
}

TEST_F(LogFilesTest, OnlyOurOwnOldLogsAreRemovedAndOnlyOurDayFilesLimited) {
  const auto large = [this](const std::string& name) {
    WriteFile(m_folder / name, "");
    fs::resize_file(m_folder / name, LogFiles::MaxDayFileSize);
    m_logs.Write({Line(name, "x")});
    return fs::exists(m_folder / (name + ".1"));
  };
  fs::create_directory(m_folder / "log");
  EXPECT_TRUE(large("log/NorvaneLog030231.log"));
  EXPECT_FALSE(large("log/own.log"));
  EXPECT_FALSE(large("NorvaneLog030231.log"));
  fs::remove_all(m_folder / "log");

  fs::create_directory(m_folder / "log");
  const Rows<const char*, bool> rows = {
      {"log/NorvaneLog030231.log", true},  {"log/NorvaneLog030231.log.1", true},
      {"log/engine.log.1", true},          {"log/commands.log.1", true},
      {"log/engine.log", false},           {"log/NorvaneLog0302311.log", false},
      {"log/NorvaneLog03023x.log", false}, {"log/shop.log", false},
      {"NorvaneLog030231.log", false},     {"log/NorvaneLog030231.log.gz", false},
  };
  const auto monthAgo = fs::file_time_type::clock::now() - std::chrono::hours(30 * 24);
  for (const auto& [name, removed] : rows)
    fs::last_write_time(WriteFile(m_folder / name, "x"), monthAgo);
  fs::create_symlink(m_folder / "log/shop.log", m_folder / "log/NorvaneLog040231.log");
  m_logs.RemoveOld(std::chrono::hours(31 * 24));
  EXPECT_TRUE(fs::exists(m_folder / "log/engine.log.1"));
  m_logs.RemoveOld(std::chrono::hours(29 * 24));
  for (const auto& [name, removed] : rows)
    EXPECT_NE(fs::exists(m_folder / name), removed) << name;
  EXPECT_TRUE(fs::is_symlink(m_folder / "log/NorvaneLog040231.log"));
}

TEST_F(LogFilesTest, AFileWithALimitMakesRoomOnce) {
  const auto write = [&](const std::string& text) {
    auto line = Line("limited.log", text);
    line.maxFileSize = 100;
    m_logs.Write({line});
  };
  const auto file = [&](const char* name) { return ReadFile(m_folder / name); };
  write(std::string(200, 'a'));  // a line is never cut
  EXPECT_FALSE(fs::exists(m_folder / "limited.log.1"));
  write("b");
  write(std::string(100 - 2 * Stamp.size() - 3, 'c'));  // just fits
  EXPECT_EQ(file("limited.log").size(), 100u);
  EXPECT_EQ(file("limited.log.1"), Stamp + std::string(200, 'a') + "\n");
  write("d");
  EXPECT_EQ(file("limited.log"), Stamp + std::string("d\n"));
  EXPECT_EQ(file("limited.log.1").size(), 100u);
  EXPECT_EQ(ModeOf(m_folder / "limited.log"), 0600u);
}

TEST_F(LogFilesTest, WhatIsPrintedFollowsALogThatIsRotated) {
  const auto write = [&] {
    auto line = Line("engine.log", "x");
    line.maxFileSize = 1;
    m_logs.Write({line});
  };
  write();
  const platform::FileDescriptor before(::dup(STDOUT_FILENO)),
      log(::open((m_folder / "engine.log").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  ::dup2(log.Get(), STDOUT_FILENO);
  write();
  EXPECT_EQ(::write(STDOUT_FILENO, "printed", 7), 7);
  ::dup2(before.Get(), STDOUT_FILENO);
  EXPECT_EQ(ReadFile(m_folder / "engine.log"), Stamp + "x\nprinted");
}

TEST(Writer, DropsTheLinesThatADiskKeepsWaitingAndTellsSo) {
  const loopback::TempFolder folder;
  platform::EventFd wake;
  std::vector<Writer::Problem> problems;
  {
    std::promise<void> begun, disk, written;
    Writer writer(folder.Path(), wake);
    writer.Run(
        [&] {
          begun.set_value();
          disk.get_future().wait();
        },
        [](std::exception_ptr) {});
    begun.get_future().wait();
    while (writer.BusyFor().count() == 0)
      std::this_thread::yield();
    for (std::size_t i = 0; i < Writer::MaxLines + 3; ++i)
      writer.Log({"log", {}, "x"});
    disk.set_value();
    writer.Run([&] { written.set_value(); }, [](std::exception_ptr) {});
    written.get_future().wait();
    while (writer.BusyFor().count() != 0)
      std::this_thread::yield();
    problems = writer.Deliver();
  }
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_EQ(problems[0].text, "3 log lines dropped: the disk is too slow");
  EXPECT_EQ(ReadFile(folder / "log").size(), Writer::MaxLines * (Stamp.size() + 2));
}

TEST(Writer, GoesOnAfterWhateverThrows) {
  using Texts = std::vector<std::string>;
  const loopback::TempFolder folder;
  platform::EventFd wake;
  Texts reports, ends, logged;
  const auto end = [&](const std::exception_ptr& error) {
    ends.push_back(error ? platform::ErrorText(error) : "done");
  };
  {
    Writer writer(folder.Path(), wake, [&](const std::vector<LogLine>& lines) {
      if (lines[0].text == "bad") throw std::runtime_error("bad line");
      logged.push_back(lines[0].text);
    });
    writer.Log({"log", {}, "bad"});
    writer.Run([] { throw std::runtime_error("bad job"); }, end);
    writer.Run([] {}, [](const std::exception_ptr&) { throw std::runtime_error("bad completion"); });
    writer.Run([] {}, end);
    while (ends.size() < 2) {
      pollfd fd{wake.Fd(), POLLIN, 0};
      ASSERT_EQ(::poll(&fd, 1, 30000), 1);
      wake.Clear();
      for (const auto& problem : writer.Deliver())
        reports.push_back(problem.text);
    }
    writer.Log({"log", {}, "good"});
  }
  EXPECT_EQ(ends, (Texts{"bad job", "done"}));
  EXPECT_EQ(reports, (Texts{"1 log lines lost: bad line", "internal error: bad completion"}));
  EXPECT_EQ(logged, Texts{"good"});
}

TEST(EngineLog, ThrottlesWhatRepeatsAndSaysHowOften) {
  const loopback::TempFolder folder;
  platform::EventFd wake;
  std::vector<std::string> logged;
  {
    Writer writer(folder.Path(), wake, [&](const std::vector<LogLine>& lines) {
      for (const auto& line : lines)
        logged.push_back(line.text);
    });
    std::chrono::steady_clock::time_point now;
    EngineLog log(writer, [&] { return now; });
    log.LeaveStandardError();
    for (int i = 0; i < 300; ++i)
      log.Write("user " + std::to_string(i) + " refused");
    log.Write("another");
    log.Flush();
    now += EngineLog::RepeatTime;
    log.Flush();
    log.Flush();
    for (int i = 300; i < 311; ++i) {
      log.Write("user " + std::to_string(i) + " refused");
      log.Write(std::string(1, static_cast<char>('a' + i - 300)), "kind");
      log.WriteAlways("begins");
    }
    log.FlushAll();
  }
  std::vector<std::string> expected;
  for (int i = 0; i < EngineLog::MaxRepeats; ++i)
    expected.push_back("user " + std::to_string(i) + " refused");
  expected.insert(expected.end(),
                  {"another", "user 299 refused (and 289 more like this in the last minute)"});
  for (int i = 0; i < EngineLog::MaxRepeats; ++i)
    expected.insert(expected.end(), {"user " + std::to_string(300 + i) + " refused",
                                     std::string(1, static_cast<char>('a' + i)), "begins"});
  expected.insert(expected.end(), {"begins", "k", "user 310 refused"});
  EXPECT_EQ(logged, expected);
}

}  // namespace
}  // namespace norvane::engine
