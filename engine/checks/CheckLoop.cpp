#include "engine/checks/CheckLoop.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "console/engine/MonitorKeys.h"
#include "engine/model/CheckTimes.h"
#include "engine/model/FullName.h"
#include "engine/model/NumberAttribute.h"
#include "engine/model/OutageRules.h"
#include "engine/net/Deadline.h"
#include "engine/net/PeerReason.h"
#include "engine/net/Reason.h"

namespace norvane::engine {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {

/// Begun in one round of the loop. When checks are due faster than they can be made, those in flight then
/// come to their end before more begin, and what they hold stays small and warm.
constexpr int MaxBegunAtOnce = 32;
/// So long a turn may begin checks.
constexpr milliseconds MaxBeginning{2};
constexpr int MaxAttempts = 4;
/// A check that was not made is repeated so soon, then after twice and three times as long.
constexpr std::chrono::seconds RetryPause{10};
constexpr int MaxRetryPauses = 3;
/// How long a page may wait to be looked at.
constexpr std::chrono::minutes MaxJudging{1};
/// What is less late than this is not worth a line in the log.
constexpr milliseconds RemarkedLateness{1000};

std::string About(nanoseconds time) {
  return SecondsText(std::chrono::round<std::chrono::duration<std::int64_t, std::deci>>(time));
}

}  // namespace

/// One check from the moment it is due. It waits for its turn first; its time runs from its real start.
class CheckLoop::Check final : public ProbeClient {
 public:
  Check(CheckLoop& owner, const CheckTarget& target, milliseconds timeout)
      : m_owner(owner),
        m_target(target),
        m_timeout(timeout),
        m_due(owner.m_loop.Now()),
        m_deadline(owner.m_loop, *this, [this] { TimeOut(); }) {
    report.id = target.id;
  }

  void Begin() {
    m_began = m_owner.m_loop.Now();
    m_delayBefore = m_owner.m_loop.OwnDelay();
    m_isOutOfTime = m_lostItsTime = m_hasArrived = false;
    report.result.at = std::chrono::system_clock::now();
    if (m_attempts++ == 0) {
      m_owner.NoteStart(report, m_due);
      m_started = m_began;
    }
    m_deadline.Set(m_timeout);
    m_probe = m_owner.m_types.at(TypeNameOf(m_target.name))->Make(m_target, m_timeout, *this);
    m_probe->Begin();
  }
  void Ended(std::string failure) noexcept override { m_owner.End(*this, failure); }
  void Arrived() override {
    m_hasArrived = true;
    m_lasted = m_owner.m_loop.Now() - m_began;
    m_deadline.Set(MaxJudging);
  }
  void Broke(const std::string& why) override {
    m_owner.m_loop.Log("check of " + m_target.name + ": " + why);
    Ended(why);
  }

  /// A failure may be the engine's own, which kept the peer waiting: worth another attempt.
  [[nodiscard]] bool MayBeOurs() const {
    if (m_isOutOfTime || WasStalled()) return WasStalled();
    const auto delay = HeldUp();
    return delay > DelayMeter::MaxDelay && delay > (m_owner.m_loop.Now() - m_began) / 2;
  }
  /// The engine did nothing for so long that a failure says nothing about the service. A check that runs out
  /// of time gets back what it lost, and only the loss of all of it at once spoils that.
  [[nodiscard]] bool WasStalled() const {
    return m_isOutOfTime ? m_lostItsTime : m_owner.m_loop.LastStall() >= m_began + DelayMeter::MaxDelay;
  }
  /// Gives up what was done, to begin again. False if that was in vain too often.
  [[nodiscard]] bool Rewind() {
    m_heldUp += HeldUp();
    m_deadline.Clear();
    if (m_attempts == MaxAttempts) return false;
    m_probe.reset();
    return true;
  }
  [[nodiscard]] bool WasRewound() const { return m_heldUp > nanoseconds{0}; }
  [[nodiscard]] std::string HeldUpText() const { return "the engine was held up for " + About(m_heldUp); }
  [[nodiscard]] milliseconds Lasted() const { return std::chrono::duration_cast<milliseconds>(Duration()); }
  /// When the check would have ended, had the engine not held it up.
  [[nodiscard]] Moment Answered() const { return m_started + Duration(); }

  CheckEnded report;  // filled as the check goes on
  bool isInFlight = false;
  Checks::iterator at;  // in the list that `isInFlight` tells

 private:
  [[nodiscard]] Moment::duration Duration() const {
    return m_hasArrived ? m_lasted : m_owner.m_loop.Now() - m_began;
  }
  [[nodiscard]] nanoseconds HeldUp() const { return m_owner.m_loop.OwnDelay() - m_delayBefore; }
  void TimeOut() {
    if (m_probe->IsQueued()) return m_deadline.Set(m_timeout);
    m_isOutOfTime = true;
    m_lostItsTime = m_hasArrived || m_deadline.HasLostAll() || m_deadline.IsExhausted();
    if (m_deadline.IsExhausted()) m_attempts = MaxAttempts;  // the engine gets no further with it
    Ended(NoAnswerWithin(m_timeout, m_probe->Step()));
  }

  CheckLoop& m_owner;
  CheckTarget m_target;
  milliseconds m_timeout;
  Moment m_due;
  Moment m_began{};    // the attempt
  Moment m_started{};  // the first
  int m_attempts = 0;
  nanoseconds m_heldUp{0};       // in former attempts
  nanoseconds m_delayBefore{0};  // of the loop's thread, when the attempt began
  bool m_hasArrived = false;     // all that the peer has to send
  Moment::duration m_lasted{};   // until then
  bool m_isOutOfTime = false;
  bool m_lostItsTime = false;  // to the engine's own delay, at once
  Deadline m_deadline;
  std::unique_ptr<Probe> m_probe;
};

CheckLoop::CheckLoop(ProbeContext& context, MonitorTypes types, std::size_t maxInFlight, Hooks hooks)
    : m_loop(context.loop),
      m_resolver(context.resolver),
      m_hooks(std::move(hooks)),
      m_maxInFlight(maxInFlight) {
  // The places are reckoned for two descriptors each, and few checks need the second.
  m_resolver.DeliverWhile([this] { return m_inFlight.size() < 2 * m_maxInFlight + m_resolver.Queries(); });
  for (const auto& type : types)
    m_types.emplace(type.name, type.makeProbes(context));
}

CheckLoop::~CheckLoop() {
  m_resolver.DeliverWhile({});
}

/// Names that hang must not keep others from being checked.
bool CheckLoop::HasPlace() const {
  return m_inFlight.size() < m_maxInFlight + m_resolver.Queries();
}

milliseconds CheckLoop::SetTarget(Watched& watched, CheckTarget target) {
  watched.target = std::move(target);
  auto times = CheckTimes::Of(*watched.target.attributes);
  watched.timeout = times.timeout;
  // The outages read these numbers at every failure; a bad one is remarked on here, once.
  [[maybe_unused]] const auto rules = OutageRules::Of(*watched.target.attributes, times.remark);
  watched.remarked = watched.remarked && watched.remark == times.remark;
  watched.remark = std::move(times.remark);
  return times.interval;
}

void CheckLoop::Start(CheckTarget target, CheckStart start) {
  assert(m_loop.IsInside());
  const auto id = target.id;
  if (const auto known = m_watched.find(id); known != m_watched.end() && known->second.start == start.number)
    return Update(std::move(target));
  Stop(id);
  try {
    auto& watched = m_watched[id];
    watched.start = start.number;
    m_schedule.Add(id, start.first, SetTarget(watched, std::move(target)));
    watched.remarked = start.isRemarked;
  } catch (...) {
    Stop(id);
    throw;
  }
}

void CheckLoop::Update(CheckTarget target) {
  assert(m_loop.IsInside());
  const auto watched = m_watched.find(target.id);
  if (watched == m_watched.end()) return;
  const auto interval = SetTarget(watched->second, std::move(target));
  m_schedule.SetInterval(watched->first, interval, m_loop.Now());
}

void CheckLoop::Stop(MonitorId id) {
  assert(m_loop.IsInside());
  const auto watched = m_watched.find(id);
  if (watched == m_watched.end()) return;
  if (watched->second.check != nullptr) Drop(*watched->second.check);
  m_schedule.Remove(id);
  m_watched.erase(watched);
}

void CheckLoop::Release(MonitorId id) {
  assert(m_loop.IsInside());
  const auto found = m_watched.find(id);
  if (found == m_watched.end()) return;
  found->second.isLeaving = true;
  if (found->second.check == nullptr) HandOver(id, found->second);
}

void CheckLoop::HandOver(MonitorId id, const Watched& watched) {
  m_hooks.release({id, {watched.start, m_schedule.Next(id), watched.remarked}});
  m_schedule.Remove(id);
  m_watched.erase(id);
}

void CheckLoop::CheckOnce(CheckTarget target, std::uint64_t ticket) {
  assert(m_loop.IsInside());
  auto times = CheckTimes::Of(*target.attributes);
  auto check = std::make_unique<Check>(*this, target, times.timeout);
  check->report.ticket = ticket;
  check->report.remark = std::move(times.remark);
  Enqueue(std::move(check));
}

void CheckLoop::Turn() {
  assert(m_loop.IsInside());
  const auto now = m_loop.Now();
  const auto start = m_schedule.NextStart();
  if (start && *start <= now) EnqueueDue(now + MaxBeginning);
  BeginWaiting(now + MaxBeginning);
}

std::optional<Moment> CheckLoop::NextTurn() const {
  return MayBegin() ? m_loop.Now() : m_schedule.NextStart();
}

void CheckLoop::EnqueueDue(Moment end) {
  for (auto now = m_loop.Now(); now < end; now = m_loop.Now()) {
    const auto id = m_schedule.DequeueDue(now);
    if (!id) return;
    auto& watched = m_watched.at(*id);
    m_loop.Serve(m_loop, [&] { EnqueueScheduled(watched); });
    if (watched.check != nullptr) continue;
    m_schedule.Begin(*id, now);
    m_schedule.End(*id, now);
    RetrySoon(*id);
    ++m_figures.notMade;
  }
}

/// The next interval may be a day away.
void CheckLoop::RetrySoon(MonitorId id) {
  auto& notMade = m_watched.at(id).notMade;
  notMade = std::min(notMade + 1, MaxRetryPauses);
  m_schedule.Hasten(id, m_loop.Now() + notMade * RetryPause);
}

void CheckLoop::EnqueueScheduled(Watched& watched) {
  auto check = std::make_unique<Check>(*this, watched.target, watched.timeout);
  check->report.start = watched.start;
  if (!std::exchange(watched.remarked, true)) check->report.remark = watched.remark;
  auto* made = check.get();
  Enqueue(std::move(check));
  watched.check = made;
}

void CheckLoop::Enqueue(std::unique_ptr<Check> check) {
  auto& entry = *check;
  entry.at = m_waiting.insert(m_waiting.end(), std::move(check));
}

void CheckLoop::BeginWaiting(Moment end) {
  if (!m_loop.IsRoundOver()) return;  // those in flight come first
  for (int begun = 0; MayBegin() && begun < MaxBegunAtOnce; ++begun) {
    if (begun > 0 && m_loop.Now() >= end) return;
    m_inFlight.splice(m_inFlight.end(), m_waiting, m_waiting.begin());
    auto& check = *m_inFlight.back();
    check.isInFlight = true;
    m_loop.Serve(check, [&] { check.Begin(); });
  }
}

void CheckLoop::NoteStart(CheckEnded& report, Moment due) {
  const auto now = m_loop.Now();
  Schedule::Lateness start{std::chrono::duration_cast<milliseconds>(now - due), 0};
  if (report.ticket == 0) start = m_schedule.Begin(report.id, now);
  m_lateness.Note(now, start.late);
  m_figures.notMade += start.missed;
  if (start.late < RemarkedLateness && start.missed == 0) return;
  AppendRemark(report.remark,
               "started " + About(start.late) + " late" +
                   (start.missed == 0 ? "" : ", checks not made: " + std::to_string(start.missed)));
}

CheckFigures CheckLoop::Figures() const {
  auto figures = m_figures;
  figures.latestStart = m_lateness.At(m_loop.Now());
  figures.longestTurn = m_loop.LongestTurn();
  figures.inFlight = m_inFlight.size();
  figures.waiting = m_waiting.size();
  figures.lookupsAnswered = m_resolver.ServerAnswers();
  figures.lookupsUnanswered = m_resolver.ServerFailures();
  figures.lastTurn = m_loop.Now();
  return figures;
}

void CheckLoop::End(Check& check, const std::string& failure) noexcept {
  if (!failure.empty() && check.MayBeOurs() && check.Rewind()) {
    ++m_figures.thrownAway;
    check.isInFlight = false;
    m_waiting.splice(m_waiting.begin(), m_inFlight, check.at);
    return;
  }
  const bool isUnable = failure == AuthoritiesUnreadable;
  const bool isBelieved = failure.empty() || !(isUnable || check.WasStalled());
  auto& report = check.report;
  const auto id = report.id;
  const bool isScheduled = report.ticket == 0;
  m_loop.Serve(m_loop, [&] {
    auto& result = report.result;
    bool outlasted = false;
    if (isScheduled) {  // first, whether there is memory for the report or not
      auto& watched = m_watched.at(id);
      watched.check = nullptr;
      outlasted = m_schedule.End(id, check.Answered());
      if (isBelieved)
        watched.notMade = 0;
      else
        RetrySoon(id);
    }
    if (isBelieved && check.WasRewound()) AppendRemark(report.remark, "made anew, " + check.HeldUpText());
    result.outcome = failure.empty() ? Outcome::Good : isBelieved ? Outcome::Failed : Outcome::NotMade;
    result.reason = failure.empty()          ? std::string(console::engine::ResultOk)
                    : isBelieved || isUnable ? PlainText(failure)
                                             : check.HeldUpText();
    result.duration = check.Lasted();
    ++(result.IsGood() ? m_figures.good : isBelieved ? m_figures.failed : m_figures.notMade);
    if (outlasted && !check.WasRewound())
      AppendRemark(report.remark, "the check took longer than its interval");
    report.remark = PlainText(report.remark);
    m_hooks.deliver(std::move(report));
  });
  m_loop.Serve(m_loop, [&] {
    if (!isScheduled) return;
    if (const auto& watched = m_watched.at(id); watched.isLeaving) HandOver(id, watched);
  });
  Drop(check);
}

void CheckLoop::Drop(Check& check) noexcept {
  (check.isInFlight ? m_inFlight : m_waiting).erase(check.at);
}

}  // namespace norvane::engine
