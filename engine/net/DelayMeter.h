#pragma once

#include <chrono>
#include <functional>

namespace norvane::engine {

/// How long the calling thread has waited for a CPU so far, as far as the kernel tells, and the machine was
/// suspended.
[[nodiscard]] std::chrono::nanoseconds ThreadDelay();

/// How long a loop's thread was kept from its work, in sum: by the scheduler, by a stop or a suspend, or by
/// more events than it could serve in a short round. What a peer did in that time it could not see.
class DelayMeter {
 public:
  using Moment = std::chrono::steady_clock::time_point;
  /// A sum that only grows, of the thread that calls it.
  using Source = std::function<std::chrono::nanoseconds()>;

  /// A round that takes longer has kept those waiting that it served last.
  static constexpr std::chrono::milliseconds MaxPromptRound{5};
  /// A delay in one piece from which peers may have given up on us.
  static constexpr std::chrono::milliseconds MaxDelay{500};

  explicit DelayMeter(Source source) : m_source(std::move(source)) {}

  /// A round began at `from`, or should have, had the thread not overslept.
  void Work(Moment from) { m_from = from; }
  /// The round is over; the thread waits for the next.
  void Rest(Moment now);
  /// Asks the source, which costs a call of the system or two, and so is due every few milliseconds only.
  void Sample(Moment now);
  [[nodiscard]] bool IsDue(Moment now) const;
  /// The sum within a round, to within a few milliseconds.
  [[nodiscard]] std::chrono::nanoseconds At(Moment now);
  /// When the latest round ended that was late by more than `MaxDelay`; `now` if this one is.
  [[nodiscard]] Moment LastStall(Moment now) const;
  /// What the source said last.
  [[nodiscard]] std::chrono::nanoseconds Scheduled() const { return m_scheduled; }

 private:
  [[nodiscard]] std::chrono::nanoseconds Overrun(Moment now) const;

  Source m_source;
  Moment m_from{};
  Moment m_lastStall{};
  Moment m_sampled{};
  std::chrono::nanoseconds m_overrun{0};      // of the rounds that are over
  std::chrono::nanoseconds m_overrunSeen{0};  // at the last sample
  std::chrono::nanoseconds m_scheduled{0};    // the source's, at the last sample
  std::chrono::nanoseconds m_sum{0};
};

}  // namespace norvane::engine
