#include "demo/DemoMonitors.h"

#include <filesystem>
#include <utility>
#include <vector>

#include "console/engine/MonitorKeys.h"
#include "demo/DemoFolder.h"
#include "demo/DemoServers.h"
#include "link/EngineClient.h"
#include "platform/FileNames.h"
#include "platform/Paths.h"

namespace norvane::demo {

namespace {
namespace ce = console::engine;
namespace keys = ce::keys;

constexpr char Sender[] = "norvane@example.com";

struct Monitor {
  const char* name;
  std::vector<std::pair<std::string_view, std::string>> attributes;
};

std::vector<Monitor> Monitors(const DemoServers& servers) {
  return {
      {Shop,
       {{keys::Parameter, servers.web.Url(ShopPage)},
        {keys::SuccessFlag, std::string("STR:") + ShopFlag},
        {keys::Command, "restart-shop.sh"},
        {keys::CommandSucc, "shop-is-back.sh"},
        {keys::NotifyMode, "SMTP://" + servers.post.Address() + ";" + Sender},
        {keys::NotifyPager, "admin@example.com"},
        {keys::NotifyMsg, "The shop is down"},
        {keys::Status, std::string(ce::StatusEnable)}}},
      {Mailbox,
       {{keys::Parameter, servers.mailbox.Address()},
        {keys::PopAccount, Account},
        {keys::PopPass, Password},
        {keys::NotifyMode, servers.gateway.Url() + "cmd=11&mode=1&msg=%s&num=%s"},
        {keys::NotifyPager, "5551234"},
        {keys::NotifyMsg, "No orders"},
        {keys::Status, std::string(ce::StatusEnable)}}},
      {Relay,
       {{keys::Parameter, servers.relay.Address()},
        {keys::From, "check@example.com"},
        {keys::To, "postmaster@example.com"},
        {keys::Status, std::string(ce::StatusEnable)}}},
      {"WebMonitor Of prices",
       {{keys::Parameter, servers.web.Url(PricesPage)},
        {keys::SuccessFlag, "SIZE:" + PricesSize()},
        {keys::Status, std::string(ce::StatusEnable)}}},
      {Archive, {{keys::Parameter, servers.web.Url("/archive.htm")}}},
  };
}

void WriteCommand(const DemoFolder& folder, const std::string& name, const std::string& says) {
  folder.Write(name, "#!/bin/sh\necho \"" + says + "\"\n");
  std::filesystem::permissions(folder / name, std::filesystem::perms::owner_all);
}
}  // namespace

void WriteFiles(const DemoFolder& folder, const DemoServers& servers) {
  folder.Write(std::string(platform::files::Config),
               "[gateway]\nurl=" + servers.gateway.Url() + "\nsender=" + Sender +
                   "\n[help]\nfeedback=" + servers.web.Url(NewsPage) + "\n");
  WriteCommand(folder, "restart-shop.sh", "the shop would be restarted now, since: $NORVANE_RESULT");
  WriteCommand(folder, "shop-is-back.sh", "the shop is back after $NORVANE_FAILURES failures");
}

void AddMonitors(link::EngineClient& engine, const DemoFolder& folder, const DemoServers& servers) {
  ce::OpenGate(engine);
  for (const auto& monitor : Monitors(servers)) {
    engine.Add(monitor.name);
    const auto id = engine.Find(monitor.name);
    // An outage begins with the first failed check, and a person hears of it with the second.
    for (const auto& [key, value] : {std::pair{keys::Interval, "2"},
                                     {keys::Timeout, "1"},
                                     {keys::FailTimes, "1"},
                                     {keys::MaxFailTimes, "1"},
                                     {keys::LogFile, "log/monitors%d%m%y.log"}})
      engine.SetAttribute(id, key, value);
    for (const auto& [key, value] : monitor.attributes)
      engine.SetAttribute(id, key, value);
  }
  engine.Save(platform::PathIn(folder.Path(), platform::files::EngineData));
}

}  // namespace norvane::demo
