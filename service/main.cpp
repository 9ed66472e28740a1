// norvane-engine: runs the monitors of one application folder until a signal or a client ends it.

#include <fcntl.h>
#include <getopt.h>
#include <kj/async-io.h>
#include <kj/async-unix.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "console/engine/EngineError.h"
#include "engine/Service.h"
#include "engine/WorkerThreads.h"
#include "engine/store/EngineLog.h"
#include "engine/store/StoreError.h"
#include "link/EngineServer.h"
#include "platform/ErrorText.h"
#include "platform/FileLock.h"
#include "platform/FileNames.h"
#include "platform/MemoryLimit.h"
#include "platform/MemoryReserve.h"
#include "platform/Paths.h"
#include "platform/UnixSocket.h"
#include "service/Config.h"
#include "service/Daemon.h"
#include "service/ServiceManager.h"

namespace norvane::service {
namespace {

using namespace std::chrono_literals;

enum ExitCode {
  Done = 0,
  Failed = 1,
  UsageError = 2,
  FolderInUse = 3,
  FolderUnusable = 4,
  NotSaved = 6  // 5 is free
};

constexpr const char* Usage =
    "Usage: norvane-engine [--folder DIR] [--detach]\n"
    "Runs the monitors of an application folder: the program's own, or DIR.\n\n"
    "  --folder DIR  serve this folder\n"
    "  --detach      run in the background; messages go to log/engine.log in the folder\n"
    "  --version     print the version\n"
    "  --help        print this text\n\n"
    "SIGTERM ends it after saving; at SIGHUP it reads config.ini again.\n"
    "Exit codes: 0 ended normally, 1 failed, 2 usage error,\n"
    "3 another engine serves the folder, 4 the folder is not usable, 6 ended as asked, but could not save.\n";

/// Ends the program with an exit code; the text says why.
class Exit : public std::runtime_error {
 public:
  Exit(ExitCode code, const std::string& why) : std::runtime_error(why), m_code(code) {}
  [[nodiscard]] ExitCode Code() const noexcept { return m_code; }

 private:
  ExitCode m_code;
};

struct Arguments {
  std::string folder;
  bool detach = false;
};

/// Gives nothing if the program has said what was asked for; throws Exit for wrong use.
std::optional<Arguments> Parse(int argc, char** argv) {
  static const option Options[] = {{"folder", required_argument, nullptr, 'f'},
                                   {"detach", no_argument, nullptr, 'd'},
                                   {"version", no_argument, nullptr, 'v'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {}};
  Arguments arguments;
  for (int option; (option = ::getopt_long(argc, argv, "", Options, nullptr)) != -1;) {
    switch (option) {
      case 'f':
        arguments.folder = optarg;
        break;
      case 'd':
        arguments.detach = true;
        break;
      case 'v':
        std::printf("norvane-engine %s\n", NORVANE_VERSION);
        return std::nullopt;
      case 'h':
        std::fputs(Usage, stdout);
        return std::nullopt;
      default:
        throw Exit(UsageError, Usage);
    }
  }
  if (optind < argc) throw Exit(UsageError, Usage);
  arguments.folder = platform::FolderOrOwn(arguments.folder);
  return arguments;
}

std::unique_ptr<engine::WorkerThreads> MakeWorker(const std::string& folder, const Config& config,
                                                  platform::EventFd& wake,
                                                  const engine::EventLoop::ErrorLog& log) {
  engine::WorkerOptions options;
  options.folder = folder;
  options.caFile = config.caFile;
  options.charset = config.charset;
  options.mailServers = config.mailServers;
  options.maxPageBytes = std::min(options.maxPageBytes, platform::MemoryLimit() / 4);
  options.threads = config.checkThreads;
  options.log = log;
  return std::make_unique<engine::WorkerThreads>(options, wake);
}

engine::Service::Settings SettingsOf(const Config& config) {
  return {config.admin, config.alarms, config.exits.heartbeat, config.exits.heartbeatPeriod, config.logAge};
}

/// `worker` becomes the one that is made.
engine::Service::Options ServiceOptions(const std::string& folder, const Config& config,
                                        engine::WorkerThreads*& worker) {
  engine::Service::Options options;
  options.folder = folder;
  options.makeWorker = [&](auto& wake, const auto& log) {
    auto made = MakeWorker(folder, config, wake, log);
    worker = made.get();
    return made;
  };
  options.settings = SettingsOf(config);
  options.configProblem = config.problem;
  options.history = config.history;
  return options;
}

/// A group that cannot be let into the folder is none.
void LetGroupIn(const std::string& folder, Config& config) {
  if (!config.group) return;
  if (const auto error = platform::LetGroupThrough(folder, *config.group)) {
    config.group.reset();
    config.problem += (config.problem.empty() ? "" : "; ") + folder +
                      " cannot be opened to the group of [engine] group: " + error.message();
  }
}

/// What reads "config.ini" again has it used by.
struct Running {
  engine::Service& service;
  engine::WorkerThreads& worker;
  link::EngineServer& server;
};

/// Uses what can be used without a new start. With a problem, nothing of the file is used.
void Reconfigure(const std::string& folder, Config& config, Running running) {
  auto& [service, worker, server] = running;
  auto next = Config::Read(platform::PathIn(folder, platform::files::Config));
  for (const auto& remark : next.remarks)
    service.OwnLog().Write(remark);
  if (next.problem.empty()) LetGroupIn(folder, next);
  if (!next.problem.empty())
    return service.SetConfigProblem(next.problem + "; the settings from before stay in use");
  worker.SetMailServers(next.mailServers);
  service.Configure(SettingsOf(next));
  service.SetConfigProblem({});
  server.SetGroup(next.group);
  std::string later;
  const auto note = [&](bool isNew, const char* setting) {
    if (isNew) later += std::string(later.empty() ? "" : ", ") + setting;
  };
  note(next.charset != config.charset, "[text] charset");
  note(next.checkThreads != config.checkThreads, "[checks] threads");
  note(next.caFile != config.caFile, "[tls] cafile");
  note(next.history != config.history, "[history]");
  service.OwnLog().WriteAlways("config.ini was read again" +
                               (later.empty() ? later : "; for the next start: " + later));
  // What the engine does not use yet differs the next time too.
  next.charset = config.charset;
  next.checkThreads = config.checkThreads;
  next.caFile = config.caFile;
  next.history = config.history;
  config = std::move(next);
}

bool HasTerminal() {
  return bool(platform::FileDescriptor(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)));
}

/// Calls `reload` at each SIGHUP, and ends when that tells instead that the terminal of the engine is gone.
kj::Promise<void> AtHangUp(kj::UnixEventPort& port, bool hadTerminal, std::function<void()> reload) {
  return port.onSignal(SIGHUP).then(
      [&port, hadTerminal, reload = std::move(reload)](auto) -> kj::Promise<void> {
        if (hadTerminal && !HasTerminal()) return kj::READY_NOW;
        reload();
        return AtHangUp(port, hadTerminal, reload);
      });
}

std::string Summary(const engine::Service& service) {
  const auto text = std::to_string(service.Table().Count()) + " monitors";
  const auto problems = service.Conditions().size();
  return problems == 0 ? text : text + "; problems: " + std::to_string(problems) + ", see norvanectl status";
}

kj::Promise<void> EverySecond(kj::Timer& timer, engine::Service& service, ServiceManager& manager) {
  return timer.afterDelay(1 * kj::SECONDS).then([&] {
    try {
      service.OnSecond();
      manager.Report(service.IsAlive(), Summary(service));
    } catch (const std::exception& error) {
      service.OwnLog().Write(error.what());
    }
    return EverySecond(timer, service, manager);
  });
}

/// So often that a change is on disk within a second.
kj::Promise<void> KeepChanges(kj::Timer& timer, engine::Service& service) {
  return timer.afterDelay(450 * kj::MILLISECONDS).then([&] {
    try {
      service.KeepChanges();
    } catch (const std::exception& error) {
      service.OwnLog().Write(error.what());
    }
    return KeepChanges(timer, service);
  });
}

bool EngineAnswers(const std::string& folder) {
  return platform::ConnectTo(platform::PathIn(folder, platform::files::EngineSocket)) ||
         errno == EAGAIN;  // too many connections are pending
}

/// Waits for an engine that has the lock but doesn't answer: it is starting or exiting. One that answers may
/// have lost the lock, its file having been removed.
platform::FileLock LockFolder(const std::string& folder) {
  const auto deadline = std::chrono::steady_clock::now() + 5s;
  for (;;) {
    auto lock = platform::FileLock::TryLock(platform::PathIn(folder, platform::files::EngineLock));
    const bool answers = EngineAnswers(folder);
    if (lock && !answers) return std::move(*lock);
    if (answers || std::chrono::steady_clock::now() > deadline)
      throw Exit(FolderInUse, "another engine serves the folder " + folder);
    std::this_thread::sleep_for(10ms);
  }
}

/// Throws if the engine cannot start, or ends without having saved.
void Serve(const std::string& folder, Daemon* daemon) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP})
    kj::UnixEventPort::captureSignal(signal);
  kj::AsyncIoContext io = kj::setupAsyncIo();
  auto config = Config::Read(platform::PathIn(folder, platform::files::Config));
  LetGroupIn(folder, config);
  engine::WorkerThreads* worker = nullptr;
  engine::Service service(ServiceOptions(folder, config, worker));
  for (const auto& remark : config.remarks)
    service.OwnLog().Write(remark);
  ServiceManager manager;
  const auto seconds = EverySecond(io.provider->getTimer(), service, manager).eagerlyEvaluate(nullptr);
  const auto batches = KeepChanges(io.provider->getTimer(), service).eagerlyEvaluate(nullptr);

  auto endRequested = kj::newPromiseAndFulfiller<void>();
  link::EngineServer::Options options;
  options.folder = folder;
  options.group = config.group;
  options.onShutdown = [&] { endRequested.fulfiller->fulfill(); };
  options.log = [&](const std::string& text) { service.OwnLog().Write(text); };
  auto server = std::make_unique<link::EngineServer>(io, service, options);
  if (daemon != nullptr) {
    service.OwnLog().LeaveStandardError();
    // The attempt to log it makes it a condition.
    if (const auto problem = daemon->Ready(folder); !problem.empty()) service.OwnLog().Write(problem);
  }

  manager.Notify("READY=1");

  auto hungUp = AtHangUp(io.unixEventPort, HasTerminal(), [&] {
    try {
      Reconfigure(folder, config, {service, *worker, *server});
    } catch (const std::exception& error) {
      service.OwnLog().Write(std::string("config.ini: ") + error.what());
    }
  });
  const auto signalled = [&](kj::Promise<void> other) {
    for (const int signal : {SIGTERM, SIGINT})
      other = other.exclusiveJoin(io.unixEventPort.onSignal(signal).ignoreResult());
    return other;
  };
  signalled(endRequested.promise.exclusiveJoin(std::move(hungUp))).wait(io.waitScope);
  manager.Notify("STOPPING=1");

  auto saved = kj::newPromiseAndFulfiller<void>();
  std::exception_ptr failure;
  service.Shutdown([&](std::exception_ptr error) {
    failure = error;
    saved.fulfiller->fulfill();
  });
  const auto hurried =
      signalled(kj::NEVER_DONE).then([&] { service.HurryShutdown(); }).eagerlyEvaluate(nullptr);
  saved.promise.wait(io.waitScope);
  if (failure) throw Exit(NotSaved, "ended without saving: " + platform::ErrorText(failure));
}

/// What ends the engine is in its log too.
void LockAndServe(const std::string& folder, Daemon* daemon) {
  const auto lock = LockFolder(folder);
  try {
    Serve(folder, daemon);
  } catch (const std::exception& error) {
    engine::EngineLog::Append(folder, error.what());
    throw;
  }
}

}  // namespace

int Main(int argc, char** argv) {
  // Passwords are in our memory: it goes into no core file, and other programs of the user cannot read it.
  ::prctl(PR_SET_DUMPABLE, 0);
  platform::TuneAllocator();
  platform::KeepMemoryReserve();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);        // a file that may not grow is a write that fails
  std::setlocale(LC_CTYPE, "C.UTF-8");  // libcurl reads host names in it
  std::signal(SIGCHLD, SIG_DFL);        // if inherited as ignored, exit statuses of children would be lost
  ::umask(0077);
  std::optional<Daemon> daemon;
  const auto fail = [&](ExitCode code, const std::exception& error) {
    // Once the engine is in the background standard error is its log, which has the reason.
    if (!daemon || !daemon->IsReady()) engine::EngineLog::PrintToStandardError(error.what());
    return code;
  };
  try {
    const auto arguments = Parse(argc, argv);
    if (!arguments) return Done;
    if (arguments->detach) daemon.emplace();
    LockAndServe(arguments->folder, daemon ? &*daemon : nullptr);
    return Done;
  } catch (const Exit& exit) {
    if (exit.Code() != UsageError) return fail(exit.Code(), exit);
    std::fputs(exit.what(), stderr);
    return UsageError;
  } catch (const engine::StoreError& error) {
    return fail(FolderUnusable, error);
  } catch (const std::system_error& error) {
    return fail(FolderUnusable, error);
  } catch (const std::exception& error) {
    return fail(Failed, error);
  }
}

}  // namespace norvane::service

int main(int argc, char** argv) {
  return norvane::service::Main(argc, argv);
}
