#pragma once

#include <cstddef>

/// What the engine refuses to go beyond (EngineError, Full or Invalid). Sizes are in bytes.
namespace norvane::console::engine {

inline constexpr std::size_t MaxMonitors = 32767;  ///< the console counts them in 16 bits
inline constexpr std::size_t MaxNameSize = 1024;   ///< of a monitor's full name
inline constexpr std::size_t MaxKeySize = 256;     ///< of an attribute, a service-wide value
inline constexpr std::size_t MaxValueSize = 1 << 20;

}  // namespace norvane::console::engine
