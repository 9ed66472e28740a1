#pragma once

#include <stdexcept>
#include <string>

namespace norvane::console::engine {

/// Why an engine call failed. `Gone` and `TimedOut` speak of the way to the engine, all others are its
/// answer.
enum class EngineErrorCode {
  Gone,      ///< no engine answers, or the connected one has ended
  TimedOut,  ///< the engine did not answer in time; whether the call took effect is unknown
  NotFound,  ///< no monitor, file or component of that name
  Exists,    ///< a monitor of that name already exists
  Refused,   ///< the control gate is closed, or the file belongs to something else
  Invalid,   ///< a name, key or value that the engine does not accept
  Full,      ///< MaxMonitors monitors exist
  Failed,    ///< everything else; see the text
};

/// A failed engine call. The text is for the user: what failed and why, no trailing full stop.
class EngineError : public std::runtime_error {
 public:
  EngineError(EngineErrorCode code, const std::string& what) : std::runtime_error(what), m_code(code) {}
  [[nodiscard]] EngineErrorCode Code() const noexcept { return m_code; }

 private:
  EngineErrorCode m_code;
};

}  // namespace norvane::console::engine
