#include "engine/history/AnswerSums.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "engine/store/StoreError.h"

namespace norvane::engine {

std::size_t AnswerSums::BucketOf(std::uint32_t milliseconds) {
  constexpr std::uint32_t exact = 1u << ExactBits;
  if (milliseconds < exact) return milliseconds;
  const auto doubling = static_cast<std::uint32_t>(std::bit_width(milliseconds)) - 1;
  const auto part = (milliseconds >> (doubling - 2)) % BucketsPerDoubling;
  return exact + (doubling - ExactBits) * BucketsPerDoubling + part;
}

std::uint32_t AnswerSums::MiddleOf(std::size_t bucket) {
  constexpr std::size_t exact = 1u << ExactBits;
  if (bucket < exact) return static_cast<std::uint32_t>(bucket);
  const auto doubling = static_cast<std::uint32_t>((bucket - exact) / BucketsPerDoubling) + ExactBits;
  const auto part = static_cast<std::uint32_t>((bucket - exact) % BucketsPerDoubling);
  const auto width = 1u << (doubling - 2);
  return (1u << doubling) + part * width + width / 2;
}

void AnswerSums::AddGood(std::uint32_t milliseconds) {
  milliseconds = std::min(milliseconds, MaxMilliseconds);
  m_least = Good() == 0 ? milliseconds : std::min(m_least, milliseconds);
  m_greatest = std::max(m_greatest, milliseconds);
  m_total += milliseconds;
  ++m_buckets[BucketOf(milliseconds)];
  ++m_checks;
}

void AnswerSums::AddFailed() {
  ++m_checks;
  ++m_failures;
}

AnswerSums& AnswerSums::operator+=(const AnswerSums& other) {
  if (other.Good() != 0) m_least = Good() == 0 ? other.m_least : std::min(m_least, other.m_least);
  m_greatest = std::max(m_greatest, other.m_greatest);
  m_total += other.m_total;
  for (std::size_t i = 0; i < m_buckets.size(); ++i)
    m_buckets[i] += other.m_buckets[i];
  m_checks += other.m_checks;
  m_failures += other.m_failures;
  return *this;
}

/// The nearest rank.
std::uint32_t AnswerSums::Percentile(double part) const {
  const auto rank = static_cast<std::uint64_t>(std::ceil(part * static_cast<double>(Good())));
  std::uint64_t seen = 0;
  for (std::size_t i = 0; i < m_buckets.size(); ++i) {
    seen += m_buckets[i];
    if (seen >= rank) return std::clamp(MiddleOf(i), m_least, m_greatest);
  }
  return m_greatest;
}

console::engine::AnswerTimes AnswerSums::Answers() const {
  if (Good() == 0) return {};
  return {m_least,          static_cast<std::uint32_t>(m_total / Good()),
          m_greatest,       Percentile(0.50),
          Percentile(0.95), Percentile(0.99)};
}

void AppendNumber(std::string& bytes, std::uint64_t number) {
  for (; number >= 0x80; number >>= 7)
    bytes += static_cast<char>(number | 0x80);
  bytes += static_cast<char>(number);
}

void AnswerSums::AppendTo(std::string& bytes) const {
  AppendNumber(bytes, m_checks);
  AppendNumber(bytes, m_failures);
  if (Good() == 0) return;
  AppendNumber(bytes, m_least);
  AppendNumber(bytes, m_greatest - m_least);
  AppendNumber(bytes, m_total - m_least * Good());
  // Each bucket that isn't empty: how many are skipped before it, and its count. It ends with the last good
  // check.
  for (std::size_t i = BucketOf(m_least), next = i; i < m_buckets.size(); ++i) {
    if (m_buckets[i] == 0) continue;
    AppendNumber(bytes, i - next);
    AppendNumber(bytes, m_buckets[i]);
    next = i + 1;
  }
}

namespace {
[[noreturn]] void DamagedSums() {
  throw StoreError(StoreErrorCode::Unreadable, "the history is damaged: no such sums");
}
}  // namespace

std::uint64_t SumsReader::Number() {
  std::uint64_t number = 0;
  for (int shift = 0; shift < 64 && !m_rest.empty(); shift += 7) {
    const auto byte = static_cast<unsigned char>(m_rest.front());
    m_rest.remove_prefix(1);
    number |= static_cast<std::uint64_t>(byte & 0x7f) << shift;
    if (byte < 0x80) return number;
  }
  DamagedSums();
}

AnswerSums SumsReader::Sums() {
  AnswerSums sums;
  sums.m_checks = Number();
  sums.m_failures = Number();
  if (sums.m_failures > sums.m_checks) DamagedSums();
  if (sums.Good() == 0) return sums;
  const auto least = Number(), more = Number();
  if (least > AnswerSums::MaxMilliseconds || more > AnswerSums::MaxMilliseconds - least) DamagedSums();
  sums.m_least = static_cast<std::uint32_t>(least);
  sums.m_greatest = static_cast<std::uint32_t>(least + more);
  sums.m_total = Number() + least * sums.Good();
  std::size_t bucket = AnswerSums::BucketOf(sums.m_least);
  for (std::uint64_t left = sums.Good(); left != 0; ++bucket) {
    const auto skipped = Number();
    if (skipped >= AnswerSums::BucketCount - bucket) DamagedSums();
    bucket += skipped;
    const auto count = Number();
    if (count == 0 || count > left) DamagedSums();
    sums.m_buckets[bucket] = count;
    left -= count;
    if (left != 0 && bucket + 1 == AnswerSums::BucketCount) DamagedSums();
  }
  return sums;
}

}  // namespace norvane::engine
