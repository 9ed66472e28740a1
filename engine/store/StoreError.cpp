#include "engine/store/StoreError.h"

#include "console/engine/EngineError.h"

namespace norvane::engine {

using console::engine::EngineError;
using console::engine::EngineErrorCode;

std::exception_ptr ForConsole(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const StoreError& store) {
    const auto code = store.Code() == StoreErrorCode::NoFile   ? EngineErrorCode::NotFound
                      : store.Code() == StoreErrorCode::Failed ? EngineErrorCode::Failed
                                                               : EngineErrorCode::Invalid;
    return std::make_exception_ptr(EngineError(code, store.what()));
  } catch (...) {
    return std::current_exception();
  }
}

}  // namespace norvane::engine
