#include "engine/checks/CheckLoop.h"

#include <sys/resource.h>

#include <algorithm>
#include <utility>

#include "console/engine/MonitorKeys.h"
#include "engine/model/CheckTimes.h"
#include "engine/model/NumberAttribute.h"
#include "engine/model/OutageRules.h"
#include "engine/net/Reason.h"

namespace norvane::engine {

using std::chrono::milliseconds;

namespace {

/// How long a report waits for those of the checks that are still in flight: they go over together.
constexpr milliseconds LongestForCompany{20};
constexpr milliseconds LongestWait{60000};
/// Each check in flight costs memory too, a few ten kilobytes.
constexpr std::size_t MostInFlight = 10000;
/// Begun in one round of the loop. When checks are due faster than they can be made, those in flight then
/// come to their end before more begin, and what they hold stays small and warm.
constexpr int MostBegunAtOnce = 32;
/// Descriptors for everything that isn't a check: logs, consoles, the data file, started programs.
constexpr std::size_t SpareDescriptors = 256;

/// Raises the limit on descriptors as far as the machine lets us, and tells how many checks fit.
std::size_t RoomForChecks() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 1;
  const auto allowed = std::exchange(limit.rlim_cur, limit.rlim_max);
  const auto got = ::setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : allowed;
  // A check may hold two, when it tries two addresses of a host side by side.
  const auto room = got > 2 * SpareDescriptors ? (got - SpareDescriptors) / 2 : got / 4;
  return std::clamp<std::size_t>(room, 1, MostInFlight);
}

}  // namespace

/// One check from the moment it is due. Without a probe it still waits for its turn.
class CheckLoop::Check final : public ProbeClient {
 public:
  Check(CheckLoop& owner, const CheckTarget& target, milliseconds timeout)
      : m_owner(owner),
        m_target(target),
        m_type(owner.TypeOf(target.name)),
        m_timeout(timeout),
        m_began(owner.m_loop.Now()),
        m_deadline(owner.m_loop, [this] { RunOut(); }) {
    report.report.id = target.id;
    report.report.result.at = std::chrono::system_clock::now();
    m_deadline.Set(m_began + timeout);
  }

  void Begin() {
    if (m_type == nullptr) return Ended("this engine cannot check monitors of this type");
    m_probe = m_type->Make(m_target, m_timeout, *this);
    m_probe->Begin();
  }
  void Ended(std::string failure) override { m_owner.End(*this, std::move(failure)); }

  [[nodiscard]] milliseconds Lasted() const {
    return std::chrono::duration_cast<milliseconds>(m_owner.m_loop.Now() - m_began);
  }

  StampedReport report;  // filled as the check goes on
  bool isScheduled = false;
  bool isInFlight = false;
  Checks::iterator at;  // in the list that `isInFlight` tells

 private:
  void RunOut() {
    Ended(NoAnswerWithin(m_timeout,
                         m_probe ? m_probe->Step() : "waiting for this engine's turn, too many in flight"));
  }

  CheckLoop& m_owner;
  CheckTarget m_target;
  ProbeType* m_type;
  milliseconds m_timeout;
  Moment m_began;
  EventLoop::Timer m_deadline;
  std::unique_ptr<Probe> m_probe;
};

CheckLoop::CheckLoop(const CheckerOptions& options, Deliver deliver)
    : m_options(options),
      m_deliver(std::move(deliver)),
      m_loop(options.clock),
      m_alarm(m_loop, [] {}),
      m_resolver(m_loop, options.resolver),
      m_tls(m_options.caFile),
      m_context{m_loop, m_resolver, m_tls, m_options.caFile, m_options.charset, m_options.maxPageBytes},
      m_notifier(m_context, m_options.folder,
                 [this](CheckReport report) {
                   Report({std::move(report), 0});
                 }),
      m_launcher(m_loop, {m_options.folder}, [this](CheckReport report) {
        Report({std::move(report), 0});
      }) {
  const auto room = RoomForChecks();
  m_options.maxInFlight = m_options.maxInFlight == 0 ? room : std::min(m_options.maxInFlight, room);
  for (const auto& type : options.types)
    m_types.emplace(type.name, type.makeProbes(m_context));
}

CheckLoop::~CheckLoop() = default;

ProbeType* CheckLoop::TypeOf(std::string_view fullName) const {
  const auto type = m_types.find(TypeNameOf(fullName));
  return type == m_types.end() ? nullptr : type->second.get();
}

milliseconds CheckLoop::TakeAttributes(Watched& watched, CheckTarget target) {
  watched.target = std::move(target);
  auto times = CheckTimes::Of(*watched.target.attributes);
  watched.timeout = times.timeout;
  // Those who act on these numbers read them at every failure; a word about a bad one belongs here, once.
  [[maybe_unused]] const auto rules = OutageRules::Of(*watched.target.attributes, times.remark);
  watched.remarked = watched.remarked && watched.remark == times.remark;
  watched.remark = std::move(times.remark);
  return times.interval;
}

void CheckLoop::Start(CheckTarget target, milliseconds firstAfter, std::uint64_t start) {
  const auto id = target.id;
  Stop(id);
  auto& watched = m_watched[id];
  watched.start = start;
  m_schedule.Add(id, m_loop.Now() + firstAfter, TakeAttributes(watched, std::move(target)));
}

void CheckLoop::Update(CheckTarget target) {
  const auto watched = m_watched.find(target.id);
  if (watched == m_watched.end()) return;
  m_schedule.SetInterval(watched->first, TakeAttributes(watched->second, std::move(target)));
}

void CheckLoop::Stop(MonitorId id) {
  const auto watched = m_watched.find(id);
  if (watched == m_watched.end()) return;
  if (watched->second.check != nullptr) Drop(*watched->second.check);
  m_schedule.Remove(id);
  m_watched.erase(watched);
}

void CheckLoop::CheckOnce(CheckTarget target, std::uint64_t ticket) {
  auto times = CheckTimes::Of(*target.attributes);
  auto check = std::make_unique<Check>(*this, target, times.timeout);
  check->report.report.ticket = ticket;
  check->report.report.remark = std::move(times.remark);
  Enqueue(std::move(check));
}

void CheckLoop::NotifyOnce(NotifyRequest request, std::uint64_t ticket) {
  m_notifier.Notify(std::move(request), ticket);
}

void CheckLoop::Launch(LaunchRequest request) {
  m_launcher.Launch(std::move(request));
}

void CheckLoop::TakeDue() {
  const auto now = m_loop.Now();
  while (const auto id = m_schedule.TakeDue(now)) {
    auto& watched = m_watched.at(*id);
    auto check = std::make_unique<Check>(*this, watched.target, watched.timeout);
    check->isScheduled = true;
    check->report.start = watched.start;
    if (!std::exchange(watched.remarked, true)) check->report.report.remark = watched.remark;
    watched.check = check.get();
    Enqueue(std::move(check));
  }
}

void CheckLoop::Enqueue(std::unique_ptr<Check> check) {
  auto& entry = *check;
  entry.at = m_waiting.insert(m_waiting.end(), std::move(check));
}

void CheckLoop::BeginWaiting() {
  for (int begun = 0; MayBegin() && begun < MostBegunAtOnce; ++begun) {
    m_inFlight.splice(m_inFlight.end(), m_waiting, m_waiting.begin());
    auto& check = *m_inFlight.back();
    check.isInFlight = true;
    check.Begin();
  }
}

void CheckLoop::End(Check& check, std::string failure) {
  auto& report = check.report.report;
  report.result.good = failure.empty();
  report.result.reason = failure.empty() ? std::string(console::engine::ResultOk) : PlainText(failure);
  report.result.duration = check.Lasted();
  if (check.isScheduled) {
    m_watched.at(report.id).check = nullptr;
    if (m_schedule.End(report.id, m_loop.Now()))
      AppendRemark(report.remark, "the check outlasted its interval");
  }
  report.remark = PlainText(report.remark);
  Report(std::move(check.report));
  Drop(check);
}

void CheckLoop::Drop(Check& check) {
  (check.isInFlight ? m_inFlight : m_waiting).erase(check.at);
}

void CheckLoop::RunOnce() {
  SetAlarm();
  m_loop.RunOnce(LongestWait);
  const auto start = m_schedule.NextStart();
  if (start && *start <= m_loop.Now()) TakeDue();
  BeginWaiting();
  HandOver();
}

void CheckLoop::Report(StampedReport report) {
  if (m_reports.empty()) m_firstReport = m_loop.Now();
  m_reports.push_back(std::move(report));
}

void CheckLoop::HandOver() {
  if (m_reports.empty()) return;
  if (!m_inFlight.empty() && m_loop.Now() < m_firstReport + LongestForCompany) return;
  m_deliver(std::exchange(m_reports, {}));
}

void CheckLoop::SetAlarm() {
  auto next = Moment::max();
  if (const auto start = m_schedule.NextStart()) next = *start;
  if (!m_reports.empty()) next = std::min(next, m_firstReport + LongestForCompany);
  if (MayBegin()) next = m_loop.Now();
  m_alarm.Set(next);
}

}  // namespace norvane::engine
