#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "console/engine/EngineError.h"

namespace norvane::tests {

/// The code of the `EngineError` that `action` throws, whose text `text` gets; nothing if it throws none.
template <class Action>
std::optional<console::engine::EngineErrorCode> CodeOf(const Action& action, std::string* text = nullptr) {
  try {
    static_cast<void>(action());
  } catch (const console::engine::EngineError& error) {
    EXPECT_STRNE(error.what(), "");
    if (text != nullptr) *text = error.what();
    return error.Code();
  }
  return std::nullopt;
}

}  // namespace norvane::tests
