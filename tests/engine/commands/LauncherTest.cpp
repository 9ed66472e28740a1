#include "engine/commands/Launcher.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "loopback/TempFolder.h"
#include "tests/support/Files.h"
#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using Texts = std::vector<std::string>;
using tests::Rows;

/// A launcher in a fresh folder, whose time the test drives.
class LauncherTest : public testing::Test {
 protected:
  std::string Script(const std::string& name, const std::string& text) {
    const auto path = tests::WriteFile(m_folder / name, "#!/bin/sh\n" + text);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }
  void Make(std::size_t maxRunning = Launcher::Options().maxRunning, std::ptrdiff_t maxWaiting = 1000) {
    m_launcher = std::make_unique<Launcher>(
        m_loop, Launcher::Options{m_folder.Path(), maxRunning, maxWaiting}, [this](const Report& report) {
          if (const auto* progress = std::get_if<LaunchProgress>(&report))
            return m_progress.push_back(*progress);
          const auto* output = std::get_if<CommandOutput>(&report);
          m_heldUp += output == nullptr && std::get<CommandEvent>(report).isHeldUp ? 1 : 0;
          (output != nullptr ? m_output : m_told)
              .push_back(output != nullptr ? output->text : std::get<CommandEvent>(report).text);
        });
  }
  void Launch(const std::string& program, const std::string& monitor = "shop") {
    m_launcher->Launch({7, monitor, program, {"NORVANE_X=a b"}});
  }
  void RunUntil(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i)
      m_loop.RunOnce(milliseconds(10));
    ASSERT_TRUE(condition()) << testing::PrintToString(m_told) << testing::PrintToString(m_output);
  }
  [[nodiscard]] auto Told(const std::string& text) {
    return [this, text] { return Count(text) > 0; };
  }
  [[nodiscard]] std::ptrdiff_t Count(const std::string& text) const {
    return std::count_if(m_told.begin(), m_told.end(),
                         [&](const std::string& told) { return told.find(text) != std::string::npos; });
  }
  /// A pipe by name at which scripts wait; each line that is written lets one go on.
  platform::FileDescriptor Gate() {
    const auto path = m_folder / "gate";
    EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
    return platform::FileDescriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  }
  static void Open(const platform::FileDescriptor& gate) { ASSERT_EQ(::write(gate.Get(), "\n", 1), 1); }

  const loopback::TempFolder m_folder;
  Moment m_now{std::chrono::hours(1)};
  EventLoop m_loop{[this] { return m_now; }};
  Texts m_told;
  int m_heldUp = 0;  ///< among them
  Texts m_output;
  std::vector<LaunchProgress> m_progress;
  std::unique_ptr<Launcher> m_launcher;
};

TEST_F(LauncherTest, GivesAProgramAFixedWorld) {
  ::setenv("NORVANE_TEST_SECRET", "x", 1);
  Script("show", R"sh(pwd
env | grep -v ^PWD= | cut -d= -f1 | sort | tr '\n' ' '; echo
echo "$NORVANE_X"
ls /proc/self/fd | tr '\n' ' '; echo
grep -E 'SigBlk|SigIgn' /proc/$$/status | grep -o '....$' | tr '\n' ' '; echo
[ "$(cut -d' ' -f5 /proc/$$/stat)" = $$ ] && echo own group
cat; echo "$# arguments" >&2
)sh");
  Make();
  // As the service runs: the threads block all signals, and SIGPIPE is ignored.
  sigset_t all, before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  const auto pipeBefore = ::signal(SIGPIPE, SIG_IGN);
  Launch("show");
  m_loop.RunOnce(milliseconds(0));
  ::signal(SIGPIPE, pipeBefore);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  RunUntil([&] { return m_output.size() == 7 && m_told.size() == 2; });
  ::unsetenv("NORVANE_TEST_SECRET");
  EXPECT_EQ(m_output[0], "shop: " + m_folder.Path());
  for (const char* name : {" PATH ", " LANG ", " NORVANE_X "})
    EXPECT_NE(m_output[1].find(name), std::string::npos) << m_output[1];
  EXPECT_EQ(m_output[1].find("SECRET"), std::string::npos) << m_output[1];
  EXPECT_EQ(
      Texts(m_output.begin() + 2, m_output.end()),
      (Texts{"shop: a b", "shop: 0 1 2 3 ", "shop: 0000 0000 ", "shop: own group", "shop: 0 arguments"}));
  EXPECT_EQ(m_told, (Texts{"command " + m_folder / "show" + " started",
                           "command " + m_folder / "show" + " ended with exit code 0"}));
}

TEST_F(LauncherTest, TellsHowEachProgramEndedOrWhyItDidNotStart) {
  std::filesystem::create_directory(m_folder / "sub");
  Script("exit3", "exit 3");
  Script("sub/exit0", "exit 0");
  Script("killed", "kill -9 $$");
  tests::WriteFile(m_folder / "data", "#!/bin/sh\nexit 0\n");
  std::filesystem::permissions(tests::WriteFile(m_folder / "no program", "exit 0"),
                               std::filesystem::perms::owner_all);
  const Rows<std::string, std::string> rows = {
      {"exit3", "exit3 ended with exit code 3"},
      {"sub\\exit0", "sub/exit0 ended with exit code 0"},
      {m_folder / "exit3", "exit3 ended with exit code 3"},
      {"killed", "killed was ended by signal SIGKILL"},
      {"true", "true was not started: No such file or directory"},
      {"exit3 now", "exit3 now was not started: No such file or directory"},
      {"exit3;exit3", "exit3;exit3 was not started: No such file or directory"},
      {"data", "data was not started: Permission denied"},
      {"sub", "sub was not started: Permission denied"},
      {"no program", "no program was not started: Exec format error"},
      {std::string("exit3\0", 6), "exit3? was not started: NUL character in its path"},
  };
  for (const auto& [program, end] : rows) {
    SCOPED_TRACE(end);
    m_told.clear();
    Make();
    Launch(program);
    RunUntil([&] { return !m_told.empty() && m_told.back().ends_with(end); });
  }
}

TEST_F(LauncherTest, EndsTheWholeGroupOfAProgramThatRunsTooLong) {
  Script("willing", "(trap '' TERM; exec sleep 1000) & echo $!; wait");
  Script("obstinate", "trap '' TERM; sleep 1000 & echo $!; wait; wait; sleep 1000");
  Make();
  Launch("willing");
  Launch("obstinate", "other");
  RunUntil([&] { return m_output.size() == 2; });
  m_now += minutes(10) - milliseconds(1);
  m_loop.RunOnce(milliseconds(0));
  EXPECT_EQ(m_told.size(), 2u);
  m_now += milliseconds(1);
  RunUntil(Told("willing was ended by signal SIGTERM"));
  EXPECT_EQ(Count("timed out after 600 s, terminating it"), 2);
  EXPECT_EQ(Count("obstinate was ended"), 0);
  m_now += std::chrono::seconds(10);
  RunUntil(Told("obstinate was ended by signal SIGKILL"));
  for (const auto& line : m_output) {
    SCOPED_TRACE(line);
    const auto status = "/proc/" + line.substr(line.find(' ') + 1) + "/stat";
    RunUntil([&] {
      const auto text = tests::ReadFile(status);
      return text.empty() || text.find(") Z ") != std::string::npos;  // a zombie is init's
    });
  }
}

TEST_F(LauncherTest, RunsAFewAtATimeAndRefusesWhatIsTooMuch) {
  const auto gate = Gate();
  Script("wait", "read x < gate");
  Make(2, 4);
  for (int i = 0; i < 5; ++i)
    Launch("wait", "monitor " + std::to_string(i));
  EXPECT_EQ(m_told, Texts{"command wait was not started: queue full"});
  RunUntil([&] { return Count("wait started") == 2 && Count("wait waits: 2 commands are running, ") == 2; });
  EXPECT_NE(m_told.back().find("wait of monitor 0 for 0 s"), std::string::npos) << m_told.back();
  EXPECT_EQ(m_heldUp, 3);
  for (const std::ptrdiff_t ended : {1, 2, 3, 4}) {
    Open(gate);
    RunUntil([&] {
      return Count("exit code 0") == ended && Count("wait started") == std::min<std::ptrdiff_t>(2 + ended, 4);
    });
  }
}

TEST_F(LauncherTest, CommandsThatHangHoldUpTheirOwnMonitorsOnly) {
  constexpr int Hanging = 30;
  const auto gate = Gate();
  Script("hang", "read x < gate");
  Script("next", "exit 0");
  Make();
  for (int i = 0; i < Hanging; ++i)
    Launch("hang", "monitor " + std::to_string(i));
  Launch("next", "monitor 5");
  Launch("next", "another");
  RunUntil(Told("next ended with exit code 0"));
  EXPECT_EQ(Count("hang started"), Hanging);
  EXPECT_EQ(Count("next waits: " + m_folder / "hang" + " of this monitor has run for 0 s"), 1);
  EXPECT_EQ(Count("next started"), 1);
  for (int i = 0; i < Hanging; ++i)
    Open(gate);
  RunUntil([&] { return Count("next ended with exit code 0") == 2; });
  for (int i = 0; i < 22; ++i)
    Launch("next", "flooding");
  EXPECT_EQ(Count("queue full"), 2);
  EXPECT_EQ(m_heldUp, 0);
}

TEST_F(LauncherTest, WhileOthersWaitForAPlaceAProgramHasAMinute) {
  Script("hang", "echo; exec sleep 1000");
  Script("next", "exit 0");
  Make(2);
  Launch("hang", "first");
  RunUntil([&] { return m_output.size() == 1; });
  m_now += std::chrono::seconds(30);
  Launch("hang", "second");
  RunUntil([&] { return m_output.size() == 2; });
  m_now += std::chrono::seconds(29);
  Launch("next", "third");
  Launch("next", "third");
  RunUntil([&] { return Count("next waits: ") == 2; });
  EXPECT_EQ(Count("terminating"), 0);
  m_now += std::chrono::seconds(1);
  RunUntil([&] { return Count("next ended with exit code 0") == 2; });
  EXPECT_EQ(Count("hang has run for 60 s and others wait, terminating it"), 1) << "the second is not due";
  EXPECT_EQ(Count("hang was ended by signal SIGTERM"), 1);
}

TEST_F(LauncherTest, AProgramThatCannotBeKilledLosesItsPlaceAfterAWhile) {
  const auto gate = Gate();
  // It leaves the group that is killed.
  Script("stay",
         "exec perl -e '$| = 1; setpgrp(0, getpgrp(getppid)); print \"\\n\"; open(F, \"gate\"); <F>'\n");
  Script("next", "exit 0");
  Make(1);
  Launch("stay");
  RunUntil([&] { return m_output.size() == 1; });
  Launch("next");
  Launch("next", "other");
  m_now += minutes(1);
  RunUntil(Told("stay has run for 60 s and others wait, terminating it"));
  m_now += std::chrono::seconds(10);
  m_loop.RunOnce(milliseconds(0));
  m_now += minutes(1) - milliseconds(1);
  m_loop.RunOnce(milliseconds(0));
  EXPECT_EQ(Count("cannot be killed"), 0);
  EXPECT_EQ(Count("next started"), 0);
  m_now += milliseconds(1);
  RunUntil([&] { return Count("next ended with exit code 0") == 2; });
  EXPECT_EQ(Count(") cannot be killed, not waiting for it any longer"), 1);
  Open(gate);
  RunUntil(Told("stay ended with exit code 0"));
}

TEST_F(LauncherTest, KeepsOutputWithinLimits) {
  Script("talk", R"(head -c 2000 /dev/zero | tr '\0' x; echo; printf '\033[2J\377\n'
i=0; while [ $i -lt 2000 ]; do echo $i; i=$((i+1)); done; printf end)");
  Make();
  Launch("talk");
  RunUntil(Told("exit code 0"));
  // What it wrote last may still be on its way.
  RunUntil([&] { return m_output.size() == static_cast<std::size_t>(Launcher::MaxLines) + 1; });
  EXPECT_EQ(m_output[3], "shop: " + std::string(Launcher::MaxLineSize, 'x'));
  EXPECT_EQ(m_output[5], "shop: ?[2J?");
  EXPECT_EQ(m_output.back(), "shop: (output truncated)");
}

TEST_F(LauncherTest, HearsWhatAProgramLeftRunning) {
  const auto gate = Gate();
  Script("leave", "(read x < gate; printf late) &");
  Make();
  Launch("leave");
  RunUntil(Told("exit code 0"));
  Open(gate);
  RunUntil([&] { return m_output == Texts{"shop: late"}; });
}

TEST_F(LauncherTest, TellsHowFarEachRequestHasCome) {
  using State = LaunchProgress::State;
  Script("wait", "read x < gate");
  const auto gate = Gate();
  Make(1);
  std::uint64_t ticket = 0;
  for (const char* program : {"wait", "none", "wait", "wait"}) {
    m_launcher->Launch({7, "shop", program, {}, ++ticket});
    if (ticket == 2) Open(gate);
    if (ticket <= 3) RunUntil([&] { return !m_progress.empty() && m_progress.back().ticket == ticket; });
  }
  m_launcher->HandBack();
  Open(gate);
  RunUntil([&] { return m_progress.size() == 6; });
  std::map<std::uint64_t, std::vector<State>> states;
  for (const auto& progress : m_progress)
    states[progress.ticket].push_back(progress.state);
  EXPECT_EQ(states, (std::map<std::uint64_t, std::vector<State>>{{1, {State::Started, State::Over}},
                                                                 {2, {State::Over}},
                                                                 {3, {State::Started, State::Over}},
                                                                 {4, {State::HandedBack}}}));
}

TEST_F(LauncherTest, ItsEndEndsWhatRuns) {
  Script("long", "echo $$; exec sleep 1000");
  Make();
  Launch("long");
  RunUntil([&] { return m_output.size() == 1; });
  m_launcher.reset();
  int status = 0;
  ASSERT_GT(::waitpid(std::stoi(m_output[0].substr(6)), &status, 0), 0);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}

}  // namespace
}  // namespace norvane::engine
