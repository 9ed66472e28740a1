#pragma once

#include <cstddef>

namespace norvane::platform {

/// Keeps some memory back and gives it out when the process gets no more from the machine, so that what needs
/// little can still be done while what needs much is refused. `operator new` falls back on it from then on;
/// called once, at the start.
void KeepMemoryReserve();
/// The reserve is given out. Any thread.
[[nodiscard]] bool IsMemoryShort() noexcept;
/// Takes it back if the machine gives it. False if not. Any thread.
bool RestoreMemoryReserve() noexcept;

/// Gives it out if the machine has less than `size` bytes left, for a library that is about to allocate by
/// `malloc` itself. Any thread.
void EnsureMemory(std::size_t size) noexcept;

// As those of the C library, with the reserve to fall back on.
[[nodiscard]] void* ReservedMalloc(std::size_t size) noexcept;
[[nodiscard]] void* ReservedCalloc(std::size_t count, std::size_t size) noexcept;
[[nodiscard]] void* ReservedRealloc(void* block, std::size_t size) noexcept;
[[nodiscard]] char* ReservedStrdup(const char* text) noexcept;

}  // namespace norvane::platform
