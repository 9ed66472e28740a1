#include "console/Console.h"

#include <utility>

#include "link/StartEngine.h"

namespace norvane::console {

namespace {
constexpr std::chrono::minutes LongestTest{1};
/// A start connects twice, and who has waited for an engine that hangs shall not wait for it again.
constexpr std::chrono::seconds NextTry{1};
}

Console::Console(const std::string& folder, std::function<void()> endProcess)
    : waiter(dialogs),
      port({.folder = folder,
            .startEngine = [folder] { link::StartEngine(folder); },
            .waiter = &waiter,
            .retryTimeout = NextTry,
            .runTimeout = LongestTest}),
      bas(engine, dialogs, folder, std::move(endProcess)),
      form(bas) {}

}  // namespace norvane::console
