#include "engine/notify/MessageQueue.h"

#include <string_view>

#include "formats/NotifyMode.h"
#include "platform/Ascii.h"
#include "platform/Blanks.h"

namespace norvane::engine {

using formats::NotifyMode;
using Form = NotifyMode::Form;

namespace {

/// Scheme, host and port of a URL.
std::string_view OriginOf(std::string_view url) {
  const auto host = url.find("//");
  return url.substr(0, host == std::string_view::npos ? host : url.find_first_of("/?#", host + 2));
}

}  // namespace

std::string QueueOf(const OwedMessage& message) {
  if (!message.exit.empty()) return message.exit;
  const auto mode = NotifyMode::Parse(message.mode);
  switch (mode.form) {
    case Form::Mail:
      return "SMTP://" + platform::AsciiUpper(platform::Trimmed(mode.server));
    case Form::InternetCall:
      return platform::AsciiUpper(OriginOf(mode.beforeMessage));
    default:
      return platform::AsciiUpper(message.mode);
  }
}

const std::string& RecipientsOf(const OwedMessage& message) {
  return message.left.empty() ? message.to : message.left;
}

bool MayGather(const OwedMessage& message) {
  return (message.kind == OwedMessage::Kind::Failure || message.kind == OwedMessage::Kind::Recovery) &&
         message.exit.empty() && NotifyMode::Parse(message.mode).form == Form::Mail;
}

std::string AddressOf(const OwedMessage& message) {
  return QueueOf(message) + "\n" + platform::AsciiUpper(platform::Trimmed(RecipientsOf(message)));
}

}  // namespace norvane::engine
