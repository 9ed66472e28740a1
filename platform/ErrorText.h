#pragma once

#include <exception>
#include <string>

namespace norvane::platform {

/// What an exception says, for a log or a person.
[[nodiscard]] inline std::string ErrorText(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& known) {
    return known.what();
  } catch (...) {
    return "unknown exception";
  }
}

}  // namespace norvane::platform
