#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/store/DataFile.h"
#include "platform/FileDescriptor.h"

namespace norvane::engine {

/// What changed in the monitors since the data file was saved, for an engine that is killed. A header names
/// the state of the data file that it continues; behind it are batches of changes, each with length and
/// checksum, each of which is there as a whole or not. No journal: the data file has it all. Once it is read,
/// on the writer thread. Throws StoreError.
class Journal {
 public:
  /// In the header, for a data file that cannot be read.
  static constexpr const char* UnreadableState = "unreadable";

  explicit Journal(std::string path) : m_path(std::move(path)) {}

  /// What the data file lacks.
  struct Contents {
    bool continuesFile = false;  ///< else the journal is of another file, or of another state
    std::vector<datafile::Changes> batches{};
    std::string damage{};            ///< why what comes after the batches cannot be read; empty: nothing does
    std::uint64_t end = 0, sum = 0;  ///< of the last record
  };
  /// Nothing if there is no journal. `state` is the data file's. A batch that a killed process left half
  /// written is no damage. Throws Newer too.
  [[nodiscard]] std::optional<Contents> Read(const std::string& state);
  /// The one that was read is another file's: it is kept under another name before anything takes its place,
  /// and whatever does so gives that name, which is else empty.
  void LeaveToOthers() { m_isOthers = true; }
  [[nodiscard]] bool IsOthers() const { return m_isOthers; }
  /// Like `Read`, but for a copy of the data file: the journal goes on for the data file.
  [[nodiscard]] std::optional<Contents> ReadForCopy(const std::string& state) const { return Parse(state); }
  /// It is needed no more.
  void ForgetOthers() { m_isOthers = false; }

  /// On disk when it returns. `anew`: the batch has all that the data file lacks, and replaces those before.
  /// One of all monitors does so in any case. Fails once if the file lies there no more: all must be written
  /// then.
  std::string Write(const datafile::Changes& batch, bool anew);
  /// The data file is about to be saved, with all that was written until now; it gets the state `next`, or
  /// keeps its own.
  void NoteSave(const std::string& next) noexcept;
  /// The data file has this state now: the journal goes.
  std::string Begin(const std::string& state) noexcept;

  /// Any thread.
  [[nodiscard]] std::uint64_t Size() const { return m_size; }

 private:
  [[nodiscard]] std::optional<Contents> Parse(const std::string& state) const;
  std::string Start(const datafile::Changes& batch);
  void Append(const std::string& record, bool sync);
  std::string PutAsideIfOthers();

  std::string m_path;
  std::string m_state;
  platform::FileDescriptor m_file;  // open: batches can be added
  std::atomic<std::uint64_t> m_size = 0;
  std::uint64_t m_sum = 0;  // of all before
  bool m_isOthers = false;
};

}  // namespace norvane::engine
