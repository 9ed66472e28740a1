#include "engine/outages/Outage.h"

namespace norvane::engine {

using Message = OutageRecord::Message;

Outage::Actions Outage::Fail(const OutageRules& rules, std::chrono::system_clock::time_point at, Held held) {
  if (m_record.failures++ == 0) m_record.since = at;
  const bool begins = !m_record.isOpen && m_record.failures >= rules.failTimes;
  m_record.isOpen = m_record.isOpen || begins;
  auto actions = Act(rules, held);
  actions.begin = begins;
  return actions;
}

Outage::Actions Outage::Act(const OutageRules& rules, Held held) {
  Actions actions;
  const bool mayLaunch = m_record.isOpen && MayLaunch(rules);
  actions.launch = mayLaunch && !held.commands;
  actions.holdsLaunch = mayLaunch && held.commands;
  if (actions.launch) ++m_record.launched;
  const bool isCalledFor = rules.hasNotification && m_record.failures > rules.maxFailTimes;
  const bool mayNotify = isCalledFor && m_record.message == Message::None;
  actions.notify = mayNotify && !held.messages;
  actions.holdsMessage = mayNotify && held.messages;
  if (actions.notify) m_record.message = Message::Owed;
  const bool wasCalledFor = m_record.failures - 1 > rules.maxFailTimes;
  actions.isSettled = m_record.isOpen && (held.commands || !MayLaunch(rules)) &&
                      (m_record.message != Message::None || wasCalledFor || !rules.hasNotification);
  return actions;
}

bool Outage::MayLaunch(const OutageRules& rules) const {
  return rules.hasCommand && m_record.launched + 1 <= rules.maxFailTimes;
}

}  // namespace norvane::engine
