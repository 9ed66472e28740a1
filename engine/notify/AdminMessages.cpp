#include "engine/notify/AdminMessages.h"

#include <algorithm>
#include <utility>

#include "engine/net/Reason.h"
#include "formats/NotifyMode.h"
#include "platform/Ascii.h"
#include "platform/Paths.h"
#include "platform/RandomText.h"
#include "platform/TimeText.h"

namespace norvane::engine {

namespace {
constexpr std::size_t AdminIdentitySize = 8;
}  // namespace

AdminMessages::AdminMessages(AdminAddress address, std::string folder, Owe owe, Health::Clock clock)
    : m_address(std::move(address)),
      m_folder(std::move(folder)),
      m_owe(std::move(owe)),
      m_clock(std::move(clock)) {}

std::string AdminMessages::Misconfigured() const {
  using formats::NotifyMode;
  if (m_address.mode.empty()) return {};
  if (NotifyMode::Parse(m_address.mode).form == NotifyMode::Form::Unknown)
    return "config.ini: unknown notification mode of the administrator";
  return m_address.to.empty() ? "config.ini: no address of the administrator" : "";
}

void AdminMessages::Add(const Health::Condition& condition, Health::Change change) {
  if (m_address.mode.empty() || m_lines.size() == MaxWaiting) return;
  auto shape = condition.text;
  std::erase_if(shape, platform::IsAsciiDigit);
  if (change == Health::Change::Ends || m_told.size() == MaxWaiting) m_told.clear();
  if (!m_told.insert(std::move(shape)).second && change == Health::Change::Recurs) return;
  if (m_lines.empty()) m_next = std::max(m_next, m_clock() + GatherTime);
  m_lines.push_back({std::chrono::system_clock::now(),
                     (change == Health::Change::Ends ? "resolved: " : "") + PlainText(condition.text)});
}

void AdminMessages::OweDue() {
  if (m_isOwed || m_lines.empty() || m_clock() < m_next) return;
  m_isOwed = true;
  m_owe(platform::RandomText(AdminIdentitySize) + "-a", Message());
  m_lines.clear();
}

OwedMessage AdminMessages::Message() const {
  auto subject = "Norvane engine on " + platform::ComputerName() + ": " + m_lines.front().text;
  if (m_lines.size() > 1) subject += " (and " + std::to_string(m_lines.size() - 1) + " more)";
  std::string body = "Folder: " + PlainText(m_folder, 4096) + "\n";
  for (std::size_t i = 0; i < std::min(m_lines.size(), MaxLines); ++i)
    body += platform::TimeText(m_lines[i].at) + " " + m_lines[i].text + "\n";
  if (m_lines.size() > MaxLines)
    body += "and " + std::to_string(m_lines.size() - MaxLines) + " more, see log/engine.log\n";
  return {.kind = OwedMessage::Kind::Admin,
          .mode = m_address.mode,
          .to = m_address.to,
          .message = std::move(subject),
          .body = std::move(body)};
}

bool AdminMessages::Resume(OwedMessage& message) {
  message.mode = m_address.mode;
  message.to = m_address.to;
  m_isOwed = !m_address.mode.empty();
  return m_isOwed;
}

void AdminMessages::Ended() {
  m_isOwed = false;
  m_next = m_clock() + MinPause;
}

}  // namespace norvane::engine
