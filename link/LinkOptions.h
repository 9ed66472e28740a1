#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "console/engine/CallWaiter.h"

namespace norvane::link {

/// How a console reaches its engine and how long it waits.
struct LinkOptions {
  std::string folder;  ///< the application folder
  /// Starts the engine; called on the link's thread when no engine answers, once. What it throws
  /// becomes the error of the call. May be empty.
  std::function<void()> startEngine;
  /// Whether there is a mirror of all monitors. A client without one connects at the same cost whatever their
  /// number, but has no reads except `Select`, `Read` and those that ask the engine anyway.
  bool follows = true;
  /// How the calling thread waits; null just blocks. Must outlive the client and all that it made.
  console::engine::CallWaiter* waiter = nullptr;
  std::chrono::milliseconds startTimeout{5000};  ///< until a started engine must listen
  std::chrono::milliseconds connectTimeout{10000};
  std::chrono::milliseconds retryTimeout{10000};  ///< of connecting when it has timed out before
  std::chrono::milliseconds callTimeout{10000};
  /// Of Load, of the engine's end, and of Save with many monitors. For this and the next the engine must show
  /// within `callTimeout` that it lives.
  std::chrono::milliseconds storeTimeout{120000};
  std::chrono::milliseconds runTimeout{900000};  ///< of Monitor and Notify
};

}  // namespace norvane::link
