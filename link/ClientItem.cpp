#include "link/ClientItem.h"

#include <algorithm>

#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"

namespace norvane::link {

namespace ce = console::engine;
using ce::EngineError;
using ce::EngineErrorCode;

namespace {
constexpr int KindWithPage = 0;
constexpr int KindWithoutPage = 1;

std::string TypeOf(const std::string& fullName) {
  return fullName.substr(0, fullName.find(ce::NameSeparator));
}

template <class Make>
EngineClient::Outcome Run(Link& link, std::uint64_t id, Make make) {
  EngineClient::Outcome outcome;
  link.Call(
      link.Options().runTimeout,
      [&](wire::Session::Client& session) {
        auto request = make(session);
        request.setId(id);
        return request;
      },
      [&](const auto& results) {
        const auto from = results.getOutcome();
        outcome.good = from.getGood();
        outcome.reason = ToString(from.getReason());
        outcome.duration = std::chrono::milliseconds(from.getDurationMs());
      });
  return outcome;
}

class ClientRunner final : public ce::MonitorRunner {
 public:
  explicit ClientRunner(std::shared_ptr<Link> link) : m_link(std::move(link)) {}
  void Init(std::shared_ptr<ce::MonitorItem>& item) override {
    const auto id = IdOf(item);
    m_link->Call(m_link->Options().callTimeout, [&](wire::Session::Client& session) {
      auto request = session.initRequest();
      request.setId(id);
      return request;
    });
  }
  std::int32_t Monitor(std::shared_ptr<ce::MonitorItem>& item) override {
    return ResultOf(CheckMonitor(*m_link, IdOf(item)));
  }
  std::int32_t Notify(std::shared_ptr<ce::MonitorItem>& item) override {
    return ResultOf(NotifyOf(*m_link, IdOf(item)));
  }

 private:
  static std::int32_t ResultOf(const EngineClient::Outcome& outcome) { return outcome.good ? 0 : -1; }
  static std::uint64_t IdOf(const std::shared_ptr<ce::MonitorItem>& item) {
    const auto* own = dynamic_cast<ClientItem*>(item.get());
    if (own == nullptr) throw EngineError(EngineErrorCode::Invalid, "no item of this engine was given");
    return own->Id();
  }
  std::shared_ptr<Link> m_link;
};
}  // namespace

EngineClient::Outcome CheckMonitor(Link& link, std::uint64_t id) {
  return Run(link, id, [](wire::Session::Client& session) { return session.checkRequest(); });
}

EngineClient::Outcome NotifyOf(Link& link, std::uint64_t id) {
  return Run(link, id, [](wire::Session::Client& session) { return session.notifyRequest(); });
}

std::string ClientItem::Name() {
  return m_link->ConnectedMirror().Look(m_id, [](const MonitorRecord& record) { return record.name; });
}

std::string ClientItem::TypeName() {
  return TypeOf(Name());
}

int ClientItem::Kind() {
  const auto type = TypeName();
  const bool hasPage = type == ce::TypeWeb || type == ce::TypePop3 || type == ce::TypeSmtp;
  return hasPage ? KindWithPage : KindWithoutPage;
}

std::string ClientItem::GetAttr(std::string_view key) {
  return m_link->ConnectedMirror().Look(
      m_id, [&](const MonitorRecord& record) { return std::string(record.Get(key)); });
}

void ClientItem::SetAttr(std::string_view key, std::string_view value) {
  m_link->Call(m_link->Options().callTimeout, [&](wire::Session::Client& session) {
    auto request = session.setAttributeRequest();
    request.setId(m_id);
    request.setKey(ToText(std::string(key)));
    request.setValue(ToData(value));
    return request;
  });
}

std::shared_ptr<ce::MonitorRunner> ClientItem::Runner() {
  m_link->ConnectedMirror().Look(m_id, [](const MonitorRecord&) {});
  return std::make_shared<ClientRunner>(m_link);
}

}  // namespace norvane::link
