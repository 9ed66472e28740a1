#include "service/Config.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string_view>

#include "engine/notify/channels/ModemCall.h"
#include "formats/Duration.h"
#include "formats/Number.h"
#include "platform/Ascii.h"
#include "platform/IniFile.h"
#include "platform/Peer.h"

namespace norvane::service {

namespace {

constexpr int MaxCheckThreads = 64;
constexpr double MaxSingle = 1e6;
constexpr int MaxHistoryDays = 36500;
constexpr double MinLogDays = 0.05, MaxLogDays = 36500;  // an hour at least

/// Gives whether the value makes sense. An empty one stands for the default.
using Apply = bool (*)(const std::string& value, Config& config);

bool ApplyCharset(const std::string& value, Config& config) {
  try {
    config.charset = platform::LegacyCharset(value);
    return true;
  } catch (const std::invalid_argument&) {
    return false;
  }
}

bool ApplyThreads(const std::string& value, Config& config) {
  const auto threads = formats::ParseNumber(value, 1, MaxCheckThreads);
  if (threads) config.checkThreads = static_cast<std::size_t>(*threads);
  return threads || value.empty();
}

bool ApplyLogDays(const std::string& value, Config& config) {
  const auto days = formats::ParseNumber(value);
  const bool makesSense = days && (*days == 0 || *days >= MinLogDays);
  if (makesSense) config.logAge = std::chrono::hours(static_cast<int>(std::min(*days, MaxLogDays) * 24));
  return makesSense || value.empty();
}

template <std::chrono::days engine::HistoryAges::*Age>
bool ApplyHistoryDays(const std::string& value, Config& config) {
  const auto days = formats::ParseNumber(value, 1, MaxHistoryDays);
  if (days) config.history.*Age = std::chrono::days(static_cast<int>(*days));
  return days || value.empty();
}

template <std::string engine::AdminAddress::*Field>
bool ApplyAdmin(const std::string& value, Config& config) {
  config.admin.*Field = value;
  return true;
}

bool ApplyGiveUp(const std::string& value, Config& config) {
  const auto time = formats::ParseDuration(value);
  const bool makesSense = time && *time >= std::chrono::minutes(1);
  if (makesSense) config.alarms.messages.giveUp = *time;
  return makesSense || value.empty();
}

bool ApplySingle(const std::string& value, Config& config) {
  const auto count = formats::ParseNumber(value, 0, MaxSingle);
  if (count) config.alarms.messages.single = static_cast<std::size_t>(*count);
  return count || value.empty();
}

bool ApplyRecovery(const std::string& value, Config& config) {
  config.alarms.tellsRecovery = platform::EqualsIgnoringCase(value, "yes");
  return config.alarms.tellsRecovery || value.empty() || platform::EqualsIgnoringCase(value, "no");
}

bool ApplyCaFile(const std::string& value, Config& config) {
  if (!value.empty()) config.caFile = value;
  return true;
}

/// Of a setting that somebody else reads.
template <int Most>
bool IsNumberTo(const std::string& value, Config&) {
  return value.empty() || formats::ParseNumber(value, 1, Most);
}

bool AcceptAll(const std::string&, Config&) {
  return true;
}

struct Setting {
  std::string_view section, key;
  Apply apply = &AcceptAll;
  const char* meaning = "";   ///< of a value
  const char* fallback = "";  ///< used instead of one that makes no sense
};

constexpr int MaxWait = engine::ModemSettings::MaxWait.count();

/// All that anybody reads in the file, the console too.
constexpr Setting Settings[] = {
    {"engine", "group"},
    {"help", "feedback"},
    {"text", "charset", &ApplyCharset, "a character set", platform::LegacyCharset::DefaultName.data()},
    {"gateway", "url"},
    {"gateway", "sender"},
    {"gateway", "earlier"},
    {"notify", "admin", &ApplyAdmin<&engine::AdminAddress::mode>},
    {"notify", "to", &ApplyAdmin<&engine::AdminAddress::to>},
    {"notify", "give_up", &ApplyGiveUp, "a time from 1m", "1d"},
    {"notify", "single", &ApplySingle, "a number from 0", "20"},
    {"notify", "recovery", &ApplyRecovery, "yes or no", "no"},
    {"log", "days", &ApplyLogDays, "0 or a number from 0.05", "90"},
    {"history", "minutes", &ApplyHistoryDays<&engine::HistoryAges::minutes>, "a number from 1 to 36500", "8"},
    {"history", "hours", &ApplyHistoryDays<&engine::HistoryAges::hours>, "a number from 1 to 36500", "400"},
    {"history", "days", &ApplyHistoryDays<&engine::HistoryAges::days>, "a number from 1 to 36500", "3650"},
    {"checks", "threads", &ApplyThreads, "a number from 1 to 64", "one for each CPU"},
    {"tls", "cafile", &ApplyCaFile},
    {"modem", "device"},
    {"modem", "speed", &IsNumberTo<engine::ModemSettings::MaxSpeed>, "a number from 1 to 1000000", "9600"},
    {"modem", "init"},
    {"modem", "dial"},
    {"modem", "wait", &IsNumberTo<MaxWait>, "a number from 1 to 600", "30"},
};

bool Same(std::string_view a, std::string_view b) {
  return platform::EqualsIgnoringCase(a, b);
}

/// The name of a section or key that nobody knows.
std::string Unknown(const platform::IniFile::Section& section, const platform::IniFile::Entry* entry) {
  const auto name = "[" + section.name + "]";
  if (std::ranges::none_of(Settings, [&](const auto& each) { return Same(each.section, section.name); }))
    return "section " + name;
  if (entry == nullptr || std::ranges::any_of(Settings, [&](const auto& each) {
        return Same(each.section, section.name) && Same(each.key, entry->key);
      }))
    return {};
  return "key " + name + " " + entry->key;
}

}  // namespace

Config Config::Read(const std::string& path) {
  const platform::IniFile file(path);
  Config config;
  if (!file.problem.empty()) config.problem = "config.ini: " + file.problem;
  for (const auto& line : file.ignored)
    config.remarks.push_back("config.ini: " + line);
  for (const auto& [section, key, apply, meaning, fallback] : Settings) {
    const auto value = file.Find(section, key);
    if (value && !apply(*value, config))
      config.remarks.push_back("config.ini: [" + std::string(section) + "] " + std::string(key) + "=" +
                               *value + " is not " + meaning + ", using " + fallback);
  }
  std::set<std::string> unknown;
  const auto note = [&](const std::string& name) {
    if (!name.empty() && unknown.insert(platform::AsciiUpper(name)).second)
      config.remarks.push_back("config.ini: unknown " + name);
  };
  const auto addProblem = [&](const std::string& text) {
    config.problem += (config.problem.empty() ? "config.ini: " : "; ") + text;
  };
  if (const auto group = file.Find("engine", "group"); group && !group->empty()) {
    config.group = platform::FindGroup(*group);
    if (!config.group) addProblem("[engine] group: there is no group " + *group);
  }
  const auto folder = std::filesystem::path(path).parent_path().string();
  config.caFile = (std::filesystem::path(folder) / config.caFile).string();
  if (file.Find("tls", "cafile") && ::access(config.caFile.c_str(), R_OK) != 0)
    config.remarks.push_back("config.ini: [tls] cafile: cannot read " + config.caFile);
  for (const auto& section : file.sections) {
    if (engine::MailServerTable::IsMailServer(section.name)) {
      const auto wrong = config.mailServers.Add(section, folder);
      if (!wrong.empty()) config.remarks.push_back("config.ini: " + wrong);
      continue;
    }
    if (engine::ExitSettings::IsExit(section.name)) {
      const auto wrong = config.exits.Add(section, folder);
      if (!wrong.empty()) addProblem(wrong);
      continue;
    }
    note(Unknown(section, nullptr));
    for (const auto& entry : section.entries)
      note(Unknown(section, &entry));
  }
  config.alarms.messages.webhooks = config.exits.webhooks;
  config.alarms.alertmanagers = config.exits.alertmanagers;
  return config;
}

}  // namespace norvane::service
