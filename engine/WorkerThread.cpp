#include "engine/WorkerThread.h"

#include <sys/epoll.h>
#include <sys/resource.h>

#include <algorithm>
#include <cassert>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "platform/QuietThread.h"

namespace norvane::engine {

using std::chrono::milliseconds;

namespace {

/// How long a report waits for those of the checks that are still in flight: they are delivered in batches.
constexpr milliseconds MaxReportDelay{20};
/// While checks are in flight, so that the loop sees how long its thread was stopped.
constexpr milliseconds Heartbeat{100};
/// So that whoever reads the figures sees that the loop turns.
constexpr milliseconds MaxWait{1000};
/// Each check in flight costs memory too, a few ten kilobytes.
constexpr std::size_t MaxInFlight = 10000;
/// Descriptors for everything that isn't a check: logs, consoles, the data file, started programs.
constexpr std::size_t SpareDescriptors = 256;

/// The log has more.
constexpr const char* InternalError = "internal error";

CheckResult NotBegun() {
  return {Outcome::Failed, InternalError, std::chrono::system_clock::now()};
}

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

std::size_t MaxInFlightOf(const WorkerOptions& options) {
  const auto most = ChecksByDescriptors();
  return options.maxInFlight == 0 ? most : std::min(options.maxInFlight, most);
}

}  // namespace

WorkerThread::WorkerThread(const WorkerOptions& options, platform::EventFd& reportsWait)
    : m_reportsWait(reportsWait),
      m_options(options),
      m_loop(options.clock, options.log, options.delay),
      m_alarm(m_loop, m_loop, [] {}),
      m_resolver(m_loop, options.resolver),
      m_tls(options.caFile),
      m_pageQuota(options.maxPageBytes),
      m_calls(m_loop),
      m_context{m_loop, m_resolver, m_tls, m_options.caFile, m_options.charset, m_pageQuota, m_calls, m_pool},
      m_checks(m_context, options.types, MaxInFlightOf(options),
               [this](CheckEnded report) { Collect(std::move(report)); }),
      m_notifier(m_context, options.folder, [this](NotificationEnded report) { Collect(std::move(report)); }),
      m_launcher(m_loop, {options.folder}, [this](Report report) { Collect(std::move(report)); }),
      m_fetcher(m_context, [this](FetchEnded report) { Collect(std::move(report)); }) {
  if (!m_loop.Watch(m_commandsWait.Fd(), EPOLLIN, *this))
    throw std::runtime_error("the worker thread cannot watch its queue");
  PublishFigures();
  m_thread = platform::StartQuietThread([this] { Run(); });
}

WorkerThread::~WorkerThread() {
  m_isEnding = true;
  m_commandsWait.Signal();
  m_thread.join();
  m_loop.Adopt();
  m_pool.Stop();  // before the queue goes to which it posts
}

// On the service thread

void WorkerThread::Start(CheckTarget target, milliseconds firstAfter) {
  const auto start = ++m_lastStart;
  m_starts[target.id] = start;
  Enqueue([target = std::move(target), firstAfter, start](WorkerThread& self) {
    self.m_checks.Start(target, firstAfter, start);
  });
}

void WorkerThread::Update(CheckTarget target) {
  Enqueue([target = std::move(target)](WorkerThread& self) { self.m_checks.Update(target); });
}

void WorkerThread::Stop(MonitorId id) {
  m_starts.erase(id);
  Enqueue([id](WorkerThread& self) { self.m_checks.Stop(id); });
}

void WorkerThread::CheckOnce(CheckTarget target, std::uint64_t ticket) {
  CheckEnded failure{target.id, ticket, NotBegun()};
  Enqueue(
      [target = std::move(target), ticket](WorkerThread& self) { self.m_checks.CheckOnce(target, ticket); },
      std::move(failure));
}

void WorkerThread::NotifyOnce(NotifyRequest request, std::uint64_t ticket) {
  NotificationEnded failure{request.id, ticket, NotBegun()};
  Enqueue(
      [request = std::move(request), ticket](WorkerThread& self) { self.m_notifier.Notify(request, ticket); },
      std::move(failure));
}

void WorkerThread::Launch(LaunchRequest request) {
  Enqueue([request = std::move(request)](WorkerThread& self) { self.m_launcher.Launch(request); });
}

void WorkerThread::Fetch(FetchRequest request, std::uint64_t ticket) {
  Enqueue(
      [request = std::move(request), ticket](WorkerThread& self) { self.m_fetcher.Fetch(request, ticket); },
      FetchEnded{ticket, {console::engine::PageReply::End::Failed, InternalError, {}, {}}});
}

void WorkerThread::StopFetch(std::uint64_t ticket) {
  Enqueue([ticket](WorkerThread& self) { self.m_fetcher.Stop(ticket); });
}

std::vector<Report> WorkerThread::DequeueReports() {
  assert(m_service.IsInside());
  std::vector<Report> reports;
  {
    const std::lock_guard lock(m_mutex);
    reports.swap(m_reports);
  }
  std::erase_if(reports, [this](const Report& report) {
    const auto* check = std::get_if<CheckEnded>(&report);
    if (check == nullptr || check->ticket != 0) return false;
    const auto current = m_starts.find(check->id);
    return current == m_starts.end() || current->second != check->start;  // stopped meanwhile
  });
  return reports;
}

CheckFigures WorkerThread::Figures() const {
  const std::lock_guard lock(m_mutex);
  return m_figures;
}

void WorkerThread::Enqueue(std::function<void(WorkerThread&)> run, std::optional<Report> failure) {
  assert(m_service.IsInside());
  {
    const std::lock_guard lock(m_mutex);
    m_commands.push_back({std::move(run), std::move(failure)});
    if (m_commands.size() > 1) return;  // the signal of the first one is still pending
  }
  m_commandsWait.Signal();
}

// On the worker thread

void WorkerThread::Run() {
  m_loop.Adopt();
  while (!m_isEnding)
    m_loop.Serve(m_loop, [this] { RunOnce(); });
}

void WorkerThread::RunOnce() {
  SetAlarm();
  m_loop.RunOnce(m_checks.HasInFlight() ? Heartbeat : MaxWait);
  m_checks.Turn();
  PublishFigures();  // before the reports, so that whoever gets one finds it counted
  Deliver();
}

void WorkerThread::Ready(int, std::uint32_t) {
  m_commandsWait.Clear();
  std::vector<Command> commands;
  {
    const std::lock_guard lock(m_mutex);
    commands.swap(m_commands);
  }
  for (auto& [run, failure] : commands) {
    m_loop.Serve(m_loop, [&] {
      try {
        run(*this);
      } catch (...) {
        if (failure) Collect(std::move(*failure));
        throw;
      }
    });
  }
}

void WorkerThread::Collect(Report report) {
  if (m_collected.empty()) m_firstCollected = m_loop.Now();
  m_collected.push_back(std::move(report));
}

void WorkerThread::Deliver() {
  if (m_collected.empty()) return;
  if (m_checks.HasInFlight() && m_loop.Now() < m_firstCollected + MaxReportDelay) return;
  {
    const std::lock_guard lock(m_mutex);
    m_reports.insert(m_reports.end(), std::make_move_iterator(m_collected.begin()),
                     std::make_move_iterator(m_collected.end()));
  }
  m_collected.clear();
  m_reportsWait.Signal();
}

void WorkerThread::PublishFigures() {
  const auto figures = m_checks.Figures();
  const std::lock_guard lock(m_mutex);
  m_figures = figures;
}

void WorkerThread::SetAlarm() {
  auto next = m_checks.NextTurn().value_or(Moment::max());
  if (!m_collected.empty()) next = std::min(next, m_firstCollected + MaxReportDelay);
  m_alarm.Set(next);
}

}  // namespace norvane::engine
