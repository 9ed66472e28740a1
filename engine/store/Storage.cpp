#include "engine/store/Storage.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "console/engine/EngineError.h"
#include "engine/store/DataFile.h"
#include "engine/store/GoodCopy.h"
#include "engine/store/Journal.h"
#include "engine/store/NewFile.h"
#include "engine/store/RollbackJournal.h"
#include "engine/store/StoreError.h"
#include "engine/store/Writer.h"
#include "platform/ErrorText.h"
#include "platform/FileNames.h"

namespace norvane::engine {

using console::engine::EngineError;
using console::engine::EngineErrorCode;

namespace {

namespace fs = std::filesystem;

// Conditions.
constexpr std::string_view DataFileUnreadable = "data file unreadable";
constexpr std::string_view DataFileUncopied = "data file not copied";
constexpr std::chrono::hours CopyPause{1};

/// A name that cannot be resolved stays as it is.
fs::path Canonical(const fs::path& path) {
  std::error_code error;
  auto canonical = fs::weakly_canonical(path, error);
  return error ? path : canonical;
}

/// The same, but that the file itself may be a link.
fs::path WithCanonicalFolder(const fs::path& path) {
  return Canonical(path.parent_path()) / path.filename();
}

}  // namespace

struct Storage::Loading {
  datafile::Contents contents;
  std::optional<Journal::Contents> journal;  // of a data file that could not be read
  std::string rollbackKeptAs;
};

struct Storage::Saving {
  datafile::Changes changes;
  std::uint64_t change = 0;  // the last one among them
  std::optional<std::string> state;
  std::string keptAs, journalKeptAs, rollbackKeptAs;
};

Storage::Storage(Client& client, Writer& writer, Health& health, Health::Clock clock, std::string folder,
                 MonitorTypes types)
    : m_client(client),
      m_writer(writer),
      m_health(health),
      m_clock(std::move(clock)),
      m_folder(std::move(folder)),
      m_types(types),
      m_dataFile(WithCanonicalFolder(platform::PathIn(m_folder, platform::files::EngineData)).string()),
      m_journal(std::make_shared<Journal>(platform::PathIn(m_folder, platform::files::EngineJournal))) {}

/// The same file under whatever name. Links that a user names are followed, one in the place of the data file
/// is not.
std::string Storage::FileAt(const std::string& path) const {
  if (path.find('\0') != std::string::npos)  // C would read another name
    throw EngineError(EngineErrorCode::Invalid, "a file name cannot contain NUL");
  const auto full = fs::path(m_folder) / path;
  return WithCanonicalFolder(full) == m_dataFile ? m_dataFile : Canonical(full).string();
}

std::unique_ptr<MonitorTable> Storage::LoadAtStart() {
  std::string state;
  auto table = LoadDataFile(state);
  Replay(std::move(state), table);
  return table;
}

std::unique_ptr<MonitorTable> Storage::LoadDataFile(std::string& state) {
  if (fs::is_symlink(fs::symlink_status(m_dataFile)))
    throw StoreError(StoreErrorCode::Failed, m_dataFile + ": is a symbolic link");
  NewFile::RemoveLeftovers(m_dataFile);
  NoteRollbackKept(m_dataFile, datafile::KeepForeignRollback(m_dataFile));
  try {
    auto contents = datafile::Load(m_dataFile, m_lastGeneration, m_types);
    state = m_dataFileState = contents.state;
    m_saved = SavedMark{std::move(contents.state), contents.table->LastChange()};
    m_servedFile = m_dataFile;
    KeepCopy();
    return std::move(contents.table);
  } catch (const StoreError& error) {
    if (error.Code() == StoreErrorCode::Failed || error.Code() == StoreErrorCode::Newer) throw;
    const auto copied = GoodCopyTime(m_dataFile);
    if (error.Code() == StoreErrorCode::Unreadable || !copied.empty()) {
      state = Journal::UnreadableState;
      m_health.Set(DataFileUnreadable,
                   std::string("cannot read the data file, started without monitors: ") + error.what() +
                       (copied.empty() ? ""
                                       : "; to go on with its copy of " + copied + ": norvanectl load " +
                                             GoodCopyOf(m_dataFile)));
    }
    return std::make_unique<MonitorTable>(m_lastGeneration, m_types);
  }
}

bool Storage::IsUnreadable() const {
  return m_health.Now().contains(DataFileUnreadable);
}

void Storage::NoteRollbackKept(const std::string& path, const std::string& keptAs) {
  if (!keptAs.empty())
    m_health.Note(
        "rollback kept aside",
        path + " was replaced after a save that was cut short; what SQLite had of it is kept as " + keptAs);
}

void Storage::Enqueue(Step step, Completion done) {
  m_steps.emplace_back([this, step = std::move(step), done = std::move(done)] {
    const Completion end = [this, done](const std::exception_ptr& error) {
      try {
        done(error ? ForConsole(error) : nullptr);
      } catch (...) {
        m_health.Note("internal error", "internal error after loading or saving: " +
                                            platform::ErrorText(std::current_exception()));
      }
      m_steps.pop_front();
      RunNext();
      if (m_isBatchDue) KeepChanges();
    };
    try {
      step(end);
    } catch (...) {
      end(std::current_exception());
    }
  });
  if (m_steps.size() == 1) RunNext();
}

void Storage::RunNext() {
  if (!m_steps.empty()) m_steps.front()();
}

bool Storage::IsDataFile(const std::string& path) const {
  return FileAt(path) == m_dataFile;
}

void Storage::Load(const std::string& path, Completion done) {
  Enqueue(
      [this, path = FileAt(path)](Completion end) {
        StartLoad(path, path == m_servedFile && m_saved ? m_saved->state : std::string(), std::move(end));
      },
      std::move(done));
}

void Storage::LoadIfReplaced(Completion done) {
  Enqueue([this](Completion end) { StartLoad(m_dataFile, m_dataFileState, std::move(end)); },
          std::move(done));
}

/// A file in the state `served` isn't loaded.
void Storage::StartLoad(const std::string& path, const std::string& served, Completion done) {
  auto loading = std::make_shared<Loading>();
  m_writer.Run(
      [loading, path, served, isDataFile = path == m_dataFile, journal = m_journal, types = m_types,
       generation = ++m_lastGeneration] {
        loading->rollbackKeptAs = datafile::KeepForeignRollback(path);
        if (!served.empty() && datafile::StateOf(path) == served) return;
        loading->contents = datafile::Load(path, generation, types);
        if (!journal->IsOthers()) return;
        const auto& state = loading->contents.state;
        loading->journal = isDataFile ? journal->Read(state) : journal->ReadForCopy(state);
      },
      [this, loading, path, done = std::move(done)](std::exception_ptr error) {
        try {
          NoteRollbackKept(path, loading->rollbackKeptAs);
          if (error) std::rethrow_exception(error);
          if (loading->contents.table) Adopt(path, *loading);
        } catch (...) {
          error = std::current_exception();
        }
        done(error);
      });
}

void Storage::Adopt(const std::string& path, Loading& loading) {
  auto& contents = loading.contents;
  const bool isDataFile = path == m_dataFile;
  const bool goesOn = loading.journal && loading.journal->continuesFile;
  m_servedFile = path;
  m_saved.reset();
  if (isDataFile) m_saved = SavedMark{contents.state, contents.table->LastChange()};
  const auto loaded = contents.table->LastChange();
  if (goesOn) Replay(*loading.journal, "the data file could not be read", contents.table);
  const bool isWhole = goesOn && loading.journal->damage.empty();
  if (isWhole)
    m_writer.Run([journal = m_journal] { journal->ForgetOthers(); }, [](const std::exception_ptr&) {});
  // Should it fail midway, nothing is known of any file.
  auto servedFile = std::exchange(m_servedFile, {});
  auto saved = std::exchange(m_saved, {});
  m_journalAnew = true;
  m_client.ReplaceTable(std::move(contents.table));
  m_servedFile = std::move(servedFile);
  m_saved = std::move(saved);
  if (!isDataFile) return;
  m_health.Set(DataFileUnreadable, {});
  m_dataFileState = contents.state;
  m_journaled = isWhole ? m_client.Table().LastChange() : loaded;
  if (isWhole)
    m_journalAnew = false;
  else
    BeginJournal(contents.state);
  if (goesOn && !isWhole) m_journalAnew = true;  // what was read of it is in no file now
}

void Storage::Save(const std::string& path, Completion done) {
  Enqueue([this, path = FileAt(path)](Completion end) { StartSave(path, false, std::move(end)); },
          std::move(done));
}

void Storage::SaveDataFile(Completion done) {
  if (m_client.Table().Count() == 0 && IsUnreadable()) return done(nullptr);
  m_nextCopy = {};
  Save(m_dataFile, std::move(done));
}

void Storage::KeepCopy() {
  const auto now = m_clock();
  if (now < m_nextCopy) return;
  m_nextCopy = now + CopyPause;
  m_writer.Run([path = m_dataFile, types = m_types] { datafile::KeepCopy(path, types); },
               [this](const std::exception_ptr& error) {
                 if (error) m_nextCopy = {};
                 m_health.Set(
                     DataFileUncopied,
                     error ? "no copy of the data file: " + platform::ErrorText(error) : std::string());
               });
}

void Storage::Retry() {
  if (m_health.Now().contains(Unsaved)) return SaveDataFile([](const std::exception_ptr&) {});
  if (m_health.Now().contains(DataFileUncopied)) KeepCopy();
}

/// What the file at `path` lacks, and `everything` if that is asked for or cheaper.
void Storage::Gather(const std::string& path, bool everything, Saving& saving) const {
  const auto& table = m_client.Table();
  auto& changes = saving.changes;
  saving.change = table.LastChange();
  changes.total = table.Count();
  if (m_saved && path == m_dataFile) changes.known = m_saved->state;
  if (changes.known && !everything) {
    const auto most = table.Count() / 2;  // beyond, writing a new file is cheaper than changing the old one
    for (const auto id : table.RemovedSince(m_saved->change))
      changes.removed.push_back(datafile::NumberOf(id));
    const Monitor* monitor = table.NextChanged(m_saved->change);
    for (; monitor != nullptr && changes.rows.size() < most; monitor = table.NextChanged(monitor->change))
      changes.rows.push_back(datafile::RowOf(*monitor));
    changes.all = monitor != nullptr || changes.removed.size() > most;
  }
  if (!changes.all) return;
  changes.rows.clear();
  for (const auto& [id, each] : table.All())
    changes.rows.push_back(datafile::RowOf(each));
}

void Storage::StartSave(const std::string& path, bool everything, Completion done) {
  auto saving = std::make_shared<Saving>();
  Gather(path, everything, *saving);
  m_writer.Run(
      [saving, path, types = m_types, journal = path == m_dataFile ? m_journal : nullptr] {
        saving->rollbackKeptAs = datafile::KeepForeignRollback(path);
        if (journal) {
          saving->changes.next = datafile::NextState(saving->changes.known);
          journal->NoteSave(saving->changes.next);
        }
        // Any other file that isn't a data file is somebody's: it stays as it is.
        saving->state = datafile::Save(path, saving->changes, types, journal ? &saving->keptAs : nullptr);
        if (journal && saving->state) saving->journalKeptAs = journal->Begin(*saving->state);
      },
      [this, saving, path, done = std::move(done)](std::exception_ptr error) {
        try {
          if (!saving->keptAs.empty())
            m_health.Note("kept aside", path + " could not be read; kept as " + saving->keptAs);
          NoteJournalKept(saving->journalKeptAs);
          NoteRollbackKept(path, saving->rollbackKeptAs);
          if (error) std::rethrow_exception(error);
          if (!saving->state) return StartSave(path, true, done);
          if (path == m_dataFile) {
            m_saved = SavedMark{*saving->state, saving->change};
            m_dataFileState = *saving->state;
            m_journaled = std::max(m_journaled, saving->change);
            CompleteKept();
            m_journalAnew = false;
            m_servedFile = path;
            for (const auto key : {DataFileUnreadable, Unsaved, JournalUnwritten})
              m_health.Set(key, {});
            KeepCopy();
          }
        } catch (...) {
          error = std::current_exception();
          if (path == m_dataFile) {
            m_isBatchDue = true;
            m_nextBatch = {};
            m_health.Set(Unsaved, "cannot save the data file: " + platform::ErrorText(error));
          }
        }
        done(error);
      });
}

}  // namespace norvane::engine
