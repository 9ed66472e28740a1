#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "engine/store/LogFiles.h"
#include "platform/EventFd.h"
#include "platform/ThreadCheck.h"

namespace norvane::engine {

/// The writer thread: all that waits for a disk. Jobs run in the order in which they came; log lines are
/// gathered and written before the next job. What a job throws goes to its completion, what writing a log
/// throws is reported, and the thread goes on. The public functions are the service thread's, if not said
/// otherwise.
class Writer {
 public:
  /// So many lines wait for the disk at most; further ones are lost, which is reported.
  static constexpr std::size_t MaxLines = 200000;

  using WriteLines = std::function<void(const std::vector<LogLine>&)>;

  /// `wake` is signalled when a finished job or a report waits for the service thread. `write` stands in for
  /// the log files of the folder.
  Writer(std::string folder, platform::EventFd& wake, WriteLines write = {});
  /// Finishes all jobs and lines that were handed in.
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  /// Runs `work` on the writer thread, then `done` on the service thread with what `work` threw, if anything.
  void Run(std::function<void()> work, std::function<void(std::exception_ptr)> done);
  /// Any thread.
  void Log(LogLine line);
  /// Tries again the log files that could not be written; removes those older than `age`, unless it is 0.
  void TendLogs(std::chrono::hours age);

  /// What is wrong, for the administrator.
  struct Problem {
    std::string logFile;  ///< the pattern of the one that cannot be written; empty for an event
    std::string text;     ///< empty: it can be written again
  };
  /// Runs the completions of finished jobs; gives what came up since the last call.
  [[nodiscard]] std::vector<Problem> Deliver();
  /// How long the disk has kept the thread at what it is doing now; 0 if it is idle. Any thread.
  [[nodiscard]] std::chrono::milliseconds BusyFor() const;

 private:
  struct Job {
    std::function<void()> work;
    std::function<void(std::exception_ptr)> done;
    std::exception_ptr error;
  };
  using Jobs = std::list<Job>;  // handed on without a copy

  // On the writer thread.
  void Loop();
  void Write(const std::vector<LogLine>& lines, std::size_t lost) noexcept;
  void RunJob(Job& job) noexcept;
  void Report(Problem problem);

  platform::EventFd& m_wake;
  platform::ThreadCheck m_service;
  LogFiles m_logFiles;  // the writer thread's alone
  WriteLines m_write;   // likewise

  using Moment = std::chrono::steady_clock::time_point;
  mutable std::mutex m_mutex;
  std::condition_variable m_more;
  Jobs m_jobs;
  std::vector<LogLine> m_lines;
  std::size_t m_linesLost = 0;
  Jobs m_finished;
  std::vector<Problem> m_problems;
  std::optional<Moment> m_busySince;
  bool m_stop = false;

  std::thread m_thread;
};

}  // namespace norvane::engine
