#include "console/Console.h"

#include <utility>

#include "console/StartEngine.h"

namespace norvane::console {

namespace {
constexpr std::chrono::minutes LongestTest{1};
}

Console::Console(const std::string& folder, std::function<void()> endProcess)
    : waiter(dialogs),
      port({.folder = folder,
            .startEngine = [folder] { StartEngine(folder); },
            .waiter = &waiter,
            .runTimeout = LongestTest}),
      bas(engine, dialogs, folder, std::move(endProcess)),
      form(bas) {}

}  // namespace norvane::console
