#pragma once

#include <capnp/message.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

#include "console/engine/EngineError.h"
#include "link/engine.capnp.h"

/// What both ends of the link share besides the schema.
namespace norvane::link {

/// The largest message that the engine accepts; the largest it needs is one value of 1 MiB.
inline constexpr std::uint64_t MaxMessageToEngine = 32 << 20;
/// The largest message that a console accepts: one monitor with all values at their limits fits.
inline constexpr std::uint64_t MaxMessageToConsole = 128 << 20;

[[nodiscard]] capnp::ReaderOptions ReaderLimit(std::uint64_t bytes);

/// The one mapping from exceptions to the error of an answer. EngineError keeps its code; all else is Failed.
void WriteError(const std::exception_ptr& error, wire::Error::Builder to);
[[nodiscard]] console::engine::EngineError ReadError(wire::Error::Reader from);

[[nodiscard]] inline std::string ToString(capnp::Text::Reader text) {
  return {text.begin(), text.size()};
}
[[nodiscard]] inline std::string_view ToView(capnp::Data::Reader data) {
  return {reinterpret_cast<const char*>(data.begin()), data.size()};
}
[[nodiscard]] inline std::string ToString(capnp::Data::Reader data) {
  return std::string(ToView(data));
}
[[nodiscard]] inline capnp::Data::Reader ToData(std::string_view text) {
  return {reinterpret_cast<const capnp::byte*>(text.data()), text.size()};
}
/// `text` must be NUL-terminated, as that of std::string is.
[[nodiscard]] inline capnp::Text::Reader ToText(const std::string& text) {
  return {text.c_str(), text.size()};
}

/// Wall clock times on the wire.
[[nodiscard]] inline std::int64_t ToMilliseconds(std::chrono::system_clock::time_point at) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(at.time_since_epoch()).count();
}
[[nodiscard]] inline std::chrono::system_clock::time_point ToTime(std::int64_t milliseconds) {
  return std::chrono::system_clock::time_point(std::chrono::milliseconds(milliseconds));
}

}  // namespace norvane::link
