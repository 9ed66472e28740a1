#pragma once

#include <kj/async.h>

#include <functional>
#include <map>

#include "engine/Service.h"
#include "link/ChangeFeed.h"
#include "link/ChangeLog.h"
#include "link/engine.capnp.h"
#include "platform/ThreadCheck.h"

namespace norvane::link {

/// One console's session: holds its gate, carries its calls to the service and feeds its mirror. On the
/// service thread, as all of the engine's end.
class Session final : public wire::Session::Server,
                      private engine::TableObserver,
                      private kj::TaskSet::ErrorHandler {
 public:
  using AwaitRead = std::function<kj::Promise<void>()>;

  /// `awaitRead` is done when the console has read what was sent so far. `failed` is rejected when the
  /// mirror cannot be updated any more; the connection must then be closed. Neither is used after `Close`.
  Session(engine::Service& service, ChangeLog log, std::function<void()> onShutdown, AwaitRead awaitRead,
          kj::PromiseFulfiller<void>& failed);
  ~Session() noexcept = default;
  /// When the connection ends. Pending calls may keep the session alive, even longer than the service, so it
  /// releases the service; and the mirror, which may be this session itself: a cycle that would never end.
  void Close();

  kj::Promise<void> follow(FollowContext context) override;
  kj::Promise<void> openGate(OpenGateContext context) override;
  kj::Promise<void> configValue(ConfigValueContext context) override;
  kj::Promise<void> commitConfig(CommitConfigContext context) override;
  kj::Promise<void> load(LoadContext context) override;
  kj::Promise<void> save(SaveContext context) override;
  kj::Promise<void> add(AddContext context) override;
  kj::Promise<void> remove(RemoveContext context) override;
  kj::Promise<void> setAttribute(SetAttributeContext context) override;
  kj::Promise<void> init(InitContext context) override;
  kj::Promise<void> check(CheckContext context) override;
  kj::Promise<void> notify(NotifyContext context) override;
  kj::Promise<void> shutdown(ShutdownContext context) override;
  kj::Promise<void> fetch(FetchContext context) override;
  kj::Promise<void> stopFetch(StopFetchContext context) override;
  kj::Promise<void> status(StatusContext context) override;
  kj::Promise<void> owed(OwedContext context) override;
  kj::Promise<void> dropOwed(DropOwedContext context) override;
  kj::Promise<void> silences(SilencesContext context) override;
  kj::Promise<void> silence(SilenceContext context) override;
  kj::Promise<void> unsilence(UnsilenceContext context) override;
  kj::Promise<void> openOutages(OpenOutagesContext context) override;
  kj::Promise<void> change(ChangeContext context) override;
  kj::Promise<void> select(SelectContext context) override;
  kj::Promise<void> read(ReadContext context) override;
  kj::Promise<void> history(HistoryContext context) override;

 private:
  struct Ended {
    std::exception_ptr error;
    engine::CheckResult result;
  };
  using End = std::function<void(std::exception_ptr, const engine::CheckResult&)>;

  template <class Context, class Action>
  kj::Promise<void> Act(Context& context, Action action);
  template <class Context, class Start>
  kj::Promise<Ended> Begin(Context& context, Start start);
  void WriteAnswer(wire::Answer::Builder to, const std::exception_ptr& error) const;
  template <class Context, class Start>
  kj::Promise<void> ActLater(Context context, Start start);
  template <class Context, class Start>
  kj::Promise<void> RunLater(Context context, Start start);
  void RequireGate() const;
  /// Logs what a console has changed, if there is no error, then ends the call.
  [[nodiscard]] engine::Completion Logged(std::string verb, std::vector<std::string> names,
                                          const End& end) const;
  void StopFetch(std::uint32_t number);

  void TableChanged() override;
  kj::Promise<void> Feed();
  void taskFailed(kj::Exception&& exception) override;

  platform::ThreadCheck m_thread;  ///< the service thread
  engine::Service& m_service;
  ChangeLog m_log;
  std::function<void()> m_onShutdown;
  AwaitRead m_awaitRead;
  kj::PromiseFulfiller<void>& m_failed;
  bool m_gateOpen = false;
  /// The service's ticket of each fetch, by number, until its page was read.
  std::map<std::uint32_t, std::uint64_t> m_fetches;
  kj::Maybe<wire::Mirror::Client> m_mirror;
  ChangeFeed m_feed;
  bool m_feeding = false;
  kj::Own<kj::TaskSet> m_tasks;  ///< null once it is closed
};

}  // namespace norvane::link
