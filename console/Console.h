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

/// One run of the console on the engine of an application folder. Starts the engine if none answers.
///
/// Forms, `bas` and `waiter` belong to the window system's thread. `engine` has a thread of its own for the
/// connection (see link/EngineClient.h); its calls are made on the window system's thread and wait there.
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
