#include "demo/Interrupt.h"

#include <QSocketNotifier>
#include <csignal>
#include <utility>

#include "platform/EventFd.h"

namespace norvane::demo {

namespace {
platform::EventFd& Signalled() {
  static platform::EventFd signalled;
  return signalled;
}
}  // namespace

Interrupt::Interrupt(std::function<void()> act) {
  auto* notifier = new QSocketNotifier(Signalled().Fd(), QSocketNotifier::Read, this);
  connect(notifier, &QSocketNotifier::activated, this, [act = std::move(act)] {
    Signalled().Clear();
    act();
  });
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    std::signal(signal, [](int) { Signalled().Signal(); });
}

}  // namespace norvane::demo
