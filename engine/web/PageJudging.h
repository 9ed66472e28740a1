#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "engine/net/LoopQueue.h"
#include "engine/net/ThreadPool.h"
#include "engine/web/HeldPage.h"
#include "engine/web/Page.h"

namespace norvane::engine {

/// A page that is judged in another thread, as it may take a tenth of a second.
class PageJudging {
 public:
  /// Why the page will not do; empty if it will.
  using Judge = std::function<std::string(const Page&)>;
  using Done = std::function<void(std::string failure)>;

  /// Throws std::bad_alloc.
  PageJudging(HeldPage page, std::string contentType, Judge judge, Done done);

  /// Calls `done` in the loop of `queue`, unless the judging is given up before. Throws std::bad_alloc.
  static void Begin(const std::shared_ptr<PageJudging>& judging, ThreadPool& pool, LoopQueue& queue);
  /// In the loop.
  void GiveUp() noexcept;

 private:
  void Run() noexcept;

  HeldPage m_page;
  std::string m_contentType;
  Judge m_judge;
  Done m_done;  // the loop's
  std::atomic<bool> m_isGivenUp = false;
  std::string m_failure;
  std::string m_shortage{NotEnoughMemory};  // made while there is memory
};

}  // namespace norvane::engine
