#include "engine/ActionThread.h"

#include <utility>

namespace norvane::engine {

ActionThread::ActionThread(LoopsShared& shared)
    : LoopThread(shared),
      m_notifier(Context(), shared.options.folder,
                 [this](NotificationEnded report) { Collect(std::move(report)); }),
      m_launcher(Context().loop, {shared.options.folder},
                 [this](Report report) { Collect(std::move(report)); }),
      m_fetcher(Context(), [this](FetchEnded report) { Collect(std::move(report)); }) {
  Begin();
}

void ActionThread::NotifyOnce(NotifyRequest request, std::uint64_t ticket) {
  NotificationEnded failure{request.id, ticket, InternalFailure()};
  Post([this, request = std::move(request), ticket] { m_notifier.Notify(request, ticket); },
       std::move(failure));
}

void ActionThread::Launch(LaunchRequest request) {
  LaunchProgress failure{request.id, request.ticket};
  Post([this, request = std::move(request)] { m_launcher.Launch(request); }, failure);
}

void ActionThread::HandBackLaunches() {
  Post([this] { m_launcher.HandBack(); }, {});
}

void ActionThread::Fetch(FetchRequest request, std::uint64_t ticket) {
  Post([this, request = std::move(request), ticket] { m_fetcher.Fetch(request, ticket); },
       FetchEnded{ticket, {console::engine::PageReply::End::Failed, InternalFailure().reason, {}, {}}});
}

void ActionThread::StopFetch(std::uint64_t ticket) {
  Post([this, ticket] { m_fetcher.Stop(ticket); }, {});
}

}  // namespace norvane::engine
