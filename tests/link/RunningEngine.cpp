#include "tests/link/RunningEngine.h"

#include <kj/async-io.h>

#include <condition_variable>
#include <mutex>
#include <optional>

#include "console/engine/MonitorKeys.h"

namespace norvane::tests {

struct RunningEngine::Loop {
  Loop(const std::string& folder, const std::function<void(link::EngineServer::Options&)>& tune,
       const engine::EventLoop::Clock& clock)
      : service({folder, FakeWorker::Maker(checks), clock}),
        server(std::in_place, io, service, Options(folder, tune)) {}

  link::EngineServer::Options Options(const std::string& folder,
                                      const std::function<void(link::EngineServer::Options&)>& tune) {
    link::EngineServer::Options options;
    options.folder = folder;
    options.onShutdown = [this] {
      closing = kj::evalLater([this] { server.reset(); }).eagerlyEvaluate(nullptr);
    };
    options.log = [this](const std::string& line) {
      const std::lock_guard lock(mutex);
      log.push_back(line);
      logged.notify_all();
    };
    if (tune) tune(options);
    return options;
  }

  kj::AsyncIoContext io = kj::setupAsyncIo();
  const kj::Executor& executor = kj::getCurrentThreadExecutor();
  kj::PromiseFulfillerPair<void> end = kj::newPromiseAndFulfiller<void>();
  std::mutex mutex;
  std::condition_variable logged;
  std::vector<std::string> log;
  FakeWorker* checks = nullptr;
  engine::Service service;
  std::optional<link::EngineServer> server;  // until a console asks the engine to end
  kj::Promise<void> closing = nullptr;
};

RunningEngine::RunningEngine(std::string folder, std::function<void(link::EngineServer::Options&)> tune,
                             engine::EventLoop::Clock clock)
    : m_folder(std::move(folder)), m_tune(std::move(tune)), m_clock(std::move(clock)) {
  std::promise<Loop*> ready;
  auto isReady = ready.get_future();
  m_thread = std::thread(&RunningEngine::ThreadMain, this, std::move(ready));
  try {
    m_loop = isReady.get();
  } catch (...) {
    m_thread.join();
    throw;
  }
}

RunningEngine::~RunningEngine() {
  m_loop->executor.executeSync([this] { m_loop->end.fulfiller->fulfill(); });
  m_thread.join();
}

void RunningEngine::ThreadMain(std::promise<Loop*> ready) {
  std::unique_ptr<Loop> loop;
  try {
    loop = std::make_unique<Loop>(m_folder, m_tune, m_clock);
  } catch (...) {
    ready.set_exception(std::current_exception());
    return;
  }
  ready.set_value(loop.get());
  loop->end.promise.wait(loop->io.waitScope);
}

void RunningEngine::Do(const std::function<void(engine::Service&, FakeWorker&)>& action) {
  m_loop->executor.executeSync([&] { action(m_loop->service, *m_loop->checks); });
}

std::string RunningEngine::ControlPass() {
  std::string pass;
  Do([&](engine::Service& service, FakeWorker&) {
    pass = service.ConfigValue(console::engine::service::ControlPass);
  });
  return pass;
}

std::vector<std::string> RunningEngine::Log() {
  const std::lock_guard lock(m_loop->mutex);
  return m_loop->log;
}

void RunningEngine::AwaitLog(const std::string& text) {
  std::unique_lock lock(m_loop->mutex);
  m_loop->logged.wait(lock, [&] {
    for (const auto& line : m_loop->log)
      if (line.find(text) != std::string::npos) return true;
    return false;
  });
}

link::LinkOptions ClientOptions(const std::string& folder) {
  link::LinkOptions options;
  options.folder = folder;
  options.connectTimeout = options.callTimeout = options.runTimeout = std::chrono::seconds(60);
  return options;
}

}  // namespace norvane::tests
