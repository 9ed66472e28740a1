#pragma once

#include <kj/async.h>

#include <future>
#include <memory>
#include <thread>

#include "link/CallState.h"
#include "link/LinkLoop.h"
#include "link/LinkOptions.h"
#include "link/Mirror.h"
#include "link/Wire.h"

namespace norvane::link {

/// The process's one connection to the engine, with its thread. Connects at the first use. A first connection
/// that fails may be tried again by the next use; one that was made and is lost is lost for good.
///
/// For one thread. Everything throws EngineError.
class Link {
 public:
  explicit Link(LinkOptions options) : m_options(std::move(options)) {}
  ~Link();
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  [[nodiscard]] const LinkOptions& Options() const { return m_options; }
  /// Both connect if that was not done yet.
  [[nodiscard]] const Mirror& ConnectedMirror();
  [[nodiscard]] const EngineInfo& ConnectedInfo();
  void CheckConnected() { static_cast<void>(ConnectedInfo()); }

  /// One call of the session: `make(session)` gives its request, `take(results)` reads what comes beside the
  /// answer; both run on the link's thread while the caller waits. When this returns, the mirror has come to
  /// the table as it was when the engine answered.
  template <class Make, class Take>
  void Call(std::chrono::milliseconds timeout, Make make, Take take) {
    Run(timeout, [&](wire::Session::Client& session, CallState& state) {
      return make(session).send().then([this, &state, &take](auto&& results) {
        const auto answer = results.getAnswer();
        if (answer.isError())
          state.Fail(std::make_exception_ptr(ReadError(answer.getError())));
        else
          take(results);
        return m_loop->WhenReached(answer.getChange());
      });
    });
  }
  template <class Make>
  void Call(std::chrono::milliseconds timeout, Make make) {
    Call(timeout, std::move(make), [](const auto&) {});
  }
  /// Returns when the engine has closed the connection.
  void WaitUntilGone(std::chrono::milliseconds timeout);

 private:
  void Connect();
  void CheckFollowing() const;
  void Run(std::chrono::milliseconds timeout, const LinkLoop::Body& body);
  /// Runs `begin` on the link's thread and waits until the call that it was given is finished.
  template <class Begin>
  void Await(Begin begin);
  void StartThread();
  void ThreadMain(std::promise<void> ready);

  LinkOptions m_options;
  BlockingWaiter m_blockingWaiter;
  Mirror m_mirror;
  EngineInfo m_info;           ///< written before the mirror follows, then left alone
  LinkLoop* m_loop = nullptr;  ///< on the thread's stack
  std::thread m_thread;
};

}  // namespace norvane::link
