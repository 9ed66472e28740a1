#include "link/Link.h"

#include <stdexcept>

#include "console/engine/EngineError.h"

namespace norvane::link {

using console::engine::EngineError;
using console::engine::EngineErrorCode;

Link::~Link() {
  if (!m_thread.joinable()) return;
  m_loop->Executor().executeSync([this] { m_loop->End(); });
  m_thread.join();
}

void Link::ThreadMain(std::promise<void> ready) {
  try {
    LinkLoop loop(m_options, m_mirror, m_info);
    m_loop = &loop;
    ready.set_value();
    loop.RunUntilEnd();
  } catch (const std::exception& error) {
    if (m_loop != nullptr) throw;
    // A kj exception must be destroyed on the thread that threw it, or the process ends: copy the text.
    ready.set_exception(std::make_exception_ptr(std::runtime_error(error.what())));
  }
}

void Link::Wait(CallState& call) {
  (m_options.waiter != nullptr ? *m_options.waiter : m_blockingWaiter).Wait(call);
  call.Result();
}

void Link::WaitCancellable(CallState& call) {
  call.AllowCancel([this, &call] { m_loop->Executor().executeSync([&] { m_loop->Cancel(call); }); });
  Wait(call);
}

template <class Action>
std::shared_ptr<CallState> Link::BeginOnLoop(const Action& begin) {
  auto call = std::make_shared<CallState>();
  m_loop->Executor().executeSync([&] { begin(*m_loop, call); });
  return call;
}

void Link::StartThread() {
  std::promise<void> ready;
  auto isReady = ready.get_future();
  try {
    m_thread = std::thread(&Link::ThreadMain, this, std::move(ready));
    isReady.get();
  } catch (const std::exception& error) {
    if (m_thread.joinable()) m_thread.join();
    throw EngineError(EngineErrorCode::Failed, std::string("cannot set up the link: ") + error.what());
  }
}

void Link::CheckFollowing() const {
  if (m_mirror.CurrentState() == Mirror::State::Gone)
    throw EngineError(EngineErrorCode::Gone, "the engine is gone or was restarted");
}

void Link::Connect() {
  if (m_mirror.CurrentState() != Mirror::State::NeverReached) return;
  if (!m_thread.joinable()) StartThread();
  const auto timeout = m_hasTimedOut ? m_options.retryTimeout : m_options.connectTimeout;
  try {
    Wait(*BeginOnLoop([timeout](LinkLoop& loop, const auto& call) { loop.Connect(call, timeout); }));
  } catch (const EngineError& error) {
    m_hasTimedOut = error.Code() == EngineErrorCode::TimedOut;
    throw;
  }
}

const Mirror& Link::ConnectedMirror() {
  if (!m_options.follows) throw std::logic_error("this client has no mirror");
  Connect();
  return m_mirror;
}

const console::engine::EngineInfo& Link::ConnectedInfo() {
  Connect();
  CheckFollowing();
  return m_info;
}

std::shared_ptr<CallState> Link::Start(std::chrono::milliseconds timeout, const LinkLoop::Body& body) {
  Connect();
  CheckFollowing();
  return BeginOnLoop([&](LinkLoop& loop, const auto& call) { loop.Run(call, timeout, body); });
}

void Link::WaitUntilGone(std::chrono::milliseconds timeout) {
  Wait(*BeginOnLoop([&](LinkLoop& loop, const auto& call) { loop.WaitUntilGone(call, timeout); }));
}

}  // namespace norvane::link
