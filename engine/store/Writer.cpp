#include "engine/store/Writer.h"

#include <cassert>
#include <cstdio>
#include <new>
#include <string>
#include <utility>

#include "platform/ErrorText.h"

namespace norvane::engine {

Writer::Writer(std::string folder, platform::EventFd& wake, WriteLines write)
    : m_wake(wake),
      m_logFiles(std::move(folder),
                 [this](const auto& file, const auto& problem) {
                   Report({file, problem});
                 }),
      m_write(write ? std::move(write) : [this](const auto& lines) { m_logFiles.Write(lines); }),
      m_thread([this] { Loop(); }) {}

Writer::~Writer() {
  {
    const std::lock_guard lock(m_mutex);
    m_stop = true;
  }
  m_more.notify_one();
  m_thread.join();
}

void Writer::Run(std::function<void()> work, std::function<void(std::exception_ptr)> done) {
  assert(m_service.IsInside());
  {
    const std::lock_guard lock(m_mutex);
    m_jobs.push_back({std::move(work), std::move(done), nullptr});
  }
  m_more.notify_one();
}

void Writer::Log(LogLine line) {
  bool first = false;
  {
    const std::lock_guard lock(m_mutex);
    first = m_lines.empty();
    if (m_lines.size() < MaxLines)
      m_lines.push_back(std::move(line));
    else
      ++m_linesLost;
  }
  if (first) m_more.notify_one();
}

void Writer::TendLogs(std::chrono::hours age) {
  Run(
      [this, age] {
        m_logFiles.Retry();
        if (age.count() != 0) m_logFiles.RemoveOld(age);
      },
      [](const std::exception_ptr&) {});
}

std::chrono::milliseconds Writer::BusyFor() const {
  const std::lock_guard lock(m_mutex);
  if (!m_busySince) return {};
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               *m_busySince);
}

std::vector<Writer::Problem> Writer::Deliver() {
  assert(m_service.IsInside());
  Jobs finished;
  std::vector<Problem> problems;
  {
    const std::lock_guard lock(m_mutex);
    finished.swap(m_finished);
    problems.swap(m_problems);
  }
  for (const auto& job : finished) {
    try {
      job.done(job.error);
    } catch (...) {
      problems.push_back({{}, "internal error: " + platform::ErrorText(std::current_exception())});
    }
  }
  return problems;
}

void Writer::Loop() {
  std::unique_lock lock(m_mutex);
  for (;;) {
    m_busySince.reset();
    m_more.wait(lock, [this] { return m_stop || !m_jobs.empty() || !m_lines.empty(); });
    m_busySince = std::chrono::steady_clock::now();
    if (!m_lines.empty()) {
      const auto lines = std::exchange(m_lines, {});
      const auto lost = std::exchange(m_linesLost, 0);
      lock.unlock();
      Write(lines, lost);
      lock.lock();
    }
    if (!m_jobs.empty()) {
      Jobs running;
      running.splice(running.end(), m_jobs, m_jobs.begin());
      lock.unlock();
      RunJob(running.front());
      lock.lock();
      m_finished.splice(m_finished.end(), running);
      m_wake.Signal();
    } else if (m_stop && m_lines.empty()) {
      return;
    }
  }
}

void Writer::Report(Problem problem) {
  const std::lock_guard lock(m_mutex);
  m_problems.push_back(std::move(problem));
  m_wake.Signal();
}

void Writer::Write(const std::vector<LogLine>& lines, std::size_t lost) noexcept {
  try {
    m_write(lines);
    if (lost != 0) Report({{}, std::to_string(lost) + " log lines dropped: the disk is too slow"});
  } catch (...) {
    try {
      Report({{},
              std::to_string(lines.size() + lost) +
                  " log lines lost: " + platform::ErrorText(std::current_exception())});
    } catch (const std::bad_alloc&) {
      std::fputs("norvane-engine: log lines lost: out of memory\n", stderr);
    }
  }
}

void Writer::RunJob(Job& job) noexcept {
  try {
    job.work();
  } catch (...) {
    job.error = std::current_exception();
  }
  job.work = nullptr;  // what it holds may be large: let it go here, not on the service thread
}

}  // namespace norvane::engine
