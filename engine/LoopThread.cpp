#include "engine/LoopThread.h"

#include <algorithm>
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
}  // namespace

LoopThread::LoopThread(LoopsShared& shared)
    : m_shared(shared),
      m_loop(shared.options.clock, shared.options.log, shared.options.delay),
      m_alarm(m_loop, m_loop, [] {}),
      m_resolver(m_loop, shared.options.resolver),
      m_tls(shared.options.caFile),
      m_mailServers(shared.options.mailServers),
      m_calls(m_loop),
      m_context{m_loop,           m_resolver, m_tls,       shared.options.charset,
                shared.pageQuota, m_calls,    shared.pool, m_mailServers} {
  m_alarm.Set(m_loop.Now());  // from now on `Set` allocates nothing
}

void LoopThread::Begin() {
  PublishFigures();
  std::latch hasBegun{1};
  m_thread = platform::StartQuietThread([&] { Run(hasBegun); });
  hasBegun.wait();
}

void LoopThread::End() {
  if (!m_thread.joinable()) return;
  m_isEnding = true;
  LoopQueue::Calls none;
  m_calls.Post(none);  // wakes the loop
  m_thread.join();
  m_loop.Adopt();
}

CheckFigures LoopThread::Figures() const {
  const std::lock_guard lock(m_mutex);
  return m_figures;
}

void LoopThread::Post(std::function<void()> run, std::optional<Report> failure) {
  m_calls.Post([this, run = std::move(run), failure = std::move(failure)] {
    try {
      run();
    } catch (...) {
      if (!failure) m_hasLostCall = true;
      if (failure) Collect(*failure);
      throw;
    }
  });
}

void LoopThread::Run(std::latch& hasBegun) {
  m_loop.Adopt();
  static_cast<void>(m_loop.OwnDelay());  // opens what it reads, while descriptors are to be had
  hasBegun.count_down();
  while (!m_isEnding)
    m_loop.Serve(m_loop, [this] { RunOnce(); });
}

void LoopThread::RunOnce() {
  SetAlarm();
  m_loop.RunOnce(IsBusy() ? Heartbeat : MaxWait);
  Turn();
  PublishFigures();  // before the reports, so that whoever gets one finds it counted
  Deliver();
}

void LoopThread::SetAlarm() {
  auto next = NextTurn().value_or(Moment::max());
  if (!m_collected.reports.empty()) next = std::min(next, m_firstCollected + MaxReportDelay);
  m_alarm.Set(next);
}

void LoopThread::Collect(Report report) {
  if (m_collected.reports.empty()) m_firstCollected = m_loop.Now();
  m_collected.reports.push_back(std::move(report));
}

void LoopThread::Collect(const ReleasedMonitor& monitor) {
  m_collected.released.push_back(monitor);
}

void LoopThread::Deliver() {
  if (m_collected.reports.empty() && m_collected.released.empty()) return;
  const bool mayWait = m_collected.released.empty() && IsBusy();
  if (mayWait && m_loop.Now() < m_firstCollected + MaxReportDelay) return;
  m_shared.reports.Append(m_collected);
}

void LoopThread::PublishFigures() {
  auto figures = CountFigures();
  figures.longestTurn = m_loop.LongestTurn();
  figures.lastTurn = m_loop.Now();
  figures.hostsUnreadable = m_shared.hosts.IsUnreadable(m_loop.Now());
  figures.nameServersUnreadable = m_resolver.AreServersUnreadable();
  figures.authoritiesUnreadable = m_tls.AreAuthoritiesUnreadable();
  const std::lock_guard lock(m_mutex);
  m_figures = figures;
}

}  // namespace norvane::engine
