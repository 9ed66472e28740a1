#include "engine/checks/Checker.h"

#include <signal.h>
#include <sys/epoll.h>

#include <iterator>
#include <stdexcept>
#include <utility>

namespace norvane::engine {

namespace {

/// The thread begins with all signals blocked: those of the process are the service thread's, and a peer that
/// is gone shall not raise SIGPIPE in a library.
std::thread StartWithoutSignals(std::function<void()> run) {
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread(std::move(run));
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace

Checker::Checker(const CheckerOptions& options, platform::EventFd& reportsWait)
    : m_reportsWait(reportsWait),
      m_loop(options, [this](std::vector<StampedReport> reports) { Deliver(std::move(reports)); }) {
  if (!m_loop.Events().Watch(m_commandsWait.Fd(), EPOLLIN, *this))
    throw std::runtime_error("the checker cannot watch its queue");
  m_thread = StartWithoutSignals([this] { Run(); });
}

Checker::~Checker() {
  Send([this](CheckLoop&) { m_isEnding = true; });
  m_thread.join();
}

void Checker::Start(CheckTarget target, std::chrono::milliseconds firstAfter) {
  const auto start = ++m_lastStart;
  m_starts[target.id] = start;
  Send([target = std::move(target), firstAfter, start](CheckLoop& loop) {
    loop.Start(target, firstAfter, start);
  });
}

void Checker::Update(CheckTarget target) {
  Send([target = std::move(target)](CheckLoop& loop) { loop.Update(target); });
}

void Checker::Stop(MonitorId id) {
  m_starts.erase(id);
  Send([id](CheckLoop& loop) { loop.Stop(id); });
}

void Checker::CheckOnce(CheckTarget target, std::uint64_t ticket) {
  Send([target = std::move(target), ticket](CheckLoop& loop) { loop.CheckOnce(target, ticket); });
}

void Checker::NotifyOnce(NotifyRequest request, std::uint64_t ticket) {
  Send([request = std::move(request), ticket](CheckLoop& loop) { loop.NotifyOnce(request, ticket); });
}

void Checker::Launch(LaunchRequest request) {
  Send([request = std::move(request)](CheckLoop& loop) { loop.Launch(request); });
}

std::vector<CheckReport> Checker::TakeReports() {
  std::vector<StampedReport> stamped;
  {
    const std::lock_guard lock(m_mutex);
    stamped.swap(m_reports);
  }
  std::vector<CheckReport> reports;
  reports.reserve(stamped.size());
  for (auto& [report, start] : stamped) {
    const auto current = m_starts.find(report.id);
    const bool isWanted = report.kind != CheckReport::Kind::Check || report.ticket != 0 ||
                          (current != m_starts.end() && current->second == start);
    if (isWanted) reports.push_back(std::move(report));
  }
  return reports;
}

void Checker::Send(Command command) {
  {
    const std::lock_guard lock(m_mutex);
    m_commands.push_back(std::move(command));
    if (m_commands.size() > 1) return;  // the signal of the first one is still pending
  }
  m_commandsWait.Signal();
}

void Checker::Run() {
  while (!m_isEnding)
    m_loop.RunOnce();
}

void Checker::Ready(int, std::uint32_t) {
  m_commandsWait.Clear();
  std::vector<Command> commands;
  {
    const std::lock_guard lock(m_mutex);
    commands.swap(m_commands);
  }
  for (const auto& command : commands)
    command(m_loop);
}

void Checker::Deliver(std::vector<StampedReport> reports) {
  {
    const std::lock_guard lock(m_mutex);
    m_reports.insert(m_reports.end(), std::make_move_iterator(reports.begin()),
                     std::make_move_iterator(reports.end()));
  }
  m_reportsWait.Signal();
}

}  // namespace norvane::engine
