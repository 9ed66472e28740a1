#include "text/MonitorLines.h"

#include <algorithm>
#include <optional>

#include "console/engine/NumberRules.h"
#include "formats/Duration.h"
#include "formats/NotifyMode.h"
#include "formats/Number.h"
#include "formats/SuccessFlag.h"
#include "platform/FileNames.h"
#include "platform/Utf8.h"
#include "text/AttributeRules.h"
#include "text/ShortNames.h"

namespace norvane::text {

namespace ce = console::engine;
namespace keys = ce::keys;
using Style = MonitorLine::Style;

namespace {

using Mode = formats::NotifyMode;

class Lines {
 public:
  Lines(std::string_view typeName, const AttributeValues& values, const std::string& folder)
      : m_type(typeName), m_values(values), m_folder(folder) {
    const auto mode = Get(keys::NotifyMode);
    m_mode = Mode::Parse(mode);
    if (m_mode.form == Mode::Form::Mail && !m_mode.server.empty() &&
        formats::MailMode(m_mode.server, m_mode.sender) == mode)
      m_way = Way::Mail;
    else if (mode == formats::PhoneMode)
      m_way = Way::Phone;
    else if (m_mode.form == Mode::Form::InternetCall)
      m_way = Way::Call;
  }

  std::vector<MonitorLine> All() {
    for (const auto& row : ShortNames)
      if (IsFor(row)) Add(row);
    AddRaw();
    return std::move(m_lines);
  }

 private:
  std::string_view Get(std::string_view key) const {
    const auto found = m_values.find(key);
    return found == m_values.end() ? std::string_view() : found->second;
  }

  /// The one "server" of all types but the one that has an "url".
  bool IsFor(const ShortName& row) const {
    if (row.name == "server") return m_type != ce::TypeWeb;
    if (!row.type.empty() && row.type != m_type) return false;
    if (row.form == Form::File) return false;
    return row.way == Way::Any || (row.way == m_way && !SaysNothing(row));
  }

  /// A number without text is left to its raw key, so that none is missing here.
  bool SaysNothing(const ShortName& row) const {
    return row.form == Form::MailSender && m_mode.sender.empty();
  }

  bool IsDefault(std::string_view key) const {
    return key != keys::Status && key != keys::Parameter && Get(key) == DefaultOf(key, m_folder);
  }

  void Add(const ShortName& row) {
    const auto key = row.key;
    if (IsDefault(key) && row.way == Way::Any) return;
    const auto value = Get(key);
    if (!platform::IsValidUtf8(value) || ValueMistake(m_type, key, value)) return;
    auto text = TextOf(row, value);
    if (!text) return;
    m_said.push_back(key);
    if (row.way != Way::Any) m_said.push_back(keys::NotifyMode);
    const bool isPlain = row.form == Form::Seconds || row.form == Form::Number || row.form == Form::State;
    m_lines.push_back({std::string(row.group), std::string(row.name), std::move(*text),
                       isPlain ? Style::Plain : Style::Text, IsSecret(key)});
  }

  /// Nothing if it does not read back as it is.
  std::optional<std::string> TextOf(const ShortName& row, std::string_view value) const {
    using Kind = formats::SuccessFlag::Kind;
    const auto flag = [&](Kind kind) -> std::optional<std::string> {
      const auto parsed = formats::ParseSuccessFlag(value);
      if (parsed.kind != kind || formats::FormatSuccessFlag(parsed) != value) return std::nullopt;
      return std::string(parsed.parameter);
    };
    switch (row.form) {
      case Form::Seconds: {
        const auto number = formats::ParseNumber(value);
        if (!number || formats::FormatNumber(*number) != value) return std::nullopt;
        auto text = formats::DurationText(*number);
        const auto back = formats::ParseSeconds(text);
        return back && formats::FormatNumber(*back) == value ? std::optional(std::move(text)) : std::nullopt;
      }
      case Form::Number: {
        const auto number = formats::ParseNumber(value);
        if (!number || formats::FormatNumber(*number) != value) return std::nullopt;
        return std::string(value);
      }
      case Form::State:
        return std::string(value == ce::StatusEnable ? StateRunning : StateStopped);
      case Form::FoundText:
        return flag(Kind::String);
      case Form::FoundSize:
        return flag(Kind::Size);
      case Form::FoundSum:
        return flag(Kind::Sum);
      case Form::MailServer:
        return m_mode.server;
      case Form::MailSender:
        return m_mode.sender;
      default:
        return std::string(value);
    }
  }

  void AddRaw() {
    for (const auto key : ce::KnownKeys) {
      const bool isSaid = std::ranges::find(m_said, key) != m_said.end();
      if (!isSaid && key != keys::Result && !IsDefault(key)) AddRaw(key, Get(key));
    }
    for (const auto& [key, value] : m_values)
      if (!ce::KnownPosition(key) && !value.empty()) AddRaw(key, value);
  }

  void AddRaw(std::string_view key, std::string_view value) {
    const auto style = !platform::IsValidUtf8(value)          ? Style::Bytes
                       : AttributeMistake(m_type, key, value) ? Style::Raw
                                                              : Style::Text;
    m_lines.push_back({"", std::string(key), std::string(value), style, IsSecret(key)});
  }

  std::string_view m_type;
  const AttributeValues& m_values;
  const std::string& m_folder;
  Mode m_mode;
  Way m_way = Way::Any;  // none
  std::vector<std::string_view> m_said;
  std::vector<MonitorLine> m_lines;
};

}  // namespace

AttributeValues ValuesOf(const ce::MonitorRecord& monitor) {
  AttributeValues values;
  for (std::size_t i = 0; i < ce::KnownKeys.size(); ++i)
    if (ce::KnownKeys[i] != keys::Result && !monitor.known[i].empty())
      values.emplace(ce::KnownKeys[i], monitor.known[i]);
  for (const auto& [key, value] : monitor.others)
    if (!value.empty()) values.emplace(key, value);
  return values;
}

std::string DefaultOf(std::string_view key, const std::string& folder) {
  if (key == keys::LogFile) return platform::PathIn(folder, platform::files::MonitorLog);
  if (key == keys::Status) return std::string(ce::StatusEnable);
  return std::string(ce::NewMonitorValue(key));
}

std::vector<MonitorLine> LinesOf(std::string_view typeName, const AttributeValues& values,
                                 const std::string& folder) {
  return Lines(typeName, values, folder).All();
}

}  // namespace norvane::text
