#include "engine/net/DelayMeter.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "platform/FileDescriptor.h"

namespace norvane::engine {

using std::chrono::nanoseconds;

namespace {

/// A sample costs a call of the system or two.
constexpr std::chrono::milliseconds MinSampleInterval{20};

/// Nothing where the kernel keeps no such figure.
nanoseconds RunQueueDelay() {
  thread_local const platform::FileDescriptor file(
      ::open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC));
  std::array<char, 100> text{};  // time on the CPU, time of waiting for one, count
  if (::pread(file.Get(), text.data(), text.size() - 1, 0) <= 0) return nanoseconds{0};
  char* second = nullptr;
  static_cast<void>(std::strtoll(text.data(), &second, 10));
  return nanoseconds{std::strtoll(second, nullptr, 10)};
}

nanoseconds TimeOf(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return std::chrono::seconds{time.tv_sec} + nanoseconds{time.tv_nsec};
}

}  // namespace

nanoseconds ThreadDelay() {
  return RunQueueDelay() + (TimeOf(CLOCK_BOOTTIME) - TimeOf(CLOCK_MONOTONIC));
}

nanoseconds DelayMeter::Overrun(Moment now) const {
  return std::max<nanoseconds>(now - m_from - MaxPromptRound, nanoseconds{0});
}

DelayMeter::Moment DelayMeter::LastStall(Moment now) const {
  return Overrun(now) > MaxDelay ? now : m_lastStall;
}

void DelayMeter::Rest(Moment now) {
  m_lastStall = LastStall(now);
  m_overrun += Overrun(now);
  m_from = now;
}

bool DelayMeter::IsDue(Moment now) const {
  return now - m_sampled >= MinSampleInterval;
}

nanoseconds DelayMeter::At(Moment now) {
  if (IsDue(now)) Sample(now);
  return m_sum + (m_overrun + Overrun(now) - m_overrunSeen);
}

void DelayMeter::Sample(Moment now) {
  const auto overrun = m_overrun + Overrun(now);
  const auto scheduled = m_source();
  if (std::exchange(m_sampled, now) == Moment{}) m_scheduled = scheduled;
  // A thread that waits for a CPU overruns its round too: the same time is not counted twice.
  m_sum += std::max(overrun - std::exchange(m_overrunSeen, overrun),
                    scheduled - std::exchange(m_scheduled, scheduled));
}

}  // namespace norvane::engine
