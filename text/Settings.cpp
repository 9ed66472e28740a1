#include "text/Settings.h"

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>

#include "console/engine/Limits.h"
#include "formats/Duration.h"
#include "formats/NotifyMode.h"
#include "formats/Number.h"
#include "formats/SuccessFlag.h"
#include "platform/Blanks.h"
#include "platform/SecretFile.h"
#include "text/AttributeRules.h"
#include "text/Nearest.h"

namespace norvane::text {

namespace ce = console::engine;
namespace keys = ce::keys;

namespace {

constexpr std::array<std::string_view, 3> Groups = {"expect", "command", "notify"};
constexpr std::size_t MaxPasswordSize = 4096;

bool IsGroup(std::string_view name) {
  return std::ranges::find(Groups, name) != Groups.end();
}

const ShortName* FindRow(std::string_view group, std::string_view name) {
  const auto* row = std::ranges::find_if(
      ShortNames, [&](const ShortName& each) { return each.group == group && each.name == name; });
  return row == ShortNames.end() ? nullptr : row;
}

bool Suits(const ShortName& row, std::string_view typeName) {
  if (typeName.empty()) return true;
  if (row.name == "server") return typeName != ce::TypeWeb;
  return row.type.empty() || row.type == typeName;
}

bool Suits(const Setting& setting, std::string_view typeName) {
  if (setting.row != nullptr) return Suits(*setting.row, typeName);
  const auto type = TypeOfKey(setting.key);
  return typeName.empty() || type.empty() || type == typeName;
}

std::string_view GroupOf(std::string_view key) {
  const auto* row = std::ranges::find(ShortNames, key, &ShortName::key);
  return row == ShortNames.end() ? std::string_view() : row->group;
}

/// Whether both say the same thing, so that one of them can count only.
bool Conflict(const Setting& a, const Setting& b) {
  if (!a.emptied.empty() || !b.emptied.empty()) {
    const auto group = [](const Setting& each) {
      return !each.emptied.empty() ? each.emptied : each.row != nullptr ? each.row->group : GroupOf(each.key);
    };
    return group(a) == group(b);
  }
  if (a.row == b.row && a.row != nullptr) return true;
  const auto way = [](const Setting& each) { return each.row == nullptr ? Way::Any : each.row->way; };
  const bool isOneMail = way(a) == Way::Mail && way(b) == Way::Mail;
  if (a.key == b.key) return !isOneMail;
  if (way(a) != Way::Any && way(b) != Way::Any) return way(a) != way(b);
  return (a.key == keys::NotifyMode && way(b) != Way::Any) ||
         (b.key == keys::NotifyMode && way(a) != Way::Any);
}

std::string NameOf(const Setting& setting) {
  if (!setting.emptied.empty()) return std::string(setting.emptied);
  if (setting.row == nullptr) return setting.key;
  const auto& row = *setting.row;
  return (row.group.empty() ? std::string() : std::string(row.group) + ".") + std::string(row.name);
}

/// The attribute's value, or its part; what is wrong goes to `mistake`.
std::string ValueFrom(const ShortName& row, const std::string& text, std::optional<std::string>& mistake) {
  using Kind = formats::SuccessFlag::Kind;
  switch (row.form) {
    case Form::Seconds: {
      const auto seconds = formats::ParseSeconds(text);
      if (!seconds) mistake = Quoted(text) + " is no time, such as 30s, 5m, 1.5h or 1d";
      return formats::FormatNumber(seconds.value_or(0));
    }
    case Form::Number:
      return std::string(platform::Trimmed(text));
    case Form::State: {
      constexpr std::array<std::string_view, 2> states = {StateRunning, StateStopped};
      if (std::ranges::find(states, text) == states.end())
        mistake = Quoted(text) + " is neither running nor stopped" + DidYouMean(Nearest(text, states));
      return std::string(text == StateRunning ? ce::StatusEnable : ce::StatusDisable);
    }
    case Form::FoundText:
      return formats::FormatSuccessFlag({Kind::String, text});
    case Form::FoundSize:
      return formats::FormatSuccessFlag({Kind::Size, text});
    case Form::FoundSum:
      return formats::FormatSuccessFlag({Kind::Sum, text});
    case Form::MailServer:
      if (text.empty() || text.find(';') != std::string::npos)
        mistake = Quoted(text) + " is not the name of a mail server";
      return text;
    default:
      return text;
  }
}

bool IsWholeValue(const ShortName& row) {
  return row.form != Form::MailServer && row.form != Form::MailSender && row.form != Form::File;
}

}  // namespace

// Reading

Settings SettingsReader::Read(const YamlNode& map, std::string_view typeName) {
  m_type = typeName;
  m_settings.clear();
  if (map.kind != YamlNode::Kind::Map) {
    if (!map.IsEmpty()) m_mistakes.Add(map.place, "expected settings, such as \"interval: 30s\"");
    return {};
  }
  for (std::size_t i = 0; i < map.children.size(); i += 2) {
    const auto &key = map.children[i], &value = map.children[i + 1];
    const bool isSkipped = std::ranges::find(m_skipped, key.text) != m_skipped.end();
    const bool isShort = isSkipped || IsGroup(key.text) || FindRow("", key.text) != nullptr;
    if (key.asIs || (value.asIs && !isShort))
      ReadAttribute(key, value);
    else if (isSkipped)
      continue;
    else if (IsGroup(key.text))
      ReadGroup(*std::ranges::find(Groups, key.text), key, value);
    else if (ce::KnownPosition(key.text))
      ReadAttribute(key, value);
    else
      ReadNamed("", key, value);
  }
  return std::exchange(m_settings, {});
}

void SettingsReader::ReadGroup(std::string_view group, const YamlNode& key, const YamlNode& value) {
  if (value.IsEmpty()) return Put({.emptied = group, .key = {}, .value = {}, .place = key.place});
  if (value.kind == YamlNode::Kind::Scalar && group == "command")
    return Put({FindRow(group, "run"), {}, std::string(keys::Command), value.text, false, value.place});
  if (value.kind != YamlNode::Kind::Map)
    return m_mistakes.Add(value.place, Quoted(group) + " holds settings of its own, or is empty");
  for (std::size_t i = 0; i < value.children.size(); i += 2)
    ReadNamed(group, value.children[i], value.children[i + 1]);
}

void SettingsReader::ReadNamed(std::string_view group, const YamlNode& key, const YamlNode& value) {
  const auto* row = FindRow(group, key.text);
  if (row == nullptr) return RefuseUnknown(group, key);
  if (!Suits(*row, m_type))
    return m_mistakes.Add(
        key.place,
        Quoted(NameOf({row, {}, {}, {}, false, {}})) +
            (row->key == keys::Parameter
                 ? " is not for a " + std::string(m_type) +
                       DidYouMean(m_type == ce::TypeWeb ? "url" : "server")
                 : " is for a " + std::string(row->type.empty() ? GroupOf(row->key) : row->type) + " only"));
  if (!RequireText(key, value)) return;
  if (value.asIs) return m_mistakes.Add(value.place, "!raw and !!binary are for keys of attributes only");
  std::optional<std::string> mistake;
  auto text = ValueFrom(*row, value.text, mistake);
  if (!mistake && IsWholeValue(*row)) mistake = ValueMistake(row->type, row->key, text);
  if (mistake) m_mistakes.Add(value.place, *mistake);
  if (row->form == Form::File && !text.starts_with('/')) text = m_folder + "/" + text;
  Put({row, {}, std::string(row->key), std::move(text), false, key.place});
}

void SettingsReader::ReadAttribute(const YamlNode& key, const YamlNode& value) {
  if (!RequireText(key, value)) return;
  std::optional<std::string> mistake;
  if (!value.asIs && !key.asIs)
    mistake = AttributeMistake(m_type, key.text, value.text);
  else if (key.text == keys::Result)
    mistake = Quoted(key.text) + " is the engine's";
  else if (value.text.size() > ce::MaxValueSize)
    mistake = "the value is longer than 1 MiB";
  else if (key.text.empty() || key.text.size() > ce::MaxKeySize)
    mistake = "the key is empty or too long";
  if (mistake) return m_mistakes.Add(value.place, *mistake);
  Put({nullptr, {}, key.text, value.text, false, key.place});
}

void SettingsReader::RefuseUnknown(std::string_view group, const YamlNode& key) {
  std::vector<std::string_view> known;
  for (const auto& row : ShortNames)
    if (row.group == group && Suits(row, m_type)) known.push_back(row.name);
  if (group.empty()) {
    known.insert(known.end(), Groups.begin(), Groups.end());
    known.insert(known.end(), m_skipped.begin(), m_skipped.end());
    known.insert(known.end(), ce::KnownKeys.begin(), ce::KnownKeys.end());
  }
  m_mistakes.Add(key.place, "unknown setting " + Quoted(key.text) +
                                (group.empty() ? std::string() : " in " + Quoted(group)) +
                                DidYouMean(Nearest(key.text, known)));
}

bool SettingsReader::RequireText(const YamlNode& key, const YamlNode& value) {
  if (value.kind == YamlNode::Kind::Scalar) return true;
  m_mistakes.Add(value.place, Quoted(key.text) + " holds one value, not several");
  return false;
}

void SettingsReader::Put(Setting setting) {
  const auto other =
      std::ranges::find_if(m_settings, [&](const Setting& each) { return Conflict(each, setting); });
  if (other == m_settings.end()) return m_settings.push_back(std::move(setting));
  if (NameOf(*other) == NameOf(setting)) return;  // that it stands here twice was said
  m_mistakes.Add(setting.place, Quoted(NameOf(setting)) + " and " + Quoted(NameOf(*other)) + " in line " +
                                    std::to_string(other->place.line) + " exclude each other");
}

// Layers

void Overlay(Settings& lower, const Settings& upper, std::string_view typeName) {
  const auto below = lower.size();
  Settings merged;
  merged.reserve(below + upper.size());
  for (auto& each : lower) {
    const bool isReplaced = std::ranges::any_of(
        upper, [&](const Setting& other) { return Suits(other, typeName) && Conflict(each, other); });
    if (!isReplaced) merged.push_back(std::move(each));
  }
  for (const auto& each : upper)
    if (Suits(each, typeName)) merged.push_back(each);
  lower = std::move(merged);
}

// Attributes

namespace {

/// How a notification goes, from its parts.
class Notification {
 public:
  /// Whether the setting is a part of it.
  bool Add(const Setting& setting) {
    if (setting.row == nullptr || setting.row->way == Way::Any) return false;
    m_parts.push_back(&setting);
    return true;
  }

  void Resolve(AttributeValues& values, Mistakes& mistakes) const {
    const auto *mail = Find("mail"), *via = Find("via"), *from = Find("from"), *phone = Find("phone"),
               *call = Find("call"), *number = Find("number");
    Require(mail, via, "notify.mail lacks \"via\", the mail server", mistakes);
    Require(call, number, "notify.call lacks \"number\", whom to call", mistakes);
    RequireUse(via, mail, "notify.via is of no use without \"mail\", the address", mistakes);
    RequireUse(from, mail, "notify.from is of no use without \"mail\", the address", mistakes);
    RequireUse(number, call, "notify.number is of no use without \"call\", the gateway's URL", mistakes);
    if (mail != nullptr && via != nullptr)
      Put(values, formats::MailMode(via->value, from == nullptr ? std::string() : from->value), *mail);
    if (phone != nullptr) Put(values, std::string(formats::PhoneMode), *phone);
    if (call != nullptr && number != nullptr) Put(values, call->value, *number);
  }

 private:
  const Setting* Find(std::string_view name) const {
    const auto found = std::ranges::find(m_parts, name, [](const Setting* each) { return each->row->name; });
    return found == m_parts.end() ? nullptr : *found;
  }
  static void Require(const Setting* one, const Setting* other, const char* mistake, Mistakes& mistakes) {
    if (one != nullptr && other == nullptr) mistakes.Add(one->place, mistake);
  }
  /// Defaults may have more than each monitor uses.
  static void RequireUse(const Setting* one, const Setting* other, const char* mistake, Mistakes& mistakes) {
    if (one != nullptr && !one->isDefault) Require(one, other, mistake, mistakes);
  }
  static void Put(AttributeValues& values, std::string mode, const Setting& to) {
    values[std::string(keys::NotifyMode)] = std::move(mode);
    values[std::string(keys::NotifyPager)] = to.value;
  }

  std::vector<const Setting*> m_parts;
};

std::string ReadPassword(const Setting& setting, PasswordFiles& passwords, Mistakes& mistakes) {
  const auto [place, isNew] = passwords.try_emplace(setting.value);
  if (!isNew) return place->second;
  try {
    auto password = platform::ReadSecretFile(setting.value, MaxPasswordSize);
    if (password.size() == MaxPasswordSize) throw std::runtime_error("too long");
    if (password.ends_with('\n')) password.pop_back();
    if (password.ends_with('\r')) password.pop_back();
    if (const auto mistake = ValueMistake({}, keys::PopPass, password)) throw std::runtime_error(*mistake);
    place->second = std::move(password);
  } catch (const std::runtime_error& error) {
    mistakes.Add(setting.place, "password_file " + Quoted(setting.value) + ": " + error.what());
  }
  return place->second;
}

}  // namespace

AttributeValues Resolve(const Settings& settings, PasswordFiles& passwords, Mistakes& mistakes) {
  AttributeValues values;
  Notification notification;
  for (const auto& setting : settings) {
    if (!setting.emptied.empty() || notification.Add(setting)) continue;
    const bool isFile = setting.row != nullptr && setting.row->form == Form::File;
    values[setting.key] = isFile ? ReadPassword(setting, passwords, mistakes) : setting.value;
  }
  notification.Resolve(values, mistakes);
  return values;
}

}  // namespace norvane::text
