#pragma once

#include <functional>
#include <string>

#include "console/FrmStart.h"
#include "console/engine/Engine.h"
#include "console/shared/MainBas.h"
#include "console/shared/QtCallWaiter.h"
#include "console/shared/QtDialogs.h"
#include "link/EngineClient.h"

namespace norvane::console {

/// One run of the console on the engine of an application folder: all that `norvane` is made of, in the order
/// in which it comes and goes. Starts the engine if none answers.
struct Console {
  /// `endProcess` and what is thrown are those of MainBas. `form.Form_Load()` begins the run.
  Console(const std::string& folder, std::function<void()> endProcess);

  shared::QtDialogs dialogs;
  shared::QtCallWaiter waiter;
  link::EngineClient port;
  engine::EngineFactory engine{port};
  shared::MainBas bas;
  FrmStart form;
};

}  // namespace norvane::console
