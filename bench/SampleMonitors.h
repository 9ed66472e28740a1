#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "engine/store/DataFile.h"

namespace norvane::bench {

/// A monitor with texts of usual lengths in all the attributes that a user fills in.
inline engine::datafile::Row RowOf(std::uint32_t number, const std::string& parameter,
                                   std::string_view status = console::engine::StatusEnable) {
  namespace keys = console::engine::keys;
  engine::Attributes attributes = engine::NewMonitorAttributes();
  attributes.Set(keys::Parameter, parameter);
  attributes.Set(keys::SuccessFlag, "STR:Welcome to our shop");
  attributes.Set(keys::NotifyMode, "SMTP://mail.example.com;norvane@example.com");
  attributes.Set(keys::NotifyPager, "operator@example.com");
  attributes.Set(keys::NotifyMsg, "Server down");
  attributes.Set(keys::Command, "restart.sh");
  attributes.Set(keys::LogFile, "/opt/norvane/log/NorvaneLog%d%m%y.log");
  attributes.Set(keys::Status, std::string(status));
  attributes.Set(keys::Result, "Ok");
  return {number, "WebMonitor Of host " + std::to_string(number),
          std::make_shared<const engine::Attributes>(attributes)};
}

/// A started web monitor that does nothing but check and log.
inline engine::datafile::Row WatchedPage(std::uint32_t number, const std::string& url,
                                         const std::string& successFlag, const std::string& interval) {
  namespace keys = console::engine::keys;
  engine::Attributes attributes = engine::NewMonitorAttributes();
  attributes.Set(keys::Parameter, url);
  attributes.Set(keys::SuccessFlag, successFlag);
  attributes.Set(keys::Interval, interval);
  attributes.Set(keys::Status, std::string(console::engine::StatusEnable));
  attributes.Set(keys::Result, std::string(console::engine::ResultOk));
  return {number, "WebMonitor Of page " + std::to_string(number),
          std::make_shared<const engine::Attributes>(attributes)};
}

}  // namespace norvane::bench
