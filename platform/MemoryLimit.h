#pragma once

#include <cstddef>
#include <string>

namespace norvane::platform {

/// Bytes that this process may still use by its limit on address space, and that its control groups (version
/// 2, or the memory controller of version 1) allow in all; the largest number where nothing limits it. A test
/// puts the machine's files below `root`.
[[nodiscard]] std::size_t MemoryLimit(const std::string& root = "");

/// Makes the allocator give large blocks back to the machine as soon as they are free, and take no more
/// address space for each thread than a limited process has. To be called before other threads are started.
void TuneAllocator();

}  // namespace norvane::platform
