// Files of monitors: any bytes give monitors or mistakes, and what gives monitors is stable.

#include <string>

#include "tests/fuzz/Fuzzer.h"
#include "text/ApplyPlan.h"
#include "text/MonitorText.h"

using namespace norvane;
using tests::Require;
namespace ce = console::engine;

namespace {

ce::MonitorPtr RecordOf(const ce::MonitorChange& change) {
  auto record = std::make_shared<ce::MonitorRecord>();
  record->name = change.name;
  ce::KnownValues::Views known;
  for (const auto& [key, value] : ce::NewMonitorValues)
    known[*ce::KnownPosition(key)] = value;
  for (const auto& [key, value] : change.values) {
    if (const auto position = ce::KnownPosition(key))
      known[*position] = value;
    else
      record->others[key] = value;
  }
  record->known = ce::KnownValues(known);
  return record;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto description = text::ReadMonitorText({reinterpret_cast<const char*>(data), size});
  for (const auto& mistake : description.mistakes.Kept())
    Require(!text::TextOf(mistake, description.files).empty());
  if (!description.mistakes.IsEmpty()) return 0;
  ce::MonitorSnapshot monitors;
  for (const auto& change : text::MakePlan(description, {}, "/folder", false).changes)
    monitors.push_back(RecordOf(change));
  Require(text::MakePlan(description, monitors, "/folder", true).changes.empty());
  const auto again = text::ReadMonitorText(text::TextOf(monitors, "/folder", text::Secrets::Shown));
  Require(again.mistakes.IsEmpty());
  Require(text::MakePlan(again, monitors, "/folder", true).changes.empty());
  return 0;
}
