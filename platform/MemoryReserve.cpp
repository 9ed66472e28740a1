#include "platform/MemoryReserve.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace norvane::platform {
namespace {

/// Larger than all blocks that are not mapped one by one, so that its memory really goes back to the machine.
constexpr std::size_t Size = 8 << 20;

std::atomic<void*> reserve = nullptr;
std::atomic<bool> isShort = false;

/// False if it is given out already.
bool GiveOut() noexcept {
  void* block = reserve.exchange(nullptr);
  if (block == nullptr) return false;
  isShort = true;
  std::free(block);
  return true;
}

void OnNewFailed() {
  if (!GiveOut()) throw std::bad_alloc();
}

template <class Allocate>
void* Allocated(Allocate allocate) noexcept {
  void* block = allocate();
  return block == nullptr && GiveOut() ? allocate() : block;
}

}  // namespace

void KeepMemoryReserve() {
  RestoreMemoryReserve();
  std::set_new_handler(&OnNewFailed);
}

bool IsMemoryShort() noexcept {
  return isShort;
}

bool RestoreMemoryReserve() noexcept {
  if (reserve != nullptr) return true;
  void* block = std::malloc(Size);
  if (block == nullptr) return false;
  std::free(reserve.exchange(block));
  isShort = false;
  return true;
}

void EnsureMemory(std::size_t size) noexcept {
  void* volatile block = ReservedMalloc(size);  // volatile: else the compiler leaves out both
  std::free(block);
}

void* ReservedMalloc(std::size_t size) noexcept {
  return Allocated([=] { return std::malloc(size); });
}

void* ReservedCalloc(std::size_t count, std::size_t size) noexcept {
  return Allocated([=] { return std::calloc(count, size); });
}

void* ReservedRealloc(void* block, std::size_t size) noexcept {
  return Allocated([=] { return std::realloc(block, size); });
}

char* ReservedStrdup(const char* text) noexcept {
  const auto size = std::strlen(text) + 1;
  auto* copy = static_cast<char*>(ReservedMalloc(size));
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

}  // namespace norvane::platform
