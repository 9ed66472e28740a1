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

/// Whether passwords are printed.
enum class Secrets { Hidden, Shown };
[[nodiscard]] std::string Shown(std::string_view key, std::string_view value, Secrets secrets);

[[nodiscard]] std::string Escaped(std::string_view text);
/// Local time as in the logs; "never" for the epoch.
[[nodiscard]] std::string TimeText(std::chrono::system_clock::time_point at);

/// All attributes, in the order of the known keys.
[[nodiscard]] Fields AttributesOf(const console::engine::MonitorRecord& monitor, Secrets secrets);
/// The columns of `list`. `silence` is null if there is none.
[[nodiscard]] Fields SummaryOf(const console::engine::MonitorRecord& monitor,
                               const console::engine::SilenceInfo* silence);
/// The columns of `owed`.
[[nodiscard]] Fields OwedOf(const console::engine::OwedMessage& message);
[[nodiscard]] Fields StatusOf(const console::engine::EngineInfo& info,
                              const console::engine::EngineStatus& status);

/// One line per field, the name first; each object of a list has a line with its values.
void PrintFields(const Fields& fields);
/// How a line looks on a terminal that has colours.
enum class Style { Plain, Bad, Faint };
/// Bad while it runs and fails, faint while it is stopped.
[[nodiscard]] Style StyleOf(const console::engine::MonitorRecord& monitor);
/// Only where standard output is a terminal and NO_COLOR (no-color.org) does not forbid it.
[[nodiscard]] std::string Styled(const std::string& line, Style style);

/// Columns as wide as their widest cell, by what a terminal shows; the field names of the first row are the
/// heading. Columns without any text are left out.
[[nodiscard]] std::vector<std::string> TableLines(const std::vector<Fields>& rows);
/// `styles` are those of the rows; there may be fewer.
void PrintTable(const std::vector<Fields>& rows, const std::vector<Style>& styles = {});

/// Nobody reads what is printed any more.
struct ClosedPipe {};
/// Writes to standard output. Throws ClosedPipe, std::runtime_error.
void Print(const std::string& text);
/// The same, with a newline after it.
void PrintLine(const std::string& text);

/// The one of `types` that is called so, by its full name or its beginning in any case, such as "web". Throws
/// UsageError.
[[nodiscard]] std::string_view TypeCalled(std::string_view name, const std::vector<std::string_view>& types);

}  // namespace norvane::ctl
