#pragma once

#include <iterator>
#include <mutex>
#include <utility>
#include <vector>

#include "engine/checks/CheckLoop.h"
#include "engine/model/Reports.h"
#include "platform/EventFd.h"

namespace norvane::engine {

/// What the loops report, on its way to the service thread. From any thread.
class ReportQueue {
 public:
  struct Contents {
    std::vector<Report> reports;            ///< those of one loop in its order
    std::vector<ReleasedMonitor> released;  ///< by their loops; what comes of them there is in `reports`
  };

  /// Signals `waits`, which outlives it, whenever something is appended.
  explicit ReportQueue(platform::EventFd& waits) : m_waits(waits) {}

  /// Empties `contents`.
  void Append(Contents& contents) {
    {
      const std::lock_guard lock(m_mutex);
      Move(contents.reports, m_contents.reports);
      Move(contents.released, m_contents.released);
    }
    m_waits.Signal();
  }
  [[nodiscard]] Contents Dequeue() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_contents, {});
  }

 private:
  template <class List>
  static void Move(List& from, List& to) {
    to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
    from.clear();
  }

  platform::EventFd& m_waits;
  std::mutex m_mutex;
  Contents m_contents;
};

}  // namespace norvane::engine
