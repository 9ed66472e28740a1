#include "formats/NotifyMode.h"

#include "platform/Ascii.h"

namespace norvane::formats {

namespace {

constexpr std::string_view MailPrefix = "SMTP://";

std::size_t FindPlaceholder(std::string_view text, std::size_t from) {
  for (auto at = text.find('%', from); at != std::string_view::npos; at = text.find('%', at + 1)) {
    if (platform::StartsWithIgnoringCase(text.substr(at), "%s")) return at;
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
  const auto message = FindPlaceholder(text, 0);
  const auto number = message == std::string_view::npos ? message : FindPlaceholder(text, message + 2);
  if (number == std::string_view::npos) return Of(NotifyMode::Form::Unknown);
  auto mode = Of(NotifyMode::Form::InternetCall);
  mode.beforeMessage = text.substr(0, message);
  mode.beforeNumber = text.substr(message + 2, number - message - 2);
  mode.afterNumber = text.substr(number + 2);
  return mode;
}

}  // namespace

NotifyMode NotifyMode::Parse(std::string_view text) {
  if (text.empty()) return {};
  if (platform::StartsWithIgnoringCase(text, MailPrefix)) return ParseMail(text.substr(MailPrefix.size()));
  if (platform::StartsWithIgnoringCase(text, PhoneMode)) return Of(Form::Phone);
  for (const auto* scheme : {"http://", "https://"})
    if (platform::StartsWithIgnoringCase(text, scheme)) return ParseInternetCall(text);
  return Of(Form::Unknown);
}

std::string MailMode(std::string_view server, std::string_view sender) {
  return std::string(MailPrefix).append(server).append(";").append(sender);
}

}  // namespace norvane::formats
