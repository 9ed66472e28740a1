#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/model/MonitorTable.h"

/// The data file: all monitors in one SQLite file, one row each, a column for every known key, other keys in
/// a side table. A file made when fewer keys were known is read as it is; the next save gives it the present
/// form. Every row carries a checksum, since SQLite's own check doesn't
/// see a flipped bit within a value. Throws StoreError. Called from one thread at a time.
namespace norvane::engine::datafile {

/// A monitor as the file keeps it. `number` is the lower half of its id and gives the order.
struct Row {
  std::uint32_t number = 0;
  std::string name;
  std::shared_ptr<const Attributes> attributes;
};

[[nodiscard]] inline std::uint32_t NumberOf(MonitorId id) {
  return static_cast<std::uint32_t>(id);
}
[[nodiscard]] inline Row RowOf(const Monitor& monitor) {
  return {NumberOf(monitor.id), monitor.name, monitor.attributes};
}

/// What to write: all monitors, or only what changed since the file was in the state `known`.
struct Changes {
  bool all = true;
  std::vector<Row> rows;
  std::vector<std::uint32_t> removed;
  /// How many monitors the file then holds.
  std::size_t total = 0;
  /// The state in which the writer of the changes last saw this file, if he ever did.
  std::optional<std::string> known;
  /// The name of the new state (`NextState`); empty: it gets one.
  std::string next;
};

struct Contents {
  std::unique_ptr<MonitorTable> table;
  std::string state;  ///< names this very content; a later save of changes starts from it
};

/// Checks the whole file before it gives anything: application id, version, structure, every row's checksum.
[[nodiscard]] Contents Load(const std::string& path, std::uint32_t generation, MonitorTypes types);

/// Renews the last good copy (`GoodCopy.h`) unless it holds this content. One with monitors isn't replaced by
/// one without. Checks the whole file before.
void KeepCopy(const std::string& path, MonitorTypes types);

/// Names the content that the file has now.
[[nodiscard]] std::string StateOf(const std::string& path);

/// Gives the new state once it is on disk. Whatever happens meanwhile, the file holds the old or the new
/// state. Gives nothing if only changes were to be written and the file isn't in the known state (somebody
/// replaced it) or has an earlier schema: then all must be written. A file at `path` that cannot be read as a
/// data file is kept: if `keptAs` is given it gets another name, which is reported there, else the save
/// fails. So for the last good copy of one that is lost. A symbolic link counts as such a file: it is not
/// followed. A save onto what is no file at all fails.
[[nodiscard]] std::optional<std::string> Save(const std::string& path, const Changes& changes,
                                              MonitorTypes types, std::string* keptAs);

}  // namespace norvane::engine::datafile
