#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "engine/model/Health.h"
#include "engine/model/MonitorTable.h"
#include "engine/store/Journal.h"

namespace norvane::engine {

class Writer;
/// Called on the service thread, once. The exception is null after a success, else an EngineError.
using Completion = std::function<void(std::exception_ptr)>;

/// Loads and saves the monitors, one request after the other, and knows which of them the data file has
/// already. On the service thread; the files are read and written on the writer thread.
class Storage {
 public:
  /// Whose monitors they are.
  class Client {
   public:
    virtual ~Client() = default;
    [[nodiscard]] virtual const MonitorTable& Table() const = 0;
    virtual void ReplaceTable(std::unique_ptr<MonitorTable> table) = 0;
  };

  // Conditions: the disk did not accept the last write.
  static constexpr std::string_view Unsaved = "data file unsaved";
  static constexpr std::string_view JournalUnwritten = "journal unwritten";

  /// A data file that cannot be read or saved is reported to `health`.
  Storage(Client& client, Writer& writer, Health& health, Health::Clock clock, std::string folder,
          MonitorTypes types);

  /// The monitors of the folder's data file, with what the journal has beyond it if the last engine was
  /// killed; none if there is no file, or a damaged one, which the next save keeps under another name: the
  /// condition says how its last good copy is loaded. Throws StoreError if it merely cannot be read just now:
  /// by the next save it may be readable again, and an engine without monitors would replace it. So for a
  /// symbolic link. Removes what killed saves left.
  [[nodiscard]] std::unique_ptr<MonitorTable> LoadAtStart();

  /// The monitors of the data file are not in the table.
  [[nodiscard]] bool IsUnreadable() const;

  // Relative paths start at the folder.

  [[nodiscard]] bool IsDataFile(const std::string& path) const;
  void Load(const std::string& path, Completion done);
  /// The data file, unless it has the content that it had when it was last loaded or saved: whatever runs
  /// goes on then, a file that was loaded later, too.
  void LoadIfReplaced(Completion done);
  void Save(const std::string& path, Completion done);
  /// The data file, but not an empty one in the place of what could not be read.
  void SaveDataFile(Completion done);
  /// Saves and copies the data file if that failed the last time.
  void Retry();
  enum class Pace { Batched, AtOnce };
  /// Has the journal written if the data file lacks something. To be called about twice a second.
  void KeepChanges(Pace pace = Pace::Batched);
  /// Has the journal written at once. `done` when all changes so far are on disk, or with the error of the
  /// journal's write.
  void KeepChanges(Completion done);

 private:
  /// The content that the data file is known to have, so that only later changes need to be written.
  struct SavedMark {
    std::string state;
    std::uint64_t change = 0;
  };
  /// Calls its argument at its end, or throws.
  using Step = std::function<void(Completion)>;
  struct Loading;
  struct Saving;

  [[nodiscard]] std::string FileAt(const std::string& path) const;
  void Enqueue(Step step, Completion done);
  void RunNext();
  void StartLoad(const std::string& path, const std::string& served, Completion done);
  void Adopt(const std::string& path, Loading& loading);
  void StartSave(const std::string& path, bool everything, Completion done);
  void KeepCopy();
  [[nodiscard]] std::string JournalPath() const;
  [[nodiscard]] std::unique_ptr<MonitorTable> LoadDataFile(std::string& state);
  void Replay(std::string state, std::unique_ptr<MonitorTable>& table);
  void Replay(Journal::Contents& journal, const std::string& why, std::unique_ptr<MonitorTable>& table);
  void Apply(const datafile::Changes& batch, std::unique_ptr<MonitorTable>& table);
  void NoteJournalKept(const std::string& keptAs);
  void NoteRollbackKept(const std::string& path, const std::string& keptAs);
  void BeginJournal(const std::string& state);
  void CompleteKept(const std::exception_ptr& error = nullptr);
  void Gather(const std::string& path, bool everything, Saving& saving) const;

  Client& m_client;
  Writer& m_writer;
  Health& m_health;
  Health::Clock m_clock;
  std::string m_folder;
  MonitorTypes m_types;
  std::string m_dataFile;
  std::string m_servedFile;  // the file whose monitors these are; empty if they are of no file
  std::optional<SavedMark> m_saved;
  std::string m_dataFileState;  // as it was last seen, also while another file is served; empty: unreadable
  std::uint32_t m_lastGeneration = 1;
  // The journal is the writer thread's alone once it has the first job, which may outlive this.
  std::shared_ptr<Journal> m_journal;
  std::uint64_t m_journaled = 0;  // the last change that the journal or the data file has
  static constexpr std::uint64_t MinFoldSize = 4 << 20;
  std::uint64_t m_foldAt = MinFoldSize;  // beyond that size the journal is written anew
  bool m_journalAnew = false;            // it has to be written as a whole
  struct AwaitedChange {
    std::uint64_t change;
    Completion done;
  };
  std::deque<AwaitedChange> m_awaited;
  bool m_isJournaling = false;  // a batch is under way
  bool m_isBatchDue = false;    // at the end of the step that runs
  Health::Moment m_nextBatch{};
  Health::Moment m_nextCopy{};
  std::deque<std::function<void()>> m_steps;  // the first one runs
};

}  // namespace norvane::engine
