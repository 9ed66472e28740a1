#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/store/LogFiles.h"
#include "platform/EventFd.h"
#include "platform/ThreadCheck.h"

namespace norvane::engine {

/// The writer thread: all that waits for a disk. Jobs run in the order in which they came; log lines are
/// gathered and written before the next job. What a job throws goes to its completion, what writing a log
/// throws is reported, and the thread goes on. The public functions are the service thread's.
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
  void Log(LogLine line);

  /// Runs the completions of finished jobs; gives what was reported since the last call, for the
  /// administrator.
  [[nodiscard]] std::vector<std::string> Deliver();

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
  void Report(const std::string& report);

  platform::EventFd& m_wake;
  platform::ThreadCheck m_service;
  LogFiles m_logFiles;  // the writer thread's alone
  WriteLines m_write;   // likewise

  std::mutex m_mutex;
  std::condition_variable m_more;
  Jobs m_jobs;
  std::vector<LogLine> m_lines;
  std::size_t m_linesLost = 0;
  Jobs m_finished;
  std::vector<std::string> m_reports;
  bool m_stop = false;

  std::thread m_thread;
};

}  // namespace norvane::engine
