#include "engine/commands/Launcher.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "engine/commands/Spawn.h"
#include "engine/net/Reason.h"
#include "formats/Number.h"
#include "platform/Paths.h"

namespace norvane::engine {

using std::chrono::milliseconds;

namespace {

/// Pipes that are still open though their programs have ended: something that they left running writes there.
constexpr std::size_t MaxOldOutputs = 64;
constexpr std::size_t MaxTextSize = 2000;

std::string PathOf(const std::string& program, const std::string& folder) {
  auto path = platform::NativePath(program);
  if (path.find('\0') != std::string::npos) throw std::runtime_error("NUL character in its path");
  return path.starts_with('/') ? path : folder + "/" + path;
}

std::vector<std::string> Environment(std::vector<std::string> environment) {
  environment.emplace_back("PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin");
  const char* language = std::getenv("LANG");
  environment.push_back(std::string("LANG=") + (language != nullptr ? language : "C.UTF-8"));
  for (const char* name : {"HOME", "USER", "LOGNAME", "TZ"}) {
    if (const char* value = std::getenv(name)) environment.push_back(std::string(name) + "=" + value);
  }
  return environment;
}

std::string EndText(const siginfo_t& info) {
  if (info.si_code == CLD_EXITED) return "ended with exit code " + std::to_string(info.si_status);
  const char* name = ::sigabbrev_np(info.si_status);
  return "was ended by signal " +
         (name != nullptr ? "SIG" + std::string(name) : std::to_string(info.si_status));
}

}  // namespace

template <class Event>
void Launcher::ReportAs(MonitorId id, const std::string& text) {
  m_deliver(Event{id, std::chrono::system_clock::now(), PlainText(text, MaxTextSize)});
}

/// Reads what a program writes, by lines.
class Launcher::Output final : private Watcher, private EventOwner {
 public:
  Output(Launcher& owner, std::uint64_t number, const LaunchRequest& request, platform::FileDescriptor pipe)
      : m_owner(owner), m_number(number), m_id(request.id), m_name(request.name), m_pipe(std::move(pipe)) {
    if (!m_owner.m_loop.Watch(m_pipe.Get(), EPOLLIN, *this))
      m_owner.ReportAs<CommandEvent>(m_id, "cannot read the output of a command");
  }
  ~Output() override { m_owner.m_loop.Forget(m_pipe.Get()); }

 private:
  void Ready(int, std::uint32_t) override {
    std::array<char, 4096> bytes;
    const auto size = ::read(m_pipe.Get(), bytes.data(), bytes.size());
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (size > 0) return Receive({bytes.data(), static_cast<std::size_t>(size)});
    if (!m_line.empty()) EndLine();
    End();
  }
  EventOwner& Owner() override { return *this; }
  void Broke(const std::string& why) override {
    m_owner.m_loop.Log("output of a command of " + m_name + ": " + why);
    End();
  }
  void End() { m_owner.m_outputs.erase(m_owner.m_outputs.find(m_number)); }  // this object
  void Receive(std::string_view text) {
    for (const char c : text) {
      if (c != '\n') m_line += c;
      if (c == '\n' || m_line.size() == MaxLineSize) EndLine();
    }
  }
  void EndLine() {
    if (++m_lines <= MaxLines)
      m_owner.ReportAs<CommandOutput>(m_id, m_name + ": " + m_line);
    else if (m_lines == MaxLines + 1)
      m_owner.ReportAs<CommandOutput>(m_id, m_name + ": (output truncated)");
    m_line.clear();
  }

  Launcher& m_owner;
  std::uint64_t m_number;
  MonitorId m_id;
  std::string m_name;
  platform::FileDescriptor m_pipe;
  std::string m_line;
  std::int64_t m_lines = 0;
};

/// One program that runs.
class Launcher::Program final : private Watcher, private EventOwner {
 public:
  Program(Launcher& owner, std::uint64_t number, MonitorId id, std::string path, pid_t pid,
          platform::FileDescriptor pidfd)
      : m_owner(owner),
        m_number(number),
        m_id(id),
        m_path(std::move(path)),
        m_pid(pid),
        m_pidfd(std::move(pidfd)),
        m_timer(owner.m_loop, *this, [this] { TimeOut(); }) {
    m_timer.Set(m_owner.m_loop.Now() + m_owner.m_options.limit);
    if (m_owner.m_loop.Watch(m_pidfd.Get(), EPOLLIN, *this)) return;
    Signal(SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    throw std::runtime_error("cannot watch the process");
  }
  ~Program() override {
    m_owner.m_loop.Forget(m_pidfd.Get());
    if (!m_hasEnded) Signal(SIGTERM);
  }

 private:
  /// To the whole group. The number is ours until the program is reaped.
  void Signal(int signal) const { ::kill(-m_pid, signal); }

  void TimeOut() {
    if (!std::exchange(m_isOverdue, true)) {
      const auto limit = formats::FormatNumber(static_cast<double>(m_owner.m_options.limit.count()) / 1000);
      m_owner.ReportAs<CommandEvent>(
          m_id, "command " + m_path + " timed out after " + limit + " s, terminating it");
      m_timer.Set(m_owner.m_loop.Now() + m_owner.m_options.grace);
      return Signal(SIGTERM);
    }
    Signal(SIGKILL);
  }
  void Ready(int, std::uint32_t) override {
    // What it started and left behind shares its time.
    if (m_isOverdue) Signal(SIGKILL);
    siginfo_t info{};
    if (::waitid(P_PIDFD, static_cast<id_t>(m_pidfd.Get()), &info, WEXITED) != 0 && errno == EINTR) return;
    m_hasEnded = true;
    m_owner.ReportAs<CommandEvent>(m_id, "command " + m_path + " " + EndText(info));
    m_owner.Ended(m_number);  // destroys this object
  }
  EventOwner& Owner() override { return *this; }
  void Broke(const std::string& why) override {
    m_owner.m_loop.Log("command " + m_path + ": " + why);
    m_owner.Ended(m_number);  // destroys this object
  }

  Launcher& m_owner;
  std::uint64_t m_number;
  MonitorId m_id;
  std::string m_path;
  pid_t m_pid;
  platform::FileDescriptor m_pidfd;
  EventLoop::Timer m_timer;
  bool m_isOverdue = false;
  bool m_hasEnded = false;
};

Launcher::Launcher(EventLoop& loop, Options options, Deliver deliver)
    : m_loop(loop), m_options(std::move(options)), m_deliver(std::move(deliver)) {}

Launcher::~Launcher() = default;

void Launcher::Launch(LaunchRequest request) {
  assert(m_loop.IsInside());
  if (m_waiting.size() >= m_options.maxWaiting) {
    ReportAs<CommandEvent>(request.id, "command " + request.program + " was not started: queue full");
    return;
  }
  m_waiting.push_back(std::move(request));
  StartWaiting();
}

void Launcher::StartWaiting() {
  while (!m_waiting.empty() && m_running.size() < m_options.maxRunning) {
    auto request = std::move(m_waiting.front());
    m_waiting.pop_front();
    Start(std::move(request));
  }
}

void Launcher::Start(LaunchRequest request) {
  const auto number = ++m_lastNumber;
  try {
    const auto path = PathOf(request.program, m_options.folder);
    auto spawned = Spawn(path, m_options.folder, Environment(std::move(request.environment)));
    m_running[number] =
        std::make_unique<Program>(*this, number, request.id, path, spawned.pid, std::move(spawned.pidfd));
    ReportAs<CommandEvent>(request.id, "command " + path + " started");
    m_outputs[number] = std::make_unique<Output>(*this, number, request, std::move(spawned.output));
  } catch (const std::exception& error) {
    ReportAs<CommandEvent>(request.id, "command " + request.program + " was not started: " + error.what());
  }
}

void Launcher::Ended(std::uint64_t number) {
  m_running.erase(number);
  DropOldOutputs();
  StartWaiting();
}

void Launcher::DropOldOutputs() {
  const auto isOld = [&](const auto& output) { return !m_running.contains(output.first); };
  auto old = static_cast<std::size_t>(std::count_if(m_outputs.begin(), m_outputs.end(), isOld));
  for (; old > MaxOldOutputs; --old)
    m_outputs.erase(std::find_if(m_outputs.begin(), m_outputs.end(), isOld));
}

}  // namespace norvane::engine
