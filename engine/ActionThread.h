#pragma once

#include "engine/LoopThread.h"
#include "engine/commands/Launcher.h"
#include "engine/notify/Notifier.h"
#include "engine/web/PageFetcher.h"

namespace norvane::engine {

/// The thread of notifications, commands and fetched pages. Its public functions are the service thread's.
class ActionThread final : public LoopThread {
 public:
  explicit ActionThread(LoopsShared& shared);
  ~ActionThread() override { End(); }

  void NotifyOnce(NotifyRequest request, std::uint64_t ticket);
  void Launch(LaunchRequest request);
  void HandBackLaunches();
  void Fetch(FetchRequest request, std::uint64_t ticket);
  void StopFetch(std::uint64_t ticket);

 private:
  Notifier m_notifier;
  Launcher m_launcher;
  PageFetcher m_fetcher;
};

}  // namespace norvane::engine
