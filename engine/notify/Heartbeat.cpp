#include "engine/notify/Heartbeat.h"

#include <algorithm>
#include <utility>

namespace norvane::engine {

namespace {
constexpr std::string_view Missed = "heartbeat";  // a condition
}

Heartbeat::Heartbeat(const std::string& url, std::chrono::seconds period, Hooks hooks)
    : m_hooks(std::move(hooks)) {
  Configure(url, period);
}

void Heartbeat::Configure(const std::string& url, std::chrono::seconds period) {
  if (url == m_url && period == m_period) return;
  m_url = url;
  m_period = period;
  m_next = m_hooks.clock() + std::min<std::chrono::seconds>(period, MaxFirst);
  m_ticket = 0;
  m_hooks.health.Set(Missed, {});
}

void Heartbeat::OnSecond(const std::function<std::string()>& problem) {
  const auto now = m_hooks.clock();
  if (m_url.empty() || m_ticket != 0 || now < m_next) return;
  if (const auto why = problem(); !why.empty()) {
    if (now >= m_next + Patience) m_hooks.health.Set(Missed, "heartbeat withheld: " + why);
    return;
  }
  m_next = now + m_period;
  m_ticket = m_hooks.newTicket();
  NotifyRequest request;
  request.to = Missed;
  request.url = m_url;
  m_hooks.runner.NotifyOnce(std::move(request), m_ticket);
}

bool Heartbeat::Receive(const NotificationEnded& report) {
  if (m_ticket == 0 || report.ticket != m_ticket) return false;
  m_ticket = 0;
  m_hooks.health.Set(Missed, report.result.IsGood() ? "" : "heartbeat failed: " + report.result.reason);
  return true;
}

}  // namespace norvane::engine
