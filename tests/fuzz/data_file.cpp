// Any bytes as a data file: it is loaded, or refused by StoreError. What was loaded can be saved, and is the
// same when it is loaded again.

#include "engine/checks/ProbeType.h"
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

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const loopback::TempFolder folder;
  const auto path = tests::WriteFile(folder / "in.dat", {reinterpret_cast<const char*>(data), size});
  try {
    const auto contents = engine::datafile::Load(path, Generation, engine::ProbeTable());
    SaveAll(contents, folder / "out.dat");
    RequireSame(contents, engine::datafile::Load(folder / "out.dat", Generation, engine::ProbeTable()));
  } catch (const engine::StoreError& error) {
    tests::Require(*error.what() != '\0');
  }
  return 0;
}
