#include "engine/net/ThreadPool.h"

#include <sys/resource.h>

#include <new>
#include <system_error>
#include <utility>

#include "platform/QuietThread.h"

namespace norvane::engine {

namespace {
constexpr int Niceness = 10;
}  // namespace

void ThreadPool::Run(std::function<void()> work, LoopQueue& queue, LoopQueue::Call done) {
  std::list<Job> job;
  job.push_back({std::move(work), queue, {}});
  job.back().done.push_back(std::move(done));
  {
    const std::lock_guard lock(m_mutex);
    if (m_jobs.size() >= m_idle && m_threads.size() < m_maxThreads) AddThread();
    m_jobs.splice(m_jobs.end(), job);
  }
  m_changed.notify_one();
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
  ::setpriority(PRIO_PROCESS, 0, Niceness);  // of this thread
  std::unique_lock lock(m_mutex);
  while (true) {
    m_changed.wait(lock, [this] { return m_isEnding || !m_jobs.empty(); });
    if (m_isEnding) return;
    std::list<Job> job;
    job.splice(job.end(), m_jobs, m_jobs.begin());
    --m_idle;
    lock.unlock();
    job.front().work();
    job.front().queue.Post(job.front().done);
    job.clear();
    lock.lock();
    ++m_idle;
  }
}

void ThreadPool::Stop() {
  {
    const std::lock_guard lock(m_mutex);
    m_isEnding = true;
  }
  m_changed.notify_all();
  for (auto& thread : m_threads)
    thread.join();
  m_threads.clear();
  m_jobs.clear();
}

}  // namespace norvane::engine
