#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <semaphore>
#include <thread>
#include <vector>

#include "engine/net/LoopQueue.h"

namespace norvane::engine {

/// A few threads for work that would hold up a loop. They yield to the loops where there are too few cores.
class ThreadPool {
 public:
  /// Threads are started when there is work.
  explicit ThreadPool(std::size_t maxThreads) : m_maxThreads(maxThreads) {}
  ~ThreadPool() { Stop(); }
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  /// Runs `work`, which throws nothing, in one of the threads, and then `done` in the loop of `queue`. Work
  /// of less `size` comes first. From any thread. Throws std::bad_alloc if the machine has no memory or no
  /// thread left.
  void Run(std::size_t size, std::function<void()> work, LoopQueue& queue, LoopQueue::Call done);
  /// Waits for work under way, and drops the rest. No queue is used afterwards.
  void Stop();

 private:
  struct Job {
    std::size_t size;
    std::function<void()> work;
    LoopQueue& queue;
    LoopQueue::Calls done;
  };

  void AddThread();
  void RunJobs();

  std::size_t m_maxThreads;
  std::counting_semaphore<> m_changes{0};  // whose release never waits for a thread that gets no processor
  std::mutex m_mutex;                      // guards what follows
  std::list<Job> m_jobs;                   // by size, then by age
  std::size_t m_idle = 0;                  // threads without work
  bool m_isEnding = false;
  std::vector<std::thread> m_threads;
};

}  // namespace norvane::engine
