#pragma once

#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>

namespace norvane::engine {

enum class StoreErrorCode {
  NoFile,      ///< there is no file of that name
  Unreadable,  ///< not a file of ours, or a damaged one
  Newer,       ///< one whose form only a newer version knows
  Failed,      ///< the disk or the permissions; the file is as it was
};

/// A data file could not be read or written. The text names the file and the reason, for the user.
class StoreError : public std::runtime_error {
 public:
  StoreError(StoreErrorCode code, const std::string& what) : std::runtime_error(what), m_code(code) {}
  [[nodiscard]] StoreErrorCode Code() const noexcept { return m_code; }

 private:
  StoreErrorCode m_code;
};

/// With the text of the system's error number.
[[nodiscard]] inline StoreError SystemFailure(const std::string& path, int error) {
  return {StoreErrorCode::Failed, path + ": " + std::strerror(error)};
}

[[nodiscard]] inline StoreError NewerFile(const std::string& path) {
  return {StoreErrorCode::Newer, path + ": made by a newer Norvane"};
}

/// A StoreError as the EngineError that a console gets; any other as it is.
[[nodiscard]] std::exception_ptr ForConsole(const std::exception_ptr& error);

}  // namespace norvane::engine
