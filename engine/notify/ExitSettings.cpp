#include "engine/notify/ExitSettings.h"

#include <algorithm>
#include <utility>

#include "formats/Duration.h"
#include "platform/Ascii.h"
#include "platform/Blanks.h"
#include "platform/FileNames.h"

namespace norvane::engine {

using platform::EqualsIgnoringCase;
using Entry = platform::IniFile::Entry;

namespace {

constexpr std::string_view Webhook = "webhook ", Alertmanager = "alertmanager", Heartbeat = "heartbeat";
constexpr std::chrono::seconds MinPeriod{5};

bool IsWebUrl(std::string_view text) {
  return std::ranges::any_of(
      std::initializer_list<std::string_view>{"http://", "https://"}, [&](auto scheme) {
        return platform::StartsWithIgnoringCase(text, scheme) && text.size() > scheme.size();
      });
}

std::vector<std::string> Words(std::string_view text) {
  constexpr std::string_view separators = ", \t";
  std::vector<std::string> words;
  for (auto begin = text.find_first_not_of(separators); begin != std::string_view::npos;
       begin = text.find_first_not_of(separators)) {
    text.remove_prefix(begin);
    words.emplace_back(text.substr(0, text.find_first_of(separators)));
    text.remove_prefix(words.back().size());
  }
  return words;
}

// Each gives why the value of a key makes no sense; empty if it does.

std::string SetUrl(std::string& url, const std::string& value) {
  if (!IsWebUrl(value)) return "url is not an http or https URL";
  url = value;
  return {};
}

std::string SetEvents(WebhookSettings& webhook, const std::string& value) {
  webhook.begins = webhook.ends = false;
  for (const auto& word : Words(value)) {
    if (EqualsIgnoringCase(word, "outage_begins"))
      webhook.begins = true;
    else if (EqualsIgnoringCase(word, "outage_ends"))
      webhook.ends = true;
    else if (EqualsIgnoringCase(word, "conditions"))
      webhook.conditions = true;
    else
      return "events=" + value + ": " + word + " is not outage_begins, outage_ends or conditions";
  }
  return {};
}

std::string SetWebhook(WebhookSettings& webhook, const Entry& entry, const std::string& folder) {
  if (EqualsIgnoringCase(entry.key, "url")) return SetUrl(webhook.url, entry.value);
  if (EqualsIgnoringCase(entry.key, "events")) return SetEvents(webhook, entry.value);
  if (!EqualsIgnoringCase(entry.key, "header_file")) return "unknown key " + entry.key;
  webhook.headerFile = entry.value.starts_with('/') ? entry.value : platform::PathIn(folder, entry.value);
  return entry.value.empty() ? "header_file is empty" : std::string();
}

std::string SetAlertmanager(std::vector<std::string>& urls, const Entry& entry) {
  if (!EqualsIgnoringCase(entry.key, "urls")) return "unknown key " + entry.key;
  for (auto& url : Words(entry.value)) {
    if (!IsWebUrl(url)) return "urls has something that is not an http or https URL";
    urls.push_back(std::move(url));
  }
  return {};
}

std::string SetHeartbeat(ExitSettings& settings, const Entry& entry) {
  if (EqualsIgnoringCase(entry.key, "url")) return SetUrl(settings.heartbeat, entry.value);
  if (!EqualsIgnoringCase(entry.key, "every")) return "unknown key " + entry.key;
  const auto period = formats::ParseDuration(entry.value);
  if (!period || *period < MinPeriod) return "every=" + entry.value + " is not a time from 5s, using 60s";
  settings.heartbeatPeriod = *period;
  return {};
}

/// What is wrong with the entries; `isComplete` says afterwards whether what must be there is.
template <class Set, class IsComplete>
std::string SetAll(const platform::IniFile::Section& section, Set set, std::string_view mandatory,
                   IsComplete isComplete) {
  std::string wrong;
  const auto note = [&](const std::string& text) {
    if (!text.empty()) wrong += (wrong.empty() ? "[" + section.name + "] " : "; ") + text;
  };
  for (const auto& entry : section.entries)
    note(set(entry));
  if (!isComplete() && wrong.empty()) note("has no " + std::string(mandatory));
  return wrong;
}

}  // namespace

bool ExitSettings::IsExit(std::string_view section) {
  return platform::StartsWithIgnoringCase(section, Webhook) || EqualsIgnoringCase(section, Alertmanager) ||
         EqualsIgnoringCase(section, Heartbeat);
}

std::string ExitSettings::Add(const platform::IniFile::Section& section, const std::string& folder) {
  if (EqualsIgnoringCase(section.name, Heartbeat))
    return SetAll(
        section, [&](const Entry& entry) { return SetHeartbeat(*this, entry); }, "url",
        [&] { return !heartbeat.empty(); });
  if (EqualsIgnoringCase(section.name, Alertmanager))
    return SetAll(
        section, [&](const Entry& entry) { return SetAlertmanager(alertmanagers, entry); }, "urls",
        [&] { return !alertmanagers.empty(); });
  const auto name = platform::Trimmed(std::string_view(section.name).substr(Webhook.size()));
  if (name.empty()) return "[" + section.name + "] has no name";
  WebhookSettings webhook;
  auto wrong = SetAll(
      section, [&](const Entry& entry) { return SetWebhook(webhook, entry, folder); }, "url",
      [&] { return !webhook.url.empty(); });
  if (!webhook.url.empty()) webhooks.emplace(std::string(Webhook) + std::string(name), std::move(webhook));
  return wrong;
}

}  // namespace norvane::engine
