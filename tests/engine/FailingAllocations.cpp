#include "tests/engine/FailingAllocations.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr int All = std::numeric_limits<int>::max();
thread_local int left = All;
std::atomic<int> failed = 0;

bool Fails() {
  if (left == All || left-- > 0) return false;
  left = 0;
  ++failed;
  return true;
}

}  // namespace

void* operator new(std::size_t size) {
  if (Fails()) throw std::bad_alloc();
  if (void* block = std::malloc(size)) return block;
  throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Fails() ? nullptr : std::malloc(size);
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace norvane::tests {

void FailAllocations(int notYet) noexcept {
  left = notYet;
}

void AllowAllocations() noexcept {
  left = All;
}

int FailedAllocations() noexcept {
  return failed;
}

}  // namespace norvane::tests
