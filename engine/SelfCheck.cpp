#include "engine/SelfCheck.h"

#include <algorithm>
#include <utility>

#include "engine/net/PeerReason.h"
#include "engine/store/EngineState.h"
#include "engine/store/Storage.h"

namespace norvane::engine {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

namespace {
constexpr seconds LoopTime{5};     // a turn takes milliseconds
constexpr seconds ResultTime{10};  // reports are delivered within milliseconds
constexpr seconds WriterTime{30};  // a save of all monitors on a slow disk takes seconds
constexpr minutes GrowthTime{1};
constexpr minutes MaxPause{2};
constexpr minutes MaxLookupPause{10};  // most names are asked for at the interval of a monitor
constexpr seconds MaxLateness{10};     // of the start of a check

// Conditions.
constexpr const char* NotInTime = "checks cannot be made in time";
constexpr const char* ThrownAway = "results of checks are thrown away, the engine is held up";

milliseconds Between(Health::Moment from, Health::Moment to) {
  return from < to ? std::chrono::duration_cast<milliseconds>(to - from) : milliseconds(0);
}
}  // namespace

bool SelfCheck::Growth::Lasts(std::uint64_t newValue, Health::Moment now, minutes maxPause) {
  // The clock begins with the machine: soon after that, `last` would seem to be a moment ago.
  const bool isOver = last == Health::Moment{} || now - last > maxPause;
  if (newValue != value) {
    if (isOver) since = now;
    last = now;
    value = newValue;
    return now - since >= GrowthTime;
  }
  return !isOver && last - since >= GrowthTime;
}

void SelfCheck::Observe(const Observation& observed) {
  const auto now = m_clock();
  const auto made = observed.figures.Made();
  if (observed.deliveries != m_deliveries || made == m_made) {
    m_deliveries = observed.deliveries;
    m_made = made;
    m_resultsMissingSince = Health::Moment::max();
  } else {
    m_resultsMissingSince = std::min(m_resultsMissingSince, now);
  }
  const auto stall = FindStall(observed);
  m_stalled = stall.what.empty() ? 0 : m_stalled + 1;
  if (IsAlive())
    m_health.Set("stalled", {});
  else
    m_health.Set("stalled", "the engine has stalled: " + std::string(stall.what));
  const auto set = [&](const char* text, bool holds) { m_health.Set(text, holds ? text : ""); };
  const auto& figures = observed.figures;
  set(NotInTime, m_notMade.Lasts(figures.notMade, now, MaxPause));
  set(ThrownAway, m_thrownAway.Lasts(figures.thrownAway, now, MaxPause));
  if (std::exchange(m_answered, figures.lookupsAnswered) != figures.lookupsAnswered)
    m_unanswered = {figures.lookupsUnanswered};
  set("cannot read the machine's hosts file, using the names read before", figures.hostsUnreadable);
  set("cannot read the machine's list of name servers, asking those read before",
      figures.nameServersUnreadable);
  set(AuthoritiesUnreadable.data(), figures.authoritiesUnreadable);
  set("the name servers do not answer", m_unanswered.Lasts(figures.lookupsUnanswered, now, MaxLookupPause));
}

SelfCheck::Stall SelfCheck::FindStall(const Observation& observed) const {
  const auto now = m_clock();
  const struct {
    Stall stall;
    milliseconds allowed;
  } parts[] = {
      {{"the checks do not go on", Between(observed.figures.lastTurn, now)}, LoopTime},
      {{"results do not arrive", Between(m_resultsMissingSince, now)}, ResultTime},
      {{"the disk does not answer", observed.writerBusy}, WriterTime},
  };
  for (const auto& [stall, allowed] : parts) {
    if (stall.lasting >= allowed) return stall;
  }
  return {};
}

std::string SelfCheck::FindTrouble(const Observation& observed) const {
  if (const auto stall = FindStall(observed); !stall.what.empty()) return std::string(stall.what);
  for (const std::string_view key : {std::string_view(NotInTime), std::string_view(ThrownAway),
                                     EngineState::Unsaved, Storage::Unsaved, Storage::JournalUnwritten})
    if (const auto found = m_health.Now().find(key); found != m_health.Now().end()) return found->second.text;
  return observed.figures.latestStart > MaxLateness ? "checks start late" : "";
}

}  // namespace norvane::engine
