#include "console/Console.h"

#include <utility>

#include "console/StartEngine.h"

namespace norvane::console {

Console::Console(const std::string& folder, std::function<void()> endProcess)
    : waiter(dialogs),
      port({.folder = folder, .startEngine = [folder] { StartEngine(folder); }, .waiter = &waiter}),
      bas(engine, dialogs, folder, std::move(endProcess)),
      form(bas) {}

}  // namespace norvane::console
