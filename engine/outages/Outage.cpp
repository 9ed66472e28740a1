#include "engine/outages/Outage.h"

namespace norvane::engine {

using Message = OutageRecord::Message;

Outage::Actions Outage::Fail(const OutageRules& rules, std::chrono::system_clock::time_point at) {
  Actions actions;
  if (m_record.failures++ == 0) m_record.since = at;
  actions.begin = !m_record.isOpen && m_record.failures >= rules.failTimes;
  m_record.isOpen = m_record.isOpen || actions.begin;
  actions.launch = m_record.isOpen && MayLaunch(rules);
  if (actions.launch) ++m_record.launched;
  actions.notify =
      rules.hasNotification && m_record.failures > rules.maxFailTimes && m_record.message == Message::None;
  if (actions.notify) m_record.message = Message::Owed;
  actions.isSettled =
      m_record.isOpen && !MayLaunch(rules) && (m_record.message != Message::None || !rules.hasNotification);
  return actions;
}

bool Outage::MayLaunch(const OutageRules& rules) const {
  return rules.hasCommand && m_record.launched + 1 <= rules.maxFailTimes;
}

}  // namespace norvane::engine
