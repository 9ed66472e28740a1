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
#include <iterator>
#include <set>
#include <stdexcept>
#include <string_view>
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

std::string SecondsText(Moment::duration time) {
  return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(time).count()) + " s";
}

}  // namespace

template <class Event>
void Launcher::ReportAs(MonitorId id, const std::string& text) {
  m_deliver(Event{id, std::chrono::system_clock::now(), PlainText(text, MaxTextSize)});
}

void Launcher::ReportHeldUp(MonitorId id, const std::string& text) {
  m_deliver(CommandEvent{id, std::chrono::system_clock::now(), PlainText(text, MaxTextSize), true});
}

void Launcher::ReportProgress(const LaunchRequest& request, LaunchProgress::State state) {
  m_deliver(LaunchProgress{request.id, request.ticket, state});
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
  Program(Launcher& owner, std::uint64_t number, const LaunchRequest& request, std::string path,
          Spawned spawned)
      : m_owner(owner),
        m_number(number),
        m_id(request.id),
        m_ticket(request.ticket),
        m_monitor(request.name),
        m_path(std::move(path)),
        m_pid(spawned.pid),
        m_pidfd(std::move(spawned.pidfd)),
        m_timer(owner.m_loop, *this, [this] { TimeOut(); }) {
    m_timer.Set(m_started + m_owner.m_options.limit);
    if (m_owner.m_loop.Watch(m_pidfd.Get(), EPOLLIN, *this)) return;
    Signal(SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    throw std::runtime_error("cannot watch the process");
  }
  ~Program() override {
    m_owner.m_loop.Forget(m_pidfd.Get());
    if (!m_hasEnded) Signal(SIGTERM);
  }

  [[nodiscard]] const std::string& MonitorName() const { return m_monitor; }
  [[nodiscard]] const std::string& Path() const { return m_path; }
  [[nodiscard]] Moment Started() const { return m_started; }
  [[nodiscard]] std::string Age() const { return SecondsText(m_owner.m_loop.Now() - m_started); }
  [[nodiscard]] bool IsOverdue() const { return m_isOverdue; }

  /// Ends it, `why` goes to the log.
  void Terminate(const std::string& why) {
    m_isOverdue = true;
    m_owner.ReportAs<CommandEvent>(m_id, "command " + m_path + " " + why + ", terminating it");
    m_timer.Set(m_owner.m_loop.Now() + m_owner.m_options.grace);
    Signal(SIGTERM);
  }

 private:
  /// To the whole group. The number is ours until the program is reaped.
  void Signal(int signal) const { ::kill(-m_pid, signal); }

  void TimeOut() {
    if (m_isKilled) return OutliveKill();
    if (m_isOverdue) return Kill();
    const auto limit = formats::FormatNumber(static_cast<double>(m_owner.m_options.limit.count()) / 1000);
    Terminate("timed out after " + limit + " s");
  }
  void Kill() {
    m_isKilled = true;
    Signal(SIGKILL);
    m_timer.Set(m_owner.m_loop.Now() + m_owner.m_options.killGrace);
  }
  void OutliveKill() {
    if (m_owner.FreePlace(m_number))
      m_owner.ReportHeldUp(m_id, "command " + m_path + " (process " + std::to_string(m_pid) +
                                     ") cannot be killed, not waiting for it any longer");
    else
      m_timer.Set(m_owner.m_loop.Now() + m_owner.m_options.killGrace);
  }
  void Ready(int, std::uint32_t) override {
    // What it started and left behind shares its time.
    if (m_isOverdue) Signal(SIGKILL);
    siginfo_t info{};
    if (::waitid(P_PIDFD, static_cast<id_t>(m_pidfd.Get()), &info, WEXITED) != 0 && errno == EINTR) return;
    m_hasEnded = true;
    m_owner.ReportAs<CommandEvent>(m_id, "command " + m_path + " " + EndText(info));
    m_owner.m_deliver(LaunchProgress{m_id, m_ticket});
    m_owner.Ended(m_number);  // destroys this object
  }
  EventOwner& Owner() override { return *this; }
  void Broke(const std::string& why) override {
    m_owner.m_loop.Log("command " + m_path + ": " + why);
    m_owner.m_deliver(LaunchProgress{m_id, m_ticket});
    m_owner.Ended(m_number);  // destroys this object
  }

  Launcher& m_owner;
  std::uint64_t m_number;
  MonitorId m_id;
  std::uint64_t m_ticket;
  std::string m_monitor;
  std::string m_path;
  Moment m_started = m_owner.m_loop.Now();
  pid_t m_pid;
  platform::FileDescriptor m_pidfd;
  EventLoop::Timer m_timer;
  bool m_isOverdue = false;
  bool m_isKilled = false;
  bool m_hasEnded = false;
};

Launcher::Launcher(EventLoop& loop, Options options, Deliver deliver)
    : m_loop(loop),
      m_options(std::move(options)),
      m_deliver(std::move(deliver)),
      m_next(loop, loop, [this] { StartNext(); }) {}

Launcher::~Launcher() = default;

void Launcher::Launch(LaunchRequest request) {
  assert(m_loop.IsInside());
  const auto ofOne =
      std::ranges::count_if(m_waiting, [&](const auto& each) { return each.request.name == request.name; });
  if (std::ssize(m_waiting) >= m_options.maxWaiting || ofOne >= m_options.maxWaitingOfOne) {
    const auto text = "command " + request.program + " was not started: queue full";
    ReportProgress(request, LaunchProgress::State::Over);
    return std::ssize(m_waiting) >= m_options.maxWaiting ? ReportHeldUp(request.id, text)
                                                         : ReportAs<CommandEvent>(request.id, text);
  }
  m_waiting.push_back({std::move(request)});
  m_next.Set(m_loop.Now());
}

void Launcher::HandBack() {
  for (const auto& waiting : std::exchange(m_waiting, {}))
    ReportProgress(waiting.request, LaunchProgress::State::HandedBack);
}

/// One in each turn of the loop: starting it takes longer than other events.
void Launcher::StartNext() {
  const auto next =
      HasPlace()
          ? std::ranges::find_if(
                m_waiting, [this](const Waiting& each) { return RunningOf(each.request.name) == nullptr; })
          : m_waiting.end();
  if (next == m_waiting.end()) {
    LogWaits();
    return MakePlace();
  }
  const auto request = std::move(next->request);
  m_waiting.erase(next);
  if (!m_waiting.empty()) m_next.Set(m_loop.Now());
  Start(request);
}

const Launcher::Program* Launcher::RunningOf(const std::string& monitor) const {
  const auto found = std::ranges::find_if(
      m_running, [&](const auto& running) { return running.second->MonitorName() == monitor; });
  return found == m_running.end() ? nullptr : found->second.get();
}

void Launcher::LogWaits() {
  for (auto& [request, isLogged] : m_waiting) {
    if (std::exchange(isLogged, true)) continue;
    const auto* own = RunningOf(request.name);
    const auto& other = *m_running.begin()->second;
    const auto waits = "command " + request.program + " waits: ";
    if (own != nullptr)
      ReportAs<CommandEvent>(request.id, waits + own->Path() + " of this monitor has run for " + own->Age());
    else
      ReportHeldUp(request.id, waits + std::to_string(m_running.size()) + " commands are running, " +
                                   other.Path() + " of " + other.MonitorName() + " for " + other.Age());
  }
}

/// Ends programs that had their time, for each monitor that waits for a place the one that began first.
void Launcher::MakePlace() {
  std::set<std::string_view> monitors;
  for (const auto& each : m_waiting)
    if (RunningOf(each.request.name) == nullptr) monitors.insert(each.request.name);
  auto wanted = static_cast<std::ptrdiff_t>(monitors.size()) -
                std::ranges::count_if(m_running, [](const auto& each) { return each.second->IsOverdue(); });
  for (const auto& [number, program] : m_running) {
    if (wanted <= 0) return;
    if (program->IsOverdue()) continue;
    const auto due = program->Started() + m_options.crowdedLimit;
    if (due > m_loop.Now()) return m_next.Set(due);
    program->Terminate("has run for " + program->Age() + " and others wait");
    --wanted;
  }
}

void Launcher::Start(const LaunchRequest& request) {
  const auto number = ++m_lastNumber;
  try {
    const auto path = PathOf(request.program, m_options.folder);
    auto spawned = Spawn(path, m_options.folder, Environment(request.environment));
    auto output = std::move(spawned.output);
    m_running[number] = std::make_unique<Program>(*this, number, request, path, std::move(spawned));
    ReportAs<CommandEvent>(request.id, "command " + path + " started");
    ReportProgress(request, LaunchProgress::State::Started);
    m_outputs[number] = std::make_unique<Output>(*this, number, request, std::move(output));
  } catch (const std::exception& error) {
    ReportAs<CommandEvent>(request.id, "command " + request.program + " was not started: " + error.what());
    ReportProgress(request, LaunchProgress::State::Over);
  }
}

/// Of a program that goes on; false if too many do so already.
bool Launcher::FreePlace(std::uint64_t number) {
  if (m_withoutPlace.size() >= m_options.maxWithoutPlace) return false;
  m_withoutPlace.insert(m_running.extract(number));
  m_next.Set(m_loop.Now());
  return true;
}

void Launcher::Ended(std::uint64_t number) {
  m_running.erase(number);
  m_withoutPlace.erase(number);
  DropOldOutputs();
  m_next.Set(m_loop.Now());
}

void Launcher::DropOldOutputs() {
  const auto isOld = [&](const auto& output) { return !m_running.contains(output.first); };
  auto old = static_cast<std::size_t>(std::count_if(m_outputs.begin(), m_outputs.end(), isOld));
  for (; old > MaxOldOutputs; --old)
    m_outputs.erase(std::find_if(m_outputs.begin(), m_outputs.end(), isOld));
}

}  // namespace norvane::engine
