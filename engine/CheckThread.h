#pragma once

#include "engine/LoopThread.h"
#include "engine/checks/CheckLoop.h"

namespace norvane::engine {

/// A thread that makes checks. Its public functions are the service thread's.
class CheckThread final : public LoopThread {
 public:
  CheckThread(LoopsShared& shared, std::size_t maxInFlight);
  ~CheckThread() override { End(); }

  /// `call` is made in the loop; if it throws, `failure` is reported.
  template <class Call>
  void Post(Call&& call, std::optional<Report> failure = {}) {
    LoopThread::Post([this, call = std::forward<Call>(call)] { call(m_checks); }, std::move(failure));
  }

 private:
  void Turn() override { m_checks.Turn(); }
  [[nodiscard]] std::optional<Moment> NextTurn() const override { return m_checks.NextTurn(); }
  [[nodiscard]] bool IsBusy() const override { return m_checks.HasInFlight(); }
  [[nodiscard]] CheckFigures CountFigures() const override { return m_checks.Figures(); }

  CheckLoop m_checks;
};

}  // namespace norvane::engine
