#include "engine/WorkerThreads.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <new>
#include <set>
#include <stdexcept>
#include <thread>

#include "console/engine/MonitorKeys.h"
#include "loopback/HttpServer.h"
#include "loopback/NameServer.h"
#include "tests/engine/FailingAllocations.h"
#include "tests/engine/WorkerFixture.h"

namespace norvane::engine {
namespace {

using loopback::HttpServer;
using std::chrono::milliseconds;
using tests::OpenDescriptors;
using tests::WebTarget;
using tests::WorkerFixture;
namespace keys = console::engine::keys;

TEST(WorkerThreads, KeepsCheckingUntilStopped) {
  HttpServer server;
  server.Set("/", HttpServer::Reply("x"));
  WorkerFixture worker;
  worker->Start(WebTarget(7, server.Url("/")), milliseconds(0));
  for (int seen = 0; seen < 2 && !worker.GaveUp();)
    for (const auto& report : worker.Next()) {
      EXPECT_EQ(report.id, 7u);
      EXPECT_EQ(report.ticket, 0u);
      EXPECT_TRUE(report.result.IsGood());
      ++seen;
    }
  worker->Update(WebTarget(7, server.Url("/none")));
  for (bool changed = false; !changed && !worker.GaveUp();)
    for (const auto& report : worker.Next())
      changed = report.result.reason == "HTTP status 404";
  worker->Stop(7);
  EXPECT_TRUE(worker->DequeueReports().empty());
  EXPECT_TRUE(worker.Check(WebTarget(7, server.Url("/"))).result.IsGood()) << "this one is asked for";
}

TEST(WorkerThreads, LosesNoMonitorWhenLoadsAreEvened) {
  HttpServer server;
  server.Set("/", HttpServer::Reply("x"));
  WorkerOptions options;
  options.threads = 2;
  options.enoughForThread = 0;
  WorkerFixture worker(options);
  const auto awaitEach = [&](const std::string& reason) {
    for (std::set<MonitorId> left{2, 4, 6, 8}; !left.empty() && !worker.GaveUp();)
      for (const auto& report : worker.Next())
        if (report.result.reason == reason) left.erase(report.id);
  };
  for (MonitorId id = 1; id <= 8; ++id)
    worker->Start(WebTarget(id, server.Url("/")), milliseconds(0));
  for (const MonitorId id : {1, 3, 5, 7})  // all that one of the threads has
    worker->Stop(id);
  awaitEach("Ok");
  for (const MonitorId id : {2, 4, 6, 8})
    worker->Update(WebTarget(id, server.Url("/none")));
  awaitEach("HTTP status 404");
  awaitEach("HTTP status 404");
}

TEST(WorkerThreads, AReportUnderwayIsNotTakenAfterStop) {
  HttpServer server;
  server.Set("/", HttpServer::Reply("x"));
  platform::EventFd event;
  WorkerThreads worker({}, event);
  worker.Start(WebTarget(7, server.Url("/")), milliseconds(0));
  pollfd fd{event.Fd(), POLLIN, 0};
  ASSERT_EQ(::poll(&fd, 1, 30000), 1);  // its report waits in the queue
  worker.Stop(7);
  EXPECT_TRUE(worker.DequeueReports().empty());
  worker.Start(WebTarget(7, server.Url("/none")), milliseconds(0));
  event.Clear();
  ASSERT_EQ(::poll(&fd, 1, 30000), 1);
  for (const auto& report : worker.DequeueReports())
    EXPECT_EQ(std::get<CheckEnded>(report).result.reason, "HTTP status 404");
}

TEST(WorkerThreads, TheTimeOfACheckRunsFromItsRealStart) {
  HttpServer server;
  server.Set("/silent", {"", "", {}, HttpServer::End::Silence});
  server.Set("/", HttpServer::Reply("x"));
  WorkerOptions options;
  options.maxInFlight = 1;
  options.threads = 1;
  WorkerFixture worker(options);
  const auto reports = worker.CheckAll({WebTarget(1, server.Url("/silent"), "", "1.2"),
                                        WebTarget(2, server.Url("/"), "", "0.3"), WebTarget(3, server.Url("/"))});
  EXPECT_EQ(reports[0].result.reason, "no answer within 1.2 s (waiting for the reply)");
  for (const auto& late : {reports[1], reports[2]}) {
    EXPECT_EQ(late.result.reason, "Ok");
    EXPECT_LT(late.result.duration, milliseconds(1000));
    EXPECT_EQ(late.remark.substr(0, 9), "started 1");
  }
  const auto figures = worker->Figures();
  EXPECT_EQ(figures.good, 2u);
  EXPECT_EQ(figures.failed, 1u);
  EXPECT_GE(figures.latestStart, milliseconds(1000));
}

TEST(WorkerThreads, ACheckThatWaitsForANameTakesNoPlace) {
  const loopback::NameServer silent(0, [](const loopback::DnsQuestion&) { return std::string(); });
  HttpServer server;
  server.Set("/", HttpServer::Reply("x"));
  WorkerOptions options;
  options.threads = 1;
  options.maxInFlight = 1;
  options.resolver.nameServers = "127.0.0.1:" + std::to_string(silent.Port());
  WorkerFixture worker(options);
  const auto reports =
      worker.CheckAll({WebTarget(1, "http://hang.test/", "", "1.2"), WebTarget(2, server.Url("/"))});
  EXPECT_EQ(reports[0].result.reason, "no answer within 1.2 s (looking up the name)");
  EXPECT_EQ(reports[1].result.reason, "Ok");
  EXPECT_EQ(reports[1].remark, "") << "the other must not have been late";
}

TEST(WorkerThreads, HoldsPagesWithinASharedQuota) {
  HttpServer server;
  server.Set("/fits", HttpServer::Reply(std::string(2000, 'x')));
  server.Set("/large", HttpServer::Reply(std::string(4000, 'x')));
  WorkerOptions options;
  options.maxPageBytes = 3000;
  WorkerFixture worker(options);
  const auto reason = [&](const char* path, const char* flag) {
    return worker.Check(WebTarget(1, server.Url(path), flag)).result.reason;
  };
  const std::string tooMany = "too many large pages at once";
  EXPECT_EQ(reason("/fits", "SIZE:2000"), "Ok");
  EXPECT_EQ(reason("/fits", "SIZE:2000"), "Ok") << "the first page must have given its bytes back";
  EXPECT_EQ(reason("/large", "SIZE:4000"), tooMany);
  EXPECT_EQ(reason("/large", ""), "Ok") << "a page that nobody looks into needs none";
  EXPECT_EQ(reason("/fits", "SIZE:2000"), "Ok") << "the page that did not fit must have given back its part";
}

TEST(WorkerThreads, RemarksOnceOnANumberItCannotUse) {
  HttpServer server;
  server.Set("/", HttpServer::Reply("x"));
  const auto target = [&](const std::string& timeout) { return WebTarget(7, server.Url("/"), "", timeout); };
  WorkerFixture worker;
  std::vector<std::string> remarks;
  const auto collect = [&](std::size_t count) {
    for (remarks.clear(); remarks.size() < count && !worker.GaveUp();)
      for (const auto& report : worker.Next())
        remarks.push_back(report.remark);
  };
  worker->Start(target("so\x1bon"), milliseconds(0));
  collect(2);
  EXPECT_EQ(remarks[0], "Monitor_Timeout (s) is \"so?on\", using 30 instead");
  EXPECT_EQ(remarks[1], "");
  worker->Update(target("late"));
  collect(2);
  EXPECT_NE((remarks[0] + remarks[1]).find("\"late\""), std::string::npos);
}

/// A check that throws where its parameter says.
class ThrowingProbe final : public Probe, private Watcher {
 public:
  ThrowingProbe(ProbeContext& context, std::string where, ProbeClient& client)
      : m_context(context),
        m_where(std::move(where)),
        m_client(client),
        m_timer(context.loop, client, &Throw) {
    if (m_where == "making") Throw();
  }
  ~ThrowingProbe() override { m_context.loop.Forget(m_event.Fd()); }
  void Begin() override {
    if (m_where == "beginning") Throw();
    if (m_where == "timer") m_timer.Set(m_context.loop.Now());
    if (m_where == "lookup")
      m_query = m_context.resolver.LookUp("a.test", m_client, [](const auto&) { Throw(); });
    if (m_where != "descriptor") return;
    m_event.Signal();
    EXPECT_TRUE(m_context.loop.Watch(m_event.Fd(), EPOLLIN, *this));
  }
  [[nodiscard]] std::string_view Step() const override { return "throwing"; }

 private:
  [[noreturn]] static void Throw() { throw std::runtime_error("on purpose"); }
  void Ready(int, std::uint32_t) override { Throw(); }
  EventOwner& Owner() override { return m_client; }

  ProbeContext& m_context;
  std::string m_where;
  ProbeClient& m_client;
  EventLoop::Timer m_timer;
  std::unique_ptr<Resolver::Query> m_query;
  platform::EventFd m_event;
};

class ThrowingType final : public ProbeType {
 public:
  explicit ThrowingType(ProbeContext& context) : m_context(context) {}
  std::unique_ptr<Probe> Make(const CheckTarget& target, milliseconds, ProbeClient& client) override {
    return std::make_unique<ThrowingProbe>(m_context, target.attributes->Get(keys::Parameter), client);
  }

 private:
  ProbeContext& m_context;
};

TEST(WorkerThreads, WhatACheckThrowsFailsThatCheckAlone) {
  const MonitorType types[] = {
      ProbeTable()[0], {"ThrowingMonitor", false, [](ProbeContext& context) -> std::unique_ptr<ProbeType> {
                          return std::make_unique<ThrowingType>(context);
                        }}};
  std::vector<std::string> logged;
  WorkerOptions options;
  options.types = types;
  options.resolver.nameServers = "127.0.0.1:1";  // refuses
  options.log = [&](const std::string& text) { logged.push_back(text); };
  HttpServer server;
  server.Set("/", HttpServer::Reply("x"));
  WorkerFixture worker(options);
  for (const char* where : {"making", "beginning", "timer", "lookup", "descriptor"}) {
    SCOPED_TRACE(where);
    auto throwing = WebTarget(1, where);
    throwing.name = "ThrowingMonitor Of x";
    const auto reports = worker.CheckAll({throwing, WebTarget(2, server.Url("/"))});
    EXPECT_EQ(reports[0].result.reason, "internal error: on purpose");
    EXPECT_TRUE(reports[1].result.IsGood());
    EXPECT_EQ(logged, std::vector<std::string>{"check of ThrowingMonitor Of x: internal error: on purpose"});
    logged.clear();
  }
}

TEST(WorkerThreads, ReportsACheckThatCannotBegin) {
  std::atomic<int> throwsAt = 0;  // the first, second or third time that the clock is asked from now on
  WorkerOptions options;
  options.clock = [&] {
    if (throwsAt > 0 && --throwsAt == 0) throw std::bad_alloc();
    return std::chrono::steady_clock::now();
  };
  options.log = [](const std::string&) {};
  options.threads = 1;
  HttpServer server;
  server.Set("/", HttpServer::Reply("x"));
  WorkerFixture worker(options);
  std::string reason = "Ok";
  for (int tries = 0; reason == "Ok"; ++tries) {  // the worker itself may ask before it comes to the check
    throwsAt = 1 + tries % 3;
    reason = worker.Check(WebTarget(1, server.Url("/"))).result.reason;
  }
  EXPECT_EQ(reason, "internal error");
}

TEST(WorkerThreads, ChecksWhatCouldNotBeStartedOnceThereIsMemory) {
  std::atomic<bool> isShort = true;
  WorkerOptions options;
  options.clock = [&, own = std::this_thread::get_id()] {
    if (std::this_thread::get_id() != own) isShort ? tests::FailAllocations() : tests::AllowAllocations();
    return std::chrono::steady_clock::now();
  };
  options.threads = 1;
  HttpServer server;
  server.Set("/", HttpServer::Reply("x"));
  platform::EventFd event;
  WorkerThreads worker(options, event);
  const int failed = tests::FailedAllocations();
  worker.Start(WebTarget(1, server.Url("/")), milliseconds(0));
  while (tests::FailedAllocations() == failed)
    std::this_thread::yield();
  isShort = false;
  pollfd fd{event.Fd(), POLLIN, 0};
  int arrived = 0;
  for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
       arrived == 0 && std::chrono::steady_clock::now() < end; arrived = ::poll(&fd, 1, 20))
    worker.OnSecond();
  EXPECT_EQ(arrived, 1);
}

TEST(WorkerThreads, AnUpdateStartsWhatThereWasNoMemoryFor) {
  HttpServer server;
  server.Set("/", HttpServer::Reply("x"));
  WorkerFixture worker;
  bool hasThrown = true;
  for (MonitorId id = 1; hasThrown; ++id) {
    SCOPED_TRACE(id);
    const auto target = WebTarget(id, server.Url("/"));
    tests::FailAllocations(static_cast<int>(id) - 1);
    try {
      worker->Start(target, milliseconds(0));
      hasThrown = false;
    } catch (const std::bad_alloc&) {
    }
    tests::AllowAllocations();
    worker->Update(target);
    worker->OnSecond();
    bool isChecked = false;
    while (!isChecked && !worker.GaveUp())
      for (const auto& ended : worker.Next())
        isChecked = isChecked || ended.id == id;
    EXPECT_TRUE(isChecked);
  }
}

TEST(WorkerThreads, EndsPromptlyWithChecksInFlight) {
  HttpServer server;
  server.Set("/silent", {"", "", {}, HttpServer::End::Silence});
  const auto began = std::chrono::steady_clock::now();
  {
    WorkerFixture worker;
    for (MonitorId id = 1; id <= 100; ++id)
      worker->Start(WebTarget(id, server.Url("/silent")), milliseconds(0));
    worker.Check(WebTarget(1000, server.Url("/none")));  // the others are on their way
  }
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
}

}  // namespace
}  // namespace norvane::engine
