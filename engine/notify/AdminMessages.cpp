#include "engine/notify/AdminMessages.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "engine/net/Reason.h"
#include "formats/NotifyMode.h"
#include "platform/Paths.h"
#include "platform/TimeText.h"

namespace norvane::engine {

AdminMessages::AdminMessages(AdminAddress address, std::string folder, Send send, Health::Clock clock)
    : m_address(std::move(address)),
      m_folder(std::move(folder)),
      m_send(std::move(send)),
      m_clock(std::move(clock)) {}

std::string AdminMessages::Misconfigured() const {
  using formats::NotifyMode;
  if (m_address.mode.empty()) return {};
  if (NotifyMode::Parse(m_address.mode).form == NotifyMode::Form::Unknown)
    return "config.ini: unknown notification mode of the administrator";
  return m_address.to.empty() ? "config.ini: no address of the administrator" : "";
}

void AdminMessages::Add(const Health::Condition& condition, Health::Change change) {
  if (m_address.mode.empty() || change == Health::Change::Recurs || m_lines.size() == MaxWaiting) return;
  if (m_lines.empty()) m_next = std::max(m_next, m_clock() + GatherTime);
  m_lines.push_back({std::chrono::system_clock::now(),
                     (change == Health::Change::Ends ? "resolved: " : "") + PlainText(condition.text)});
}

void AdminMessages::SendDue() {
  if (m_ticket != 0 || m_lines.empty() || m_clock() < m_next) return;
  m_sending = m_lines.size();
  m_ticket = m_send(Message());
}

NotifyRequest AdminMessages::Message() const {
  auto subject = "Norvane engine on " + platform::ComputerName() + ": " + m_lines.front().text;
  if (m_lines.size() > 1) subject += " (and " + std::to_string(m_lines.size() - 1) + " more)";
  std::string body = "Folder: " + PlainText(m_folder, 4096) + "\n";
  for (std::size_t i = 0; i < std::min(m_lines.size(), MaxLines); ++i)
    body += platform::TimeText(m_lines[i].at) + " " + m_lines[i].text + "\n";
  if (m_lines.size() > MaxLines)
    body += "and " + std::to_string(m_lines.size() - MaxLines) + " more, see log/engine.log\n";
  return {0, m_address.mode, m_address.to, std::move(subject), std::move(body)};
}

void AdminMessages::Ended(const CheckResult& result) {
  m_ticket = 0;
  if (!result.IsGood()) {
    m_next = m_clock() + RetryPauses[m_tries];
    m_tries = std::min(m_tries + 1, std::size(RetryPauses) - 1);
    return;
  }
  m_next = m_clock() + MinPause;
  m_tries = 0;
  m_lines.erase(m_lines.begin(), m_lines.begin() + static_cast<std::ptrdiff_t>(m_sending));
}

}  // namespace norvane::engine
