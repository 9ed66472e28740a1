#include "engine/notify/NotifyMode.h"

#include "platform/Ascii.h"

namespace norvane::engine {

namespace {

constexpr std::string_view MailPrefix = "SMTP://";
constexpr std::string_view PhonePrefix = "TEL://";

std::size_t FindPlace(std::string_view text, std::size_t from) {
  for (auto at = text.find('%', from); at != std::string_view::npos; at = text.find('%', at + 1)) {
    if (platform::StartsWithAnyCase(text.substr(at), "%S")) return at;
  }
  return std::string_view::npos;
}

NotifyMode Of(NotifyMode::Form form) {
  NotifyMode mode;
  mode.form = form;
  return mode;
}

NotifyMode ParseMail(std::string_view rest) {
  auto mode = Of(NotifyMode::Form::Mail);
  if (const auto semicolon = rest.find(';'); semicolon != std::string_view::npos) {
    mode.server = rest.substr(0, semicolon);
    mode.sender = rest.substr(semicolon + 1);
  }
  return mode;
}

NotifyMode ParseInternetCall(std::string_view text) {
  const auto message = FindPlace(text, 0);
  const auto number = message == std::string_view::npos ? message : FindPlace(text, message + 2);
  if (number == std::string_view::npos) return Of(NotifyMode::Form::Unknown);
  auto mode = Of(NotifyMode::Form::InternetCall);
  mode.beforeMessage = text.substr(0, message);
  mode.beforeNumber = text.substr(message + 2, number - message - 2);
  mode.afterNumber = text.substr(number + 2);
  return mode;
}

std::string PercentEncoded(std::string_view text) {
  static constexpr char Digits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool unreserved = platform::IsAsciiAlnum(c) || c == '-' || c == '.' || c == '_' || c == '~';
    if (unreserved)
      encoded += c;
    else
      encoded.append({'%', Digits[byte >> 4], Digits[byte & 15]});
  }
  return encoded;
}

}  // namespace

NotifyMode NotifyMode::Parse(std::string_view text) {
  if (text.empty()) return {};
  if (platform::StartsWithAnyCase(text, MailPrefix)) return ParseMail(text.substr(MailPrefix.size()));
  if (platform::StartsWithAnyCase(text, PhonePrefix)) return Of(Form::Phone);
  if (platform::StartsWithAnyCase(text, "HTTP://") || platform::StartsWithAnyCase(text, "HTTPS://"))
    return ParseInternetCall(text);
  return Of(Form::Unknown);
}

std::string InternetCallUrl(const NotifyMode& mode, std::string_view message, std::string_view number) {
  return mode.beforeMessage + PercentEncoded(message) + mode.beforeNumber + PercentEncoded(number) +
         mode.afterNumber;
}

}  // namespace norvane::engine
