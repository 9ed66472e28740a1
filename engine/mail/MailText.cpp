#include "engine/mail/MailText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

#include "engine/net/Reason.h"
#include "platform/Base64.h"
#include "platform/Utf8.h"

namespace norvane::engine {

namespace {

constexpr std::size_t MaxHeaderLine = 76;
constexpr std::size_t MaxBodyLine = 998;  // RFC 5322, without its end
constexpr std::string_view WordBegin = "=?UTF-8?B?";
constexpr std::string_view WordEnd = "?=";

/// With line ends of any kind made CR LF.
std::string WithNetworkLineEnds(std::string_view body) {
  std::string text;
  for (std::size_t i = 0; i < body.size(); ++i) {
    const bool isPair = body[i] == '\r' && i + 1 < body.size() && body[i + 1] == '\n';
    if (isPair) ++i;
    if (body[i] == '\n' || body[i] == '\r')
      text += "\r\n";
    else
      text += body[i];
  }
  if (!text.ends_with("\r\n")) text += "\r\n";
  return text;
}

/// May travel as it is. `text` has CR LF at its end.
bool IsPlainBody(std::string_view text) {
  while (!text.empty()) {
    const auto end = text.find("\r\n");
    const auto line = text.substr(0, end);
    const bool isPrintable =
        std::ranges::all_of(line, [](char c) { return (c >= ' ' && c <= '~') || c == '\t'; });
    if (!isPrintable || line.size() > MaxBodyLine) return false;
    text.remove_prefix(end + 2);
  }
  return true;
}

std::string Base64Lines(const std::string& text) {
  const auto encoded = platform::EncodeBase64(text);
  std::string lines;
  for (std::size_t from = 0; from < encoded.size(); from += MaxHeaderLine)
    lines += encoded.substr(from, MaxHeaderLine) + "\r\n";
  return lines;
}

/// RFC 5322, in universal time; not through the locale.
std::string DateText(std::chrono::system_clock::time_point date) {
  static constexpr std::array<const char*, 7> days = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr std::array<const char*, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto seconds = std::chrono::system_clock::to_time_t(date);
  std::tm time{};
  ::gmtime_r(&seconds, &time);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%s, %d %s %d %02d:%02d:%02d +0000",
                days[static_cast<std::size_t>(time.tm_wday)], time.tm_mday,
                months[static_cast<std::size_t>(time.tm_mon)], 1900 + time.tm_year, time.tm_hour, time.tm_min,
                time.tm_sec);
  return text.data();
}

}  // namespace

std::string HeaderText(std::string_view name, std::string_view text) {
  const auto plain = PlainText(text);
  auto column = name.size() + 2;
  if (platform::IsAscii(plain) && column + plain.size() <= MaxHeaderLine &&
      plain.find("=?") == std::string::npos)
    return plain;
  std::string header;
  for (std::string_view rest = plain; !rest.empty(); column = 1) {
    if (!header.empty()) header += "\r\n ";
    const auto maxSize = (MaxHeaderLine - column - WordBegin.size() - WordEnd.size()) / 4 * 3;
    const auto part = platform::WholeCharacters(rest, maxSize);
    header.append(WordBegin).append(platform::EncodeBase64(part)).append(WordEnd);
    rest.remove_prefix(part.size());
  }
  return header;
}

std::string MessageText(const Mail& mail, std::string_view sender, std::string_view messageId,
                        std::chrono::system_clock::time_point date) {
  const auto body = WithNetworkLineEnds(mail.body);
  const bool isPlain = IsPlainBody(body);
  std::string text;
  const auto add = [&](std::string_view name, std::string_view value) {
    text.append(name).append(": ").append(value).append("\r\n");
  };
  add("Date", DateText(date));
  add("From", "<" + mail.from + ">");
  std::string to;
  for (const auto& each : mail.to)
    to += (to.empty() ? "<" : ",\r\n <") + each + ">";
  add("To", to);
  add("Subject", HeaderText("Subject", mail.subject));
  add("Message-ID", "<" + std::string(messageId) + "@" + std::string(sender) + ">");
  add("Auto-Submitted", "auto-generated");
  add("MIME-Version", "1.0");
  add("Content-Type", "text/plain; charset=utf-8");
  add("Content-Transfer-Encoding", isPlain ? "7bit" : "base64");
  return text + "\r\n" + (isPlain ? body : Base64Lines(body));
}

std::string DotStuffed(std::string_view message) {
  std::string text;
  while (!message.empty()) {
    const auto end = message.find("\r\n");
    const auto size = end == std::string_view::npos ? message.size() : end + 2;
    if (message.front() == '.') text += '.';
    text += message.substr(0, size);
    message.remove_prefix(size);
  }
  return text + ".";
}

}  // namespace norvane::engine
