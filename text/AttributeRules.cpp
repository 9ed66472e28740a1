#include "text/AttributeRules.h"

#include <algorithm>

#include "console/engine/Limits.h"
#include "console/engine/NumberRules.h"
#include "formats/NotifyMode.h"
#include "formats/Number.h"
#include "formats/SuccessFlag.h"
#include "platform/Ascii.h"
#include "platform/Utf8.h"
#include "text/Nearest.h"

namespace norvane::text {

namespace ce = console::engine;
namespace keys = ce::keys;
using Finding = std::optional<std::string>;

namespace {

std::string Joined(std::span<const std::string_view> words) {
  std::string text;
  for (const auto word : words)
    text.append(text.empty() ? "" : ", ").append(word);
  return text;
}

bool IsKnownType(std::string_view typeName) {
  return std::ranges::find(MonitorTypes, typeName) != MonitorTypes.end();
}

Finding NumberMistake(const ce::NumberRule& rule, std::string_view value) {
  const auto number = formats::ParseNumber(value);
  if (number && rule.zeroIsDefault && *number == 0) return std::nullopt;
  const auto acting =
      formats::ActingNumber(value, rule.least, rule.most, formats::Val(ce::NewMonitorValue(rule.key)));
  if (number == acting) return std::nullopt;
  const auto why = !number || *number < 0             ? " is not a number"
                   : *number == 0 || acting > *number ? " is too small"
                                                      : " is too large";
  return Quoted(value) + why + "; the engine would use " + formats::FormatNumber(acting);
}

Finding FlagMistake(std::string_view value) {
  using Kind = formats::SuccessFlag::Kind;
  const auto [kind, parameter] = formats::ParseSuccessFlag(value);
  if (value.empty()) return std::nullopt;
  if (kind == Kind::None)
    return Quoted(value) + " is neither SIZE:number, STR:text nor SUM:number; did you mean " +
           Quoted("STR:" + std::string(value)) + "?";
  if (parameter.empty()) return Quoted(value) + " lacks what is to be found, so the engine would ignore it";
  if (kind != Kind::String && !formats::ParseNumber(parameter)) return Quoted(parameter) + " is not a number";
  return std::nullopt;
}

Finding ModeMistake(std::string_view value) {
  using Form = formats::NotifyMode::Form;
  const auto mode = formats::NotifyMode::Parse(value);
  if (mode.form == Form::Unknown)
    return Quoted(value) +
           " is neither SMTP://server;sender, TEL:// nor the URL of a gateway with two \"%s\"";
  if (mode.form == Form::Mail && mode.server.empty())
    return Quoted(value) + " lacks the mail server: SMTP://server;sender";
  return std::nullopt;
}

Finding StatusMistake(std::string_view value) {
  constexpr std::array<std::string_view, 2> known = {ce::StatusEnable, ce::StatusDisable};
  if (std::ranges::find(known, value) != known.end()) return std::nullopt;
  const auto nearest = Nearest(value, known);
  return Quoted(value) + (nearest.empty() ? " is neither Enable nor Disable" : " is no status") +
         DidYouMean(nearest);
}

Finding UrlMistake(std::string_view value) {
  for (const auto* scheme : {"http://", "https://"})
    if (platform::StartsWithIgnoringCase(value, scheme) && value.size() > std::string_view(scheme).size())
      return std::nullopt;
  const bool hasScheme = value.find("://") != std::string_view::npos;
  return Quoted(value) + " is not an http or https URL" +
         (value.empty() || hasScheme ? std::string() : DidYouMean("https://" + std::string(value)));
}

/// Names of files may have any bytes.
bool NamesFile(std::string_view key) {
  return key == keys::Command || key == keys::CommandSucc || key == keys::LogFile;
}

Finding TextMistake(std::string_view key, std::string_view value) {
  if (value.size() > ce::MaxValueSize) return "the value is longer than 1 MiB";
  if (!NamesFile(key) && !platform::IsValidUtf8(value)) return "the value is not UTF-8";
  return std::nullopt;
}

}  // namespace

std::string_view TypeNameOf(std::string_view fullName) {
  return fullName.substr(0, fullName.find(ce::NameSeparator));
}

std::string_view TypeOfKey(std::string_view key) {
  if (key == keys::SuccessFlag) return ce::TypeWeb;
  if (key == keys::PopAccount || key == keys::PopPass) return ce::TypePop3;
  if (key == keys::From || key == keys::To) return ce::TypeSmtp;
  return {};
}

Finding NameMistake(std::string_view fullName, std::span<const std::string_view> types) {
  const auto type = TypeNameOf(fullName);
  const auto name = fullName.substr(std::min(fullName.size(), type.size() + ce::NameSeparator.size()));
  if (fullName.size() > ce::MaxNameSize) return "the name " + Quoted(fullName) + " is too long";
  if (!platform::IsValidUtf8(fullName)) return "the name " + Quoted(fullName) + " is not UTF-8";
  if (std::ranges::any_of(fullName, &platform::IsAsciiControl))
    return "control character in the name " + Quoted(fullName);
  if (name.empty()) return "the name " + Quoted(fullName) + " is not of the form \"TYPE Of NAME\"";
  if (std::ranges::find(types, type) != types.end()) return std::nullopt;
  const auto nearest = Nearest(type, types);
  return "unknown type " + Quoted(type) +
         (nearest.empty() ? "; known are " + Joined(types) : DidYouMean(nearest));
}

Finding KeyMistake(std::string_view typeName, std::string_view key) {
  if (!ce::KnownPosition(key)) return "unknown key " + Quoted(key) + DidYouMean(Nearest(key, ce::KnownKeys));
  const auto type = TypeOfKey(key);
  if (type.empty() || type == typeName || !IsKnownType(typeName)) return std::nullopt;
  return Quoted(key) + " is for a " + std::string(type) + " only";
}

Finding ValueMistake(std::string_view typeName, std::string_view key, std::string_view value) {
  if (auto mistake = TextMistake(key, value)) return mistake;
  if (key == keys::Result) return Quoted(key) + " is the engine's";
  if (key == keys::SuccessFlag) return FlagMistake(value);
  if (key == keys::NotifyMode) return ModeMistake(value);
  if (key == keys::Status) return StatusMistake(value);
  if (key == keys::Parameter && typeName == ce::TypeWeb) return UrlMistake(value);
  if (key == keys::Parent && !value.empty() && value.find(ce::NameSeparator) == std::string_view::npos)
    return Quoted(value) + " is not the full name of a monitor, \"TYPE Of NAME\"";
  const auto* rule = std::ranges::find(ce::NumberRules, key, &ce::NumberRule::key);
  return rule == ce::NumberRules.end() ? std::nullopt : NumberMistake(*rule, value);
}

Finding AttributeMistake(std::string_view typeName, std::string_view key, std::string_view value) {
  auto mistake = KeyMistake(typeName, key);
  return mistake ? mistake : ValueMistake(typeName, key, value);
}

}  // namespace norvane::text
