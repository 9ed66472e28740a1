#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "engine/model/StateChanges.h"
#include "engine/store/StateFile.h"
#include "engine/store/Storage.h"

namespace norvane::engine {

class Health;

/// What the engine itself remembers: the service-wide values, outages, owed messages, silences. On the
/// service thread; the state file is written on the writer thread.
class EngineState {
 public:
  /// Condition: the disk did not accept the last write.
  static constexpr std::string_view Unsaved = "state file unsaved";

  /// Reads the state file of the folder, or makes it. A damaged one is kept under another name, and the last
  /// good copy takes its place if there is one; so for a lost one. That is reported to `health`. Throws
  /// StoreError if the file cannot be worked with.
  EngineState(std::string folder, Writer& writer, Health& health);

  /// Empty text for a key that was never set.
  [[nodiscard]] std::string Value(std::string_view key) const;
  /// Done when the values are on disk. Throws EngineError for a value that cannot be set, such as
  /// "ControlPass".
  void Commit(const std::map<std::string, std::string>& values, Completion done);
  /// Compares in constant time.
  [[nodiscard]] bool IsControlPass(std::string_view text) const;

  /// As the last engine left them.
  [[nodiscard]] const OutageRecords& OutagesAtStart() const { return m_atStart.outages; }
  [[nodiscard]] const OwedMessages& OwedAtStart() const { return m_atStart.owed; }
  [[nodiscard]] const Silences& SilencesAtStart() const { return m_atStart.silences; }
  [[nodiscard]] const SingleMails& SinglesAtStart() const { return m_atStart.singles; }
  /// One write at a time: changes that come meanwhile are batched into the next one, with those whose write
  /// failed.
  /// Gives a number that grows; the changes are on disk once `Written` has reached it.
  std::uint64_t Write(StateChanges changes);
  /// Changes on the writer thread's return, that is within `Writer::Deliver`.
  [[nodiscard]] std::uint64_t Written() const { return m_written; }
  /// Writes what failed before, if anything, and sees that the file is where it belongs. To be called about
  /// once a second.
  void OnSecond();
  /// Writes in any case, also what failed before, and once more if that fails. `done` gets an EngineError if
  /// not all of it is on disk.
  void WriteAll(StateChanges changes, Completion done);

 private:
  void Open();
  void Recover(std::string problem);
  void KeepCopy();
  void Add(StateChanges changes);
  /// `done` gets an error as long as anything that was to be written isn't on disk.
  void StartWrite(Completion done = [](const std::exception_ptr&) {});
  void Run(std::function<void(StateFile&)> work, Completion done);

  std::string m_folder;
  Writer& m_writer;
  Health& m_health;
  // The writer thread's alone once it has the first job, which may outlive this.
  std::shared_ptr<StateFile> m_file;
  StateFile::Values m_values;
  StateFile::Contents m_atStart;
  StateChanges m_waiting;
  StateChanges m_failed;         // of writes that failed
  std::exception_ptr m_problem;  // why not all is on disk, if it isn't
  std::chrono::steady_clock::time_point m_nextCopy{}, m_nextLook{};
  int m_writes = 0;  // handed to the writer and not yet done
  std::uint64_t m_asked = 0, m_written = 0;
};

}  // namespace norvane::engine
