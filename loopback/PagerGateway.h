#pragma once

#include <string>
#include <vector>

#include "loopback/HttpServer.h"

namespace norvane::loopback {

/// An internet pager gateway on a loopback port: it lists its pager types, and records the calls that it is
/// to make.
class PagerGateway {
 public:
  /// With three types, "Numeric pager", "Text pager" and "Call by modem".
  PagerGateway();

  /// What "url" in section "gateway" of the configuration file is to say.
  [[nodiscard]] std::string Url() const;
  /// What is sent for the list from here on.
  void SetList(HttpServer::Script reply);
  /// How often the list was asked for.
  [[nodiscard]] std::size_t ListRequests() const { return Asked("cmd=10").size(); }
  /// The calls so far, as the query has them: "cmd=11&mode=1&msg=down&num=12345678".
  [[nodiscard]] std::vector<std::string> Calls() const { return Asked("cmd=11"); }

 private:
  /// The queries for this command.
  [[nodiscard]] std::vector<std::string> Asked(const std::string& command) const;

  HttpServer m_server;
};

}  // namespace norvane::loopback
