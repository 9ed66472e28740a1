#include "engine/outages/Outage.h"

namespace norvane::engine {

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
  return m_record.message != OutageRecord::Message::Accepted && !m_isNotifying &&
         (!m_lastTry || now - *m_lastTry >= NotifyAgainAfter);
}

void Outage::NotifyEnded(bool accepted) {
  m_isNotifying = false;
  if (accepted) m_record.message = OutageRecord::Message::Accepted;
}

}  // namespace norvane::engine
