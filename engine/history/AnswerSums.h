#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "console/engine/MonitorHistory.h"

namespace norvane::engine {

/// What the checks of a span add up to. The answer times of the good ones are in a histogram of fixed
/// log-linear buckets: those below 8 ms are exact, and from there on each doubling has four of them. A bucket
/// is a quarter of its lower bound wide at most, so a percentile, for which its middle stands, is off by an
/// eighth at most, however many spans were joined. (So do HdrHistogram's buckets, with a finer grain.)
class AnswerSums {
 public:
  static constexpr std::uint32_t MaxMilliseconds = (1u << 22) - 1;  ///< over an hour; more counts as that

  void AddGood(std::uint32_t milliseconds);
  void AddFailed();
  AnswerSums& operator+=(const AnswerSums& other);

  [[nodiscard]] bool IsEmpty() const { return m_checks == 0; }
  [[nodiscard]] std::uint64_t Checks() const { return m_checks; }
  [[nodiscard]] std::uint64_t Failures() const { return m_failures; }
  [[nodiscard]] console::engine::AnswerTimes Answers() const;

  /// Some 18 bytes for five minutes, 50 for a day.
  void AppendTo(std::string& bytes) const;

 private:
  friend class SumsReader;
  static constexpr std::uint32_t ExactBits = 3, BucketsPerDoubling = 4;
  static constexpr std::size_t BucketCount = (1u << ExactBits) + (22 - ExactBits) * BucketsPerDoubling;

  [[nodiscard]] static std::size_t BucketOf(std::uint32_t milliseconds);
  [[nodiscard]] static std::uint32_t MiddleOf(std::size_t bucket);
  [[nodiscard]] std::uint64_t Good() const { return m_checks - m_failures; }
  [[nodiscard]] std::uint32_t Percentile(double part) const;

  std::uint64_t m_checks = 0, m_failures = 0;
  std::uint64_t m_total = 0;  // milliseconds
  std::uint32_t m_least = 0, m_greatest = 0;
  std::array<std::uint64_t, BucketCount> m_buckets{};
};

/// Appends a number of 7 bits to the byte, the lowest first.
void AppendNumber(std::string& bytes, std::uint64_t number);

/// Reads what was appended; throws StoreError (Unreadable) for what never was. The bytes outlive it.
class SumsReader {
 public:
  explicit SumsReader(std::string_view bytes) : m_rest(bytes) {}

  [[nodiscard]] bool IsAtEnd() const { return m_rest.empty(); }
  std::uint64_t Number();
  AnswerSums Sums();

 private:
  std::string_view m_rest;
};

}  // namespace norvane::engine
