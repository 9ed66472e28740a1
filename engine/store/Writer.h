#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/store/LogFiles.h"
#include "platform/EventFd.h"

namespace norvane::engine {

/// The writer thread: all that waits for a disk. Jobs run in the order in which they came; log lines are
/// gathered and written before the next job. Called from the service thread.
class Writer {
 public:
  /// So many lines wait for the disk at most; further ones are lost, which is reported.
  static constexpr std::size_t MaxLines = 200000;

  /// `wake` is signalled when a finished job or a report of the log files waits for the service thread.
  Writer(std::string folder, platform::EventFd& wake);
  /// Finishes all jobs and lines that were handed in.
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  /// Runs `work` on the writer thread, then `done` on the service thread with what `work` threw, if anything.
  void Run(std::function<void()> work, std::function<void(std::exception_ptr)> done);
  void Log(LogLine line);

  /// Runs the completions of finished jobs; gives what the log files reported since the last call.
  [[nodiscard]] std::vector<std::string> Deliver();

 private:
  struct Job {
    std::function<void()> work;
    std::function<void(std::exception_ptr)> done;
    std::exception_ptr error;
  };
  void Loop();
  void RunJob(Job job);
  void Report(const std::string& report);

  platform::EventFd& m_wake;
  LogFiles m_logFiles;  // the writer thread's alone

  std::mutex m_mutex;
  std::condition_variable m_more;
  std::deque<Job> m_jobs;
  std::vector<LogLine> m_lines;
  std::size_t m_linesLost = 0;
  std::vector<Job> m_finished;
  std::vector<std::string> m_reports;
  bool m_stop = false;

  std::thread m_thread;
};

}  // namespace norvane::engine
