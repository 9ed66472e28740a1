#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// What each fuzzer defines: takes any bytes, gives 0, and crashes when it finds a fault. libFuzzer calls it
/// with inputs of its own, `Replay.cpp` with those of the corpus.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace norvane::tests {

/// The fault, unless `holds`.
inline void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace norvane::tests
