// Any bytes as a data file: it is loaded, or refused by StoreError. What was loaded can be saved, and is the
// same when it is loaded again.
//
// An input that begins with "C" is a list of changes to a file of usual size, so that small inputs reach all
// of it: a byte for how many monitors there are, then for each change a place in three bytes, low one first,
// a length in one, and so many bytes. Without bytes the file ends there.

#include <algorithm>
#include <array>

#include "bench/SampleMonitors.h"
#include "engine/checks/ProbeTable.h"
#include "engine/store/DataFile.h"
#include "engine/store/StoreError.h"
#include "loopback/TempFolder.h"
#include "tests/fuzz/Fuzzer.h"
#include "tests/support/Files.h"

namespace {

using namespace norvane;
using engine::datafile::Contents;

constexpr std::uint32_t Generation = 1;

void SaveAll(const Contents& contents, const std::string& path) {
  engine::datafile::Changes changes;
  for (const auto& [id, monitor] : contents.table->All())
    changes.rows.push_back({static_cast<std::uint32_t>(id), monitor.name, monitor.attributes});
  changes.total = changes.rows.size();
  std::string keptAs;
  tests::Require(engine::datafile::Save(path, changes, engine::ProbeTable(), &keptAs).has_value());
}

void RequireSame(const engine::Attributes& one, const engine::Attributes& other) {
  for (std::size_t i = 0; i < console::engine::KnownKeys.size(); ++i)
    tests::Require(one.At(i) == other.At(i));
  tests::Require(one.Unknown() == other.Unknown());
}

void RequireSame(const Contents& one, const Contents& other) {
  tests::Require(one.table->Count() == other.table->Count());
  auto at = other.table->All().begin();
  for (const auto& [id, monitor] : one.table->All()) {
    tests::Require(at->first == id && at->second.name == monitor.name);
    RequireSame(*at->second.attributes, *monitor.attributes);
    ++at;
  }
}

std::string FileOf(std::uint32_t monitors) {
  engine::datafile::Changes changes;
  for (std::uint32_t number = 1; number <= monitors; ++number)
    changes.rows.push_back(bench::RowOf(number, "http://host" + std::to_string(number) + ".test/"));
  changes.total = changes.rows.size();
  const loopback::TempFolder folder;
  std::string keptAs;
  tests::Require(
      engine::datafile::Save(folder / "base.dat", changes, engine::ProbeTable(), &keptAs).has_value());
  return tests::ReadFile(folder / "base.dat");
}

std::string Changed(std::string_view changes) {
  static const std::array files{FileOf(2), FileOf(100), FileOf(1000)};
  constexpr std::size_t HeadSize = 4;
  const auto byte = [&](std::size_t at) { return std::size_t{static_cast<unsigned char>(changes[at])}; };
  if (changes.empty()) return files[0];
  auto file = files[byte(0) % files.size()];
  changes.remove_prefix(1);
  while (changes.size() >= HeadSize && !file.empty()) {
    const auto at = (byte(0) | byte(1) << 8 | byte(2) << 16) % file.size();
    const auto text = changes.substr(HeadSize, byte(3));
    if (byte(3) == 0)
      file.resize(at);
    else
      file.replace(at, std::min(text.size(), file.size() - at), text.substr(0, file.size() - at));
    changes.remove_prefix(HeadSize + text.size());
  }
  return file;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const loopback::TempFolder folder;
  const auto path = tests::WriteFile(folder / "in.dat",
                                     input.starts_with('C') ? Changed(input.substr(1)) : std::string(input));
  try {
    const auto contents = engine::datafile::Load(path, Generation, engine::ProbeTable());
    SaveAll(contents, folder / "out.dat");
    RequireSame(contents, engine::datafile::Load(folder / "out.dat", Generation, engine::ProbeTable()));
  } catch (const engine::StoreError& error) {
    tests::Require(*error.what() != '\0');
  }
  return 0;
}
