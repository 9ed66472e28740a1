#include "engine/web/PageJudging.h"

#include <exception>
#include <utility>

namespace norvane::engine {

PageJudging::PageJudging(HeldPage page, std::string contentType, Judge judge, Done done)
    : m_page(std::move(page)),
      m_contentType(std::move(contentType)),
      m_judge(std::move(judge)),
      m_done(std::move(done)) {}

void PageJudging::Begin(const std::shared_ptr<PageJudging>& judging, ThreadPool& pool, LoopQueue& queue) {
  pool.Run(
      judging->m_page.Bytes().size(), [judging] { judging->Run(); }, queue,
      [judging] {
        if (!judging->m_isGivenUp) judging->m_done(std::move(judging->m_failure));
      });
}

void PageJudging::GiveUp() noexcept {
  m_isGivenUp = true;
}

/// In a thread of the pool. Gives the page's memory back at once.
void PageJudging::Run() noexcept {
  try {
    if (!m_isGivenUp) m_failure = m_judge({m_page.Bytes(), m_contentType});
  } catch (const std::exception&) {
    m_failure.swap(m_shortage);
  }
  m_page.Clear();
}

}  // namespace norvane::engine
