#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace norvane::engine {

enum class StoreErrorCode {
  NoFile,      ///< there is no file of that name
  Unreadable,  ///< not a data file of ours, a damaged one, or one of a newer version
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

/// A StoreError as the EngineError that a console gets; any other as it is.
[[nodiscard]] std::exception_ptr ForConsole(const std::exception_ptr& error);

}  // namespace norvane::engine
