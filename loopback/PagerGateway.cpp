#include "loopback/PagerGateway.h"

#include <utility>

namespace norvane::loopback {

namespace {
constexpr char Path[] = "/scripts/sms.dll";
constexpr char QueryHead[] = "?[Call]";
}  // namespace

PagerGateway::PagerGateway() {
  SetList(HttpServer::Reply("0=Numeric pager\r\n1=Text pager\r\n2=Call by modem\r\n", "text/plain"));
  m_server.Set(Path, HttpServer::Reply("OK", "text/plain"));
}

std::string PagerGateway::Url() const {
  return m_server.Url(std::string(Path) + QueryHead);
}

void PagerGateway::SetList(HttpServer::Script reply) {
  m_server.Set(std::string(Path) + QueryHead + "cmd=10", std::move(reply));
}

std::vector<std::string> PagerGateway::Asked(const std::string& command) const {
  const auto head = "GET " + std::string(Path) + QueryHead;
  std::vector<std::string> asked;
  for (const auto& request : m_server.Requests())
    if (request.starts_with(head + command))
      asked.push_back(request.substr(head.size(), request.find(" HTTP/") - head.size()));
  return asked;
}

}  // namespace norvane::loopback
