#pragma once

namespace norvane::tests {

/// From now on `new` fails on this thread, as on a machine without memory, but for the next few times.
void FailAllocations(int notYet = 0) noexcept;
void AllowAllocations() noexcept;
/// On all threads so far.
[[nodiscard]] int FailedAllocations() noexcept;

}  // namespace norvane::tests
