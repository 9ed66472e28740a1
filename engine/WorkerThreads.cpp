#include "engine/WorkerThreads.h"

#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <cassert>
#include <new>
#include <utility>

#include "engine/model/CheckTimes.h"
#include "platform/MemoryLimit.h"

namespace norvane::engine {

using std::chrono::milliseconds;

namespace {

/// Each check in flight costs memory too, a few ten kilobytes.
constexpr std::size_t MaxInFlight = 10000;
/// Descriptors for everything that isn't a check: logs, consoles, the data file, started programs.
constexpr std::size_t SpareDescriptors = 256;

/// Raises the limit on descriptors as far as the machine lets us, and tells how many checks it allows.
std::size_t ChecksByDescriptors() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 1;
  const auto allowed = std::exchange(limit.rlim_cur, limit.rlim_max);
  const auto got = ::setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : allowed;
  // A check may hold two, when it tries two addresses of a host side by side.
  const auto checks = got > 2 * SpareDescriptors ? (got - SpareDescriptors) / 2 : got / 4;
  return std::clamp<std::size_t>(checks, 1, MaxInFlight);
}

/// With TLS a check may take this much.
std::size_t ChecksByMemory() {
  constexpr std::size_t Each = 128 << 10;
  return platform::MemoryLimit() / 2 / Each;
}

std::size_t MaxInFlightOf(const WorkerOptions& options, std::size_t threads) {
  const auto most = std::max<std::size_t>(std::min(ChecksByDescriptors(), ChecksByMemory()) / threads, 1);
  return options.maxInFlight == 0 ? most : std::min(options.maxInFlight, most);
}

std::size_t ThreadsOf(const WorkerOptions& options) {
  if (options.threads != 0) return options.threads;
  cpu_set_t usable;
  const int count = ::sched_getaffinity(0, sizeof usable, &usable) == 0 ? CPU_COUNT(&usable) : 1;
  return std::clamp<std::size_t>(static_cast<std::size_t>(count), 1, WorkerOptions::MaxDefaultThreads);
}

/// Checks a second.
double LoadOf(const CheckTarget& target) {
  return 1 / std::chrono::duration<double>(CheckTimes::Of(*target.attributes).interval).count();
}

}  // namespace

WorkerThreads::WorkerThreads(const WorkerOptions& options, platform::EventFd& reportsWait)
    : m_shared(options, reportsWait),
      m_actions(m_shared),
      m_balance(ThreadsOf(options), options.enoughForThread) {
  const auto threads = ThreadsOf(options);
  const auto maxInFlight = MaxInFlightOf(options, threads);
  for (std::size_t i = 0; i < threads; ++i)
    m_checks.push_back(std::make_unique<CheckThread>(m_shared, maxInFlight));
}

WorkerThreads::~WorkerThreads() {
  m_actions.End();
  for (auto& checks : m_checks)
    checks->End();
  m_shared.pool.Stop();  // before the queues go to which it posts
}

void WorkerThreads::Start(CheckTarget target, milliseconds firstAfter) {
  assert(m_service.IsInside());
  const auto id = target.id;
  Stop(id);
  const auto thread = m_balance.Add(id, LoadOf(target));
  try {
    m_started.emplace(id, Started{std::move(target), ++m_lastStart, thread});
  } catch (...) {
    m_balance.Remove(id);
    throw;
  }
  StartOn(m_started.at(id), {m_lastStart, m_shared.options.clock() + firstAfter});
}

void WorkerThreads::StartOn(const Started& monitor, CheckStart start) noexcept try {
  m_checks[monitor.thread]->Post(
      [target = monitor.target, start](CheckLoop& checks) { checks.Start(target, start); });
} catch (const std::bad_alloc&) {
  m_hasLostStart = true;
}

/// A start that its loop has made already is an update there, so all may be asked for again. Monitors on
/// their way to another thread are started there anyway.
void WorkerThreads::OnSecond() {
  assert(m_service.IsInside());
  bool isLost = std::exchange(m_hasLostStart, false);
  for (auto& checks : m_checks)
    isLost = checks->HasLostCall() || isLost;
  if (!isLost) return;
  const auto now = m_shared.options.clock();
  for (const auto& [id, monitor] : m_started)
    if (monitor.next == monitor.thread) StartOn(monitor, {monitor.start, now});
}

void WorkerThreads::Update(CheckTarget target) {
  const auto monitor = m_started.find(target.id);
  if (monitor == m_started.end()) return Start(std::move(target), milliseconds(0));
  monitor->second.target = target;
  m_balance.SetLoad(target.id, LoadOf(target));
  m_checks[monitor->second.thread]->Post(
      [target = std::move(target)](CheckLoop& checks) { checks.Update(target); });
  Even();
}

void WorkerThreads::Stop(MonitorId id) {
  const auto monitor = m_started.find(id);
  if (monitor == m_started.end()) return;
  m_checks[monitor->second.thread]->Post([id](CheckLoop& checks) { checks.Stop(id); });
  m_started.erase(monitor);
  m_balance.Remove(id);
  Even();
}

void WorkerThreads::CheckOnce(CheckTarget target, std::uint64_t ticket) {
  const auto monitor = m_started.find(target.id);
  const auto thread = monitor == m_started.end() ? target.id % m_checks.size() : monitor->second.thread;
  CheckEnded failure{target.id, ticket, InternalFailure()};
  m_checks[thread]->Post(
      [target = std::move(target), ticket](CheckLoop& checks) { checks.CheckOnce(target, ticket); },
      std::move(failure));
}

/// Monitors move between two of their checks: their thread releases them, and only then do others get them.
void WorkerThreads::Even() {
  while (const auto move = m_balance.Even()) {
    auto& monitor = m_started.at(move->id);
    const bool isMoving = monitor.next != monitor.thread;
    if (!isMoving) m_checks[monitor.thread]->Post([id = move->id](CheckLoop& checks) { checks.Release(id); });
    monitor.next = move->to;
  }
}

void WorkerThreads::Receive(const ReleasedMonitor& released) {
  const auto found = m_started.find(released.id);
  if (found == m_started.end() || found->second.start != released.start.number) return;  // stopped meanwhile
  found->second.thread = found->second.next;
  StartOn(found->second, released.start);
}

void WorkerThreads::SetMailServers(const MailServerTable& servers) {
  m_actions.SetMailServers(servers);
  for (auto& checks : m_checks)
    checks->SetMailServers(servers);
}

CheckFigures WorkerThreads::Figures() const {
  auto figures = m_actions.Figures();
  for (const auto& checks : m_checks)
    figures += checks->Figures();
  return figures;
}

void WorkerThreads::NotifyOnce(NotifyRequest request, std::uint64_t ticket) {
  m_actions.NotifyOnce(std::move(request), ticket);
}

void WorkerThreads::Launch(LaunchRequest request) {
  m_actions.Launch(std::move(request));
}

void WorkerThreads::HandBackLaunches() {
  m_actions.HandBackLaunches();
}

void WorkerThreads::Fetch(FetchRequest request, std::uint64_t ticket) {
  m_actions.Fetch(std::move(request), ticket);
}

void WorkerThreads::StopFetch(std::uint64_t ticket) {
  m_actions.StopFetch(ticket);
}

std::vector<Report> WorkerThreads::DequeueReports() {
  assert(m_service.IsInside());
  auto contents = m_shared.reports.Dequeue();
  for (const auto& released : contents.released)
    Receive(released);
  std::erase_if(contents.reports, [this](const Report& report) {
    const auto* check = std::get_if<CheckEnded>(&report);
    if (check == nullptr || check->ticket != 0) return false;
    const auto current = m_started.find(check->id);
    return current == m_started.end() || current->second.start != check->start;  // stopped meanwhile
  });
  return std::move(contents.reports);
}

}  // namespace norvane::engine
