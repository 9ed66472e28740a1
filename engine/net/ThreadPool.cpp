#include "engine/net/ThreadPool.h"

#include <sys/resource.h>

#include <algorithm>
#include <new>
#include <system_error>
#include <utility>

#include "platform/QuietThread.h"

namespace norvane::engine {

namespace {
constexpr int MinNiceness = 10;
}  // namespace

void ThreadPool::Run(std::size_t size, std::function<void()> work, LoopQueue& queue, LoopQueue::Call done) {
  std::list<Job> job;
  job.push_back({size, std::move(work), queue, {}});
  job.back().done.push_back(std::move(done));
  {
    const std::lock_guard lock(m_mutex);
    if (m_jobs.size() >= m_idle && m_threads.size() < m_maxThreads) AddThread();
    const auto larger =
        std::find_if(m_jobs.begin(), m_jobs.end(), [size](const Job& other) { return other.size > size; });
    m_jobs.splice(larger, job);
  }
  m_changes.release();
}

void ThreadPool::AddThread() {
  m_threads.reserve(m_maxThreads);
  try {
    m_threads.push_back(platform::StartQuietThread([this] { RunJobs(); }));
    ++m_idle;
  } catch (const std::system_error&) {
    if (m_threads.empty()) throw std::bad_alloc();
  }
}

void ThreadPool::RunJobs() {
  ::setpriority(PRIO_PROCESS, 0, std::max(::getpriority(PRIO_PROCESS, 0), MinNiceness));  // of this thread
  while (true) {
    m_changes.acquire();
    std::list<Job> job;
    {
      const std::lock_guard lock(m_mutex);
      if (m_isEnding) return;
      job.splice(job.end(), m_jobs, m_jobs.begin());
      --m_idle;
    }
    job.front().work();
    job.front().queue.Post(job.front().done);
    job.clear();
    const std::lock_guard lock(m_mutex);
    ++m_idle;
  }
}

void ThreadPool::Stop() {
  {
    const std::lock_guard lock(m_mutex);
    m_isEnding = true;
  }
  m_changes.release(static_cast<std::ptrdiff_t>(m_threads.size()));
  for (auto& thread : m_threads)
    thread.join();
  m_threads.clear();
  m_jobs.clear();
}

}  // namespace norvane::engine
