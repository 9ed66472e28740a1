#include "engine/store/RollbackJournal.h"

#include <fcntl.h>
#include <unistd.h>

#include "engine/store/Database.h"
#include "engine/store/KeepAside.h"
#include "engine/store/StoreError.h"
#include "platform/FileDescriptor.h"
#include "platform/RandomText.h"

namespace norvane::engine::datafile {

namespace {
// A state is `:NAME<PREDECESSOR`, so that no name is found in the place of the other one.
constexpr char NameMark = ':', PredecessorMark = '<';
constexpr std::size_t NameBytes = 16;

/// The journal's header, of a sector, and the first page, which is that of the state: a save writes it first.
constexpr std::size_t StartSize = 128 << 10;

std::string StartOf(const std::string& path) {
  const platform::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  std::string bytes(StartSize, '\0');
  const auto count = file ? ::read(file.Get(), bytes.data(), bytes.size()) : -1;
  bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return bytes;
}

/// Whether the page in the journal is of the state that the file has, or had before the save.
bool BelongsTo(const std::string& state, const std::string& journal) {
  const auto end = state.find(PredecessorMark);
  if (!state.starts_with(NameMark) || end == std::string::npos) return true;  // of an earlier program
  const auto has = [&](const std::string& name) {
    return !name.empty() && journal.find(NameMark + name + PredecessorMark) != std::string::npos;
  };
  return has(state.substr(1, end - 1)) || has(state.substr(end + 1));
}
}  // namespace

std::string NextState(const std::optional<std::string>& known) {
  const auto before = known && known->starts_with(NameMark)
                          ? known->substr(1, known->find(PredecessorMark) - 1)
                          : std::string();
  return NameMark + platform::RandomText(NameBytes) + PredecessorMark + before;
}

std::string KeepForeignRollback(const std::string& path) {
  const auto journal = path + "-journal";
  const auto start = StartOf(journal);
  if (start.empty() || start[0] == '\0') return {};  // SQLite would not roll back either
  try {
    Database database(path, Database::Mode::AsIs);
    if (BelongsTo(database.Text("SELECT state FROM file_state"), start)) return {};
  } catch (const StoreError&) {
    return {};  // half written: the journal mends it
  }
  return KeepAside(journal);
}

}  // namespace norvane::engine::datafile
