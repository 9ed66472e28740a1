#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "console/engine/MonitorKeys.h"
#include "tests/engine/CheckerFixture.h"
#include "tests/support/MailServers.h"

namespace norvane::tests {

/// Whom the mail checks of the tests log on as, and between whom they send.
inline constexpr const char* Account = "watcher";
inline constexpr const char* Password = "open sesame 7";
inline constexpr const char* Sender = "watcher@norvane.test";
inline constexpr const char* Recipient = "tester@norvane.test";

inline engine::CheckTarget MailTarget(std::string_view type, const std::string& server,
                                      const std::string& timeout = "20") {
  namespace keys = console::engine::keys;
  auto attributes = engine::NewMonitorAttributes();
  attributes.Set(keys::Parameter, server);
  attributes.Set(keys::Timeout, timeout);
  attributes.Set(keys::PopAccount, Account);
  attributes.Set(keys::PopPass, Password);
  attributes.Set(keys::From, Sender);
  attributes.Set(keys::To, Recipient);
  return {1, std::string(type) + " Of mail", std::make_shared<const engine::Attributes>(attributes)};
}

/// `target` with one attribute changed.
inline engine::CheckTarget With(engine::CheckTarget target, std::string_view key, const std::string& value) {
  auto attributes = *target.attributes;
  attributes.Set(key, value);
  target.attributes = std::make_shared<const engine::Attributes>(attributes);
  return target;
}

/// A point of a server's dialogue at which it goes wrong, and what the check says to it.
struct MailFault {
  const char* name;
  const char* point;
  MailAnswer answer;
  std::string reason;
  std::string timeout = "20";
};

/// Sets each of `faults` on a server of its own, which `make` gives, checks them all at once and compares.
/// Everything that was open for them is closed afterwards.
template <class Server>
void ExpectReasons(const std::vector<MailFault>& faults, std::string_view type,
                   const std::function<std::unique_ptr<Server>()>& make, CheckerFixture& checker) {
  std::vector<std::unique_ptr<Server>> servers;
  std::vector<engine::CheckTarget> targets;
  const auto descriptors = OpenDescriptors();
  for (const auto& fault : faults) {
    servers.push_back(make());
    servers.back()->Set(fault.point, fault.answer);
    targets.push_back(MailTarget(type, servers.back()->Address(), fault.timeout));
  }
  const auto reports = checker.CheckAll(std::move(targets));
  for (std::size_t i = 0; i < faults.size(); ++i) {
    SCOPED_TRACE(faults[i].name);
    EXPECT_EQ(reports[i].result.reason, faults[i].reason);
    EXPECT_EQ(reports[i].result.good, faults[i].reason == "Ok");
    EXPECT_LT(reports[i].result.duration, std::chrono::seconds(10));
  }
  servers.clear();
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

/// What a hostile server may do at any point, whatever the protocol. `step` is what the reasons call the
/// point, `protocol` what they begin with.
inline std::vector<MailFault> HostileAnswers(const char* point, const std::string& step,
                                             const std::string& protocol) {
  using End = MailAnswer::End;
  const auto at = protocol + ": " + step + ": ";
  const auto late = "no answer within 0.4 s (" + step + ")";
  return {
      {"silence", point, {"", End::Silence}, late, "0.4"},
      {"half a line", point, {"+OK 25", End::Silence}, late, "0.4"},
      {"a byte a while",
       point,
       {"+OK 250 and so on", End::Stay, "x", {}, std::chrono::milliseconds(50)},
       late,
       "0.4"},
      {"reset", point, {"", End::Reset}, at + "connection reset by the server"},
      {"close", point, {"", End::Close}, at + "connection closed by the server"},
      {"close in a line", point, {"+OK 25", End::Close}, at + "connection closed by the server"},
      {"long line", point, {std::string(10000, 'x') + "\r\n"}, at + "line longer than 4096 characters"},
      {"endless line",
       point,
       {"", End::Stay, std::string(1000, '2')},
       at + "line longer than 4096 characters"},
      {"another protocol",
       point,
       {"HTTP/1.1 400 Bad Request\r\n\r\n", End::Close},
       "the reply is not " + protocol},
      {"binary rubbish", point, {std::string("\x16\x03\x01\0\xff\r\n", 7)}, "the reply is not " + protocol},
      {"empty line", point, {"\r\n"}, "the reply is not " + protocol},
  };
}

}  // namespace norvane::tests
