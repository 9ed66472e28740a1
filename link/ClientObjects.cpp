#include "link/ClientObjects.h"

#include "console/engine/EngineError.h"
#include "console/engine/MonitorKeys.h"
#include "link/ClientItem.h"

namespace norvane::link {

namespace ce = console::engine;
using ce::EngineError;
using ce::EngineErrorCode;

// ServiceConfig and ControlGate

void ClientConfig::SetService(std::string_view name) {
  if (name != ce::ServiceName)
    throw EngineError(EngineErrorCode::Invalid, "no such service: " + std::string(name));
  m_named = true;
}

void ClientConfig::SetValue(std::string_view key, std::string_view value) {
  CheckNamed();
  m_held[std::string(key)] = value;
}

void ClientConfig::Commit() {
  CheckNamed();
  const auto values = std::exchange(m_held, {});
  m_link->Call(m_link->Options().callTimeout, [&](wire::Session::Client& session) {
    auto request = session.commitConfigRequest();
    auto pairs = request.initValues(static_cast<unsigned>(values.size()));
    unsigned next = 0;
    for (const auto& [key, value] : values) {
      auto pair = pairs[next++];
      pair.setKey(ToText(key));
      pair.setValue(ToData(value));
    }
    return request;
  });
}

std::string ClientConfig::GetValue(std::string_view key) {
  CheckNamed();
  std::string value;
  m_link->Call(
      m_link->Options().callTimeout,
      [&](wire::Session::Client& session) {
        auto request = session.configValueRequest();
        request.setKey(ToText(std::string(key)));
        return request;
      },
      [&](const auto& results) { value = ToString(results.getValue()); });
  return value;
}

void ClientConfig::CheckNamed() const {
  if (!m_named) throw EngineError(EngineErrorCode::Invalid, "SetService comes first");
}

void ClientGate::Open(std::string_view controlPass) {
  m_link->Call(m_link->Options().callTimeout, [&](wire::Session::Client& session) {
    auto request = session.openGateRequest();
    request.setControlPass(ToData(controlPass));
    return request;
  });
}

// The root and its components but for MonitorList

namespace {
class ClientStore final : public ce::ServiceStore {
 public:
  explicit ClientStore(std::shared_ptr<Link> link) : m_link(std::move(link)) {}
  void Load(std::string_view path) override {
    Call(path, [](wire::Session::Client& session) { return session.loadRequest(); });
  }
  void Save(std::string_view path) override {
    Call(path, [](wire::Session::Client& session) { return session.saveRequest(); });
  }

 private:
  template <class Make>
  void Call(std::string_view path, Make make) {
    m_link->Call(m_link->Options().storeTimeout, [&](wire::Session::Client& session) {
      auto request = make(session);
      request.setPath(ToText(std::string(path)));
      return request;
    });
  }
  std::shared_ptr<Link> m_link;
};

class ClientType final : public ce::MonitorType {
 public:
  explicit ClientType(std::string name) : m_name(std::move(name)) {}
  std::string Name() override { return m_name; }

 private:
  std::string m_name;
};

class ClientTypeList final : public ce::MonitorTypeList {
 public:
  explicit ClientTypeList(std::shared_ptr<Link> link) : m_link(std::move(link)) {}
  int Count() override { return static_cast<int>(Types().size()); }
  std::shared_ptr<ce::MonitorType> Item(int index) override {
    const auto& types = Types();
    if (index < 1 || static_cast<std::size_t>(index) > types.size())
      throw EngineError(EngineErrorCode::NotFound, "no type of number " + std::to_string(index));
    return std::make_shared<ClientType>(types[static_cast<std::size_t>(index) - 1]);
  }

 private:
  const std::vector<std::string>& Types() { return m_link->ConnectedInfo().monitorTypes; }
  std::shared_ptr<Link> m_link;
};

class ClientRoot final : public ce::ServiceRoot {
 public:
  explicit ClientRoot(std::shared_ptr<Link> link) : m_link(std::move(link)) {}
  std::shared_ptr<ce::Component> GetComponent(std::string_view id, ce::ServiceRef& ref) override {
    m_link->CheckConnected();
    ClientRef::Of(ref);
    if (id == ce::ServiceStore::ComponentId) return std::make_shared<ClientStore>(m_link);
    if (id == ce::MonitorList::ComponentId) return std::make_shared<ClientList>(m_link);
    if (id == ce::MonitorTypeList::ComponentId) return std::make_shared<ClientTypeList>(m_link);
    throw EngineError(EngineErrorCode::NotFound, "no component of this id: " + std::string(id));
  }

 private:
  std::shared_ptr<Link> m_link;
};
}  // namespace

// ServiceRef

std::shared_ptr<ce::ServiceRoot> ClientRef::GetRoot() {
  m_link->CheckConnected();
  if (m_machine.empty() || m_classId != ce::RootClassId)
    throw EngineError(EngineErrorCode::Invalid, "the root needs a machine and the service's class id");
  return std::make_shared<ClientRoot>(m_link);
}

std::shared_ptr<ce::MonitorItem> ClientRef::GetMonitor() {
  m_link->CheckConnected();
  if (!m_found.has_value())
    throw EngineError(EngineErrorCode::NotFound, "the reference names no monitor yet");
  return std::make_shared<ClientItem>(m_link, *m_found);
}

ClientRef& ClientRef::Of(ce::ServiceRef& ref) {
  auto* own = dynamic_cast<ClientRef*>(&ref);
  if (own == nullptr) throw EngineError(EngineErrorCode::Invalid, "the reference is not of this engine");
  return *own;
}

// MonitorList

void ClientList::Resolve(ce::ServiceRef& ref) {
  auto& own = ClientRef::Of(ref);
  own.SetFound(std::nullopt);
  own.SetFound(m_link->ConnectedMirror().IdOf(own.MonitorName()));
}

void ClientList::Add(ce::ServiceRef& ref) {
  const auto& name = ClientRef::Of(ref).MonitorName();
  m_link->Call(m_link->Options().callTimeout, [&](wire::Session::Client& session) {
    auto request = session.addRequest();
    request.setName(ToText(name));
    return request;
  });
}

void ClientList::Remove(ce::ServiceRef& ref) {
  const auto& name = ClientRef::Of(ref).MonitorName();
  m_link->Call(m_link->Options().callTimeout, [&](wire::Session::Client& session) {
    auto request = session.removeRequest();
    request.setName(ToText(name));
    return request;
  });
}

int ClientList::Count() {
  return static_cast<int>(m_link->ConnectedMirror().Count());
}

std::shared_ptr<ce::MonitorItem> ClientList::Item(int index) {
  return std::make_shared<ClientItem>(m_link, m_link->ConnectedMirror().IdAt(index));
}

}  // namespace norvane::link
