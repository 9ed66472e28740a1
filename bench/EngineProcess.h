#pragma once

#include <signal.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "engine/store/DataFile.h"
#include "link/EngineClient.h"

namespace norvane::bench {

/// Puts a data file with these monitors into the application folder.
void WriteDataFile(const std::string& folder, std::vector<engine::datafile::Row> rows);

/// `norvane-engine` of the same build, on a folder of its own.
class EngineProcess {
 public:
  /// `prepare` is called in the new process before it becomes the engine; only plain calls of the system.
  explicit EngineProcess(
      const std::string& folder, const std::function<void()>& prepare = [] {});
  ~EngineProcess() { End(); }
  EngineProcess(const EngineProcess&) = delete;
  EngineProcess& operator=(const EngineProcess&) = delete;

  /// Waits until the engine has written everything and is gone.
  void End();
  /// How it ended by itself ("signal 6"); empty while it lives.
  [[nodiscard]] std::string Ending();
  void Signal(int signal) const { ::kill(m_process, signal); }
  /// Resident memory in MB.
  [[nodiscard]] double Memory() const;
  [[nodiscard]] int Descriptors() const;
  /// CPU seconds of all its threads so far.
  [[nodiscard]] double CpuSeconds() const;

 private:
  pid_t m_process = 0;
};

/// How a console reaches an engine that is on its way.
[[nodiscard]] link::LinkOptions ConsoleOptions(const std::string& folder);

}  // namespace norvane::bench
