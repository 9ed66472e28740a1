#include "engine/store/Writer.h"

#include <string>
#include <utility>

namespace norvane::engine {

Writer::Writer(std::string folder, platform::EventFd& wake)
    : m_wake(wake),
      m_logFiles(std::move(folder), [this](const std::string& report) { Report(report); }),
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

std::vector<std::string> Writer::Deliver() {
  std::vector<Job> finished;
  std::vector<std::string> reports;
  {
    const std::lock_guard lock(m_mutex);
    finished.swap(m_finished);
    reports.swap(m_reports);
  }
  for (auto& job : finished)
    job.done(job.error);
  return reports;
}

void Writer::Loop() {
  std::unique_lock lock(m_mutex);
  for (;;) {
    m_more.wait(lock, [this] { return m_stop || !m_jobs.empty() || !m_lines.empty(); });
    if (!m_lines.empty()) {
      const auto lines = std::exchange(m_lines, {});
      const auto lost = std::exchange(m_linesLost, 0);
      lock.unlock();
      m_logFiles.Write(lines);
      if (lost != 0) Report(std::to_string(lost) + " log lines were lost: the disk is too slow for them");
      lock.lock();
    }
    if (!m_jobs.empty()) {
      Job job = std::move(m_jobs.front());
      m_jobs.pop_front();
      lock.unlock();
      RunJob(std::move(job));
      lock.lock();
    } else if (m_stop && m_lines.empty()) {
      return;
    }
  }
}

void Writer::Report(const std::string& report) {
  const std::lock_guard lock(m_mutex);
  m_reports.push_back(report);
  m_wake.Signal();
}

void Writer::RunJob(Job job) {
  try {
    job.work();
  } catch (...) {
    job.error = std::current_exception();
  }
  job.work = nullptr;  // what it holds may be large: let it go here, not on the service thread
  {
    const std::lock_guard lock(m_mutex);
    m_finished.push_back(std::move(job));
  }
  m_wake.Signal();
}

}  // namespace norvane::engine
