#pragma once

#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "console/engine/MonitorChange.h"
#include "console/engine/MonitorKeys.h"

namespace norvane::tests {

/// New monitors that have whatever an engine can hold: right values, nearly right ones, and any characters.
inline std::vector<console::engine::MonitorChange> OddMonitors(int count, unsigned seed) {
  namespace ce = console::engine;
  namespace keys = ce::keys;
  static constexpr std::string_view pieces[] = {"",
                                                "a",
                                                "shop.example",
                                                "https://shop.example/?q=1#top",
                                                "http://gateway/?m=%s&n=%s",
                                                "SMTP://mail;me@example",
                                                "SMTP://mail",
                                                "smtp://mail;x",
                                                "TEL://",
                                                "STR:Add",
                                                "STR:",
                                                "str:x",
                                                "SIZE:12",
                                                "SUM:x",
                                                "60",
                                                "0.5",
                                                "90",
                                                "86400",
                                                "1e3",
                                                "007",
                                                "abc",
                                                " ",
                                                "  lead",
                                                "trail ",
                                                "yes",
                                                "No",
                                                "null",
                                                "~",
                                                "- a",
                                                "? b",
                                                "key: value",
                                                "x #y",
                                                "#",
                                                "&a",
                                                "*a",
                                                "!raw",
                                                "{a: b}",
                                                "[1]",
                                                "%TAG",
                                                "@",
                                                "`",
                                                "'",
                                                "\"",
                                                "\\",
                                                "|",
                                                ">",
                                                "---",
                                                "...",
                                                "\n",
                                                "a\nb\n",
                                                "\r\n",
                                                "\t",
                                                "\x01\x7f",
                                                "\xc2\x85",
                                                "\xc2\xa0",
                                                "\xe2\x80\xa8",
                                                "\xef\xbb\xbf",
                                                "\xef\xbf\xbe",
                                                "\xf0\x9f\x99\x82",
                                                "\xc3\xa4\xcc\x88",
                                                "\xe2\x80\xae",
                                                "Enable",
                                                "Disable",
                                                "enable",
                                                "WebMonitor Of 1",
                                                "30s",
                                                "running"};
  std::mt19937 random(seed);
  const auto pick = [&](std::size_t below) { return static_cast<std::size_t>(random() % below); };
  const auto text = [&] {
    std::string value(pieces[pick(std::size(pieces))]);
    while (pick(3) == 0)
      value += pieces[pick(std::size(pieces))];
    if (pick(20) == 0) value += '\0';
    return value;
  };
  const auto plain = [&] {  // control characters don't go into names
    auto value = text();
    std::erase_if(value, [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; });
    return value;
  };
  static constexpr std::string_view types[] = {ce::TypeWeb, ce::TypePop3, ce::TypeSmtp};
  std::vector<ce::MonitorChange> monitors;
  for (int i = 0; i < count; ++i) {
    auto& monitor = monitors.emplace_back();
    monitor.what = ce::MonitorChange::What::Add;
    monitor.name = std::string(types[pick(3)]) + std::string(ce::NameSeparator) + plain() + std::to_string(i);
    for (const auto key : ce::KnownKeys) {
      const bool isFile = key == keys::Command || key == keys::LogFile;
      const bool counts = key != keys::Result && key != keys::Parent;  // a circle would be refused
      if (counts && pick(2) == 0)
        monitor.values.emplace_back(key, isFile && pick(4) == 0 ? text() + "\xff\xfe" : text());
    }
    if (pick(3) == 0) monitor.values.emplace_back("other " + plain() + ":", text());
    for (const auto* key : {"interval", "notify", "use"})
      if (pick(9) == 0) monitor.values.emplace_back(key, text());
    if (pick(9) == 0)
      monitor.values.emplace_back(std::string(200, 'k') + text(), std::string(5000, 'v') + text());
  }
  return monitors;
}

}  // namespace norvane::tests
