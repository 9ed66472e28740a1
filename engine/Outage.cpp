#include "engine/Outage.h"

#include <algorithm>

#include "engine/NumberAttribute.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

namespace {
constexpr NumberRule FailTimesRule{keys::FailTimes, 0, 1e9, 2};
constexpr NumberRule MaxFailTimesRule{keys::MaxFailTimes, 0, 1e9, 2};
}  // namespace

OutageRules OutageRules::Of(const Attributes& attributes, std::string& remark) {
  OutageRules rules;
  rules.maxFailTimes = ReadNumber(MaxFailTimesRule, attributes, remark);
  rules.failTimes = std::max(1.0, ReadNumber(FailTimesRule, attributes, remark));
  rules.hasCommand = !attributes.Get(keys::Command).empty();
  rules.hasNotification = !attributes.Get(keys::NotifyMode).empty();
  return rules;
}

Outage::Actions Outage::Fail(const OutageRules& rules, std::chrono::system_clock::time_point at, Moment now) {
  Actions actions;
  if (m_record.failures++ == 0) m_record.since = at;
  actions.begin = !m_record.isOpen && m_record.failures >= rules.failTimes;
  m_record.isOpen = m_record.isOpen || actions.begin;
  actions.launch = m_record.isOpen && rules.hasCommand && m_record.launched + 1 <= rules.maxFailTimes;
  if (actions.launch) ++m_record.launched;
  actions.notify = rules.hasNotification && m_record.failures > rules.maxFailTimes && MayNotify(now);
  if (actions.notify) {
    m_isNotifying = true;
    m_lastTry = now;
  }
  return actions;
}

bool Outage::MayNotify(Moment now) const {
  return !m_record.notified && !m_isNotifying && (!m_lastTry || now - *m_lastTry >= NotifyAgainAfter);
}

void Outage::NotifyEnded(bool taken) {
  m_isNotifying = false;
  m_record.notified = m_record.notified || taken;
}

}  // namespace norvane::engine
