#include "engine/notify/MessageText.h"

#include "engine/net/Reason.h"
#include "engine/notify/MessageQueue.h"
#include "formats/NotifyMode.h"
#include "platform/Paths.h"
#include "platform/TimeText.h"

namespace norvane::engine {

namespace {

constexpr std::size_t MaxHeading = 300;
constexpr std::chrono::seconds SentAtOnce{2};

/// For people, whatever they read it on.
std::string ShortTime(OwedMessage::Time at) {
  return platform::FormatTime("%Y-%m-%d %H:%M:%S", platform::LocalTime(at));
}

std::string DownTime(const OwedMessage& message) {
  if (message.endedAt == OwedMessage::Time()) return {};
  return "down from " + ShortTime(message.failingSince) + " to " + ShortTime(message.endedAt);
}

std::string Body(const OwedMessage& message) {
  const auto downTime = DownTime(message);
  return downTime.empty() ? message.body : message.body + "The service was " + downTime + ".\n";
}

std::string Subject(const OwedMessage& message) {
  return (message.kind == OwedMessage::Kind::Recovery ? "Resolved: " : "") + message.message;
}

/// As a heading of a digest.
std::string Heading(const OwedMessage& message) {
  return "== " + PlainText(Subject(message), MaxHeading) + " ==\n";
}

}  // namespace

NotifyRequest RequestOf(const std::string& identity, const OwedMessage& message) {
  auto subject = Subject(message);
  // Who is called gets no body.
  const bool isMail = formats::NotifyMode::Parse(message.mode).form == formats::NotifyMode::Form::Mail;
  if (const auto downTime = DownTime(message); !isMail && !downTime.empty()) subject += " (" + downTime + ")";
  return {0, message.mode, RecipientsOf(message), std::move(subject), Body(message), identity};
}

NotifyRequest DigestOf(const std::string& identity, const std::vector<const OwedMessage*>& messages) {
  const auto& first = *messages.front();
  const auto count = std::to_string(messages.size()) + " notifications";
  std::string body = count + " came within a short time.\n";
  for (const auto* message : messages)
    body += "\n" + Heading(*message) + Body(*message);
  return {0,
          first.mode,
          RecipientsOf(first),
          "Norvane on " + platform::ComputerName() + ": " + count + ", the first of " + first.monitor,
          std::move(body),
          identity};
}

std::string ShownMode(const OwedMessage& message) {
  if (!message.exit.empty()) return message.exit;
  using formats::NotifyMode;
  const bool isUrl = NotifyMode::Parse(message.mode).form == NotifyMode::Form::InternetCall;
  return PlainText(isUrl ? WithoutPassword(message.mode) : message.mode);
}

std::string NameOf(const OwedMessage& message) {
  return (message.exit.empty() ? "notification" : message.exit) +
         (message.monitor.empty() ? "" : " of " + message.monitor);
}

std::string SentText(const OwedMessage& message, std::size_t together) {
  using std::chrono::seconds;
  const auto late = std::chrono::duration_cast<seconds>(std::chrono::system_clock::now() - message.since);
  return "notification sent" +
         (message.tries > 0 || late > SentAtOnce ? " after " + SecondsText(late) : std::string()) +
         (message.tries > 0 ? ", at try " + std::to_string(message.tries + 1) : "") +
         (together > 1 ? ", with " + std::to_string(together - 1) + " others" : "");
}

std::size_t SizeInDigest(const OwedMessage& message) {
  return Heading(message).size() + Body(message).size() + 1;
}

}  // namespace norvane::engine
