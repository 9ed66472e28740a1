#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "console/engine/Port.h"

/// What norvanectl prints. Text forms escape control characters, since values may come from peers; JSON
/// forms are one value each, with the attribute keys as they are.
namespace norvane::ctl {

/// A value of a JSON object: text, a number, or a list of objects.
struct Field {
  std::string name;
  std::string text;
  bool isNumber = false;
  std::optional<std::vector<std::vector<Field>>> objects{};

  Field(std::string fieldName, std::string value) : name(std::move(fieldName)), text(std::move(value)) {}
  Field(std::string fieldName, long long value)
      : name(std::move(fieldName)), text(std::to_string(value)), isNumber(true) {}
  Field(std::string fieldName, std::vector<std::vector<Field>> value)
      : name(std::move(fieldName)), objects(std::move(value)) {}
};
using Fields = std::vector<Field>;

[[nodiscard]] std::string Json(const Fields& fields);
[[nodiscard]] std::string Json(const std::vector<Fields>& objects);

[[nodiscard]] std::string Escaped(std::string_view text);
/// Local time as in the logs; "never" for the epoch.
[[nodiscard]] std::string TimeText(std::chrono::system_clock::time_point at);

/// All attributes, in the order of the known keys.
[[nodiscard]] Fields AttributesOf(const console::engine::MonitorRecord& monitor);
/// The columns of `list`. `silence` is null if there is none.
[[nodiscard]] Fields SummaryOf(const console::engine::MonitorRecord& monitor,
                               const console::engine::SilenceInfo* silence);
/// The columns of `owed`.
[[nodiscard]] Fields OwedOf(const console::engine::OwedMessage& message);
[[nodiscard]] Fields StatusOf(const console::engine::EngineInfo& info,
                              const console::engine::EngineStatus& status,
                              const console::engine::MonitorSnapshot& monitors);

/// One line per field, the name first; each object of a list has a line with its values.
void PrintFields(const Fields& fields);
/// Columns as wide as their widest cell; the field names of the first row are the heading.
void PrintTable(const std::vector<Fields>& rows);
/// Writes text and a newline to standard output. Throws std::runtime_error if that fails.
void PrintLine(const std::string& text);

}  // namespace norvane::ctl
