#include "link/Wire.h"

#include <kj/exception.h>

namespace norvane::link {

using console::engine::EngineError;
using console::engine::EngineErrorCode;

namespace {
constexpr bool Same(wire::ErrorCode a, EngineErrorCode b) {
  return static_cast<int>(a) == static_cast<int>(b);
}
static_assert(Same(wire::ErrorCode::GONE, EngineErrorCode::Gone) &&
              Same(wire::ErrorCode::TIMED_OUT, EngineErrorCode::TimedOut) &&
              Same(wire::ErrorCode::NOT_FOUND, EngineErrorCode::NotFound) &&
              Same(wire::ErrorCode::EXISTS, EngineErrorCode::Exists) &&
              Same(wire::ErrorCode::REFUSED, EngineErrorCode::Refused) &&
              Same(wire::ErrorCode::INVALID, EngineErrorCode::Invalid) &&
              Same(wire::ErrorCode::FULL, EngineErrorCode::Full) &&
              Same(wire::ErrorCode::FAILED, EngineErrorCode::Failed));

void Write(wire::Error::Builder to, EngineErrorCode code, const std::string& text) {
  to.setCode(static_cast<wire::ErrorCode>(code));
  to.setText(ToText(text));
}
}  // namespace

capnp::ReaderOptions ReaderLimit(std::uint64_t bytes) {
  capnp::ReaderOptions options;
  options.traversalLimitInWords = bytes / sizeof(capnp::word);
  return options;
}

void WriteError(const std::exception_ptr& error, wire::Error::Builder to) {
  try {
    std::rethrow_exception(error);
  } catch (const EngineError& engineError) {
    Write(to, engineError.Code(), engineError.what());
  } catch (const kj::Exception& exception) {
    Write(to, EngineErrorCode::Failed, exception.getDescription().cStr());
  } catch (const std::exception& exception) {
    Write(to, EngineErrorCode::Failed, exception.what());
  }
}

EngineError ReadError(wire::Error::Reader from) {
  const auto code = from.getCode();
  const bool known = code <= wire::ErrorCode::FAILED;
  return {known ? static_cast<EngineErrorCode>(code) : EngineErrorCode::Failed, ToString(from.getText())};
}

}  // namespace norvane::link
