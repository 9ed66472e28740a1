#include "engine/mail/MailConnections.h"

#include <algorithm>
#include <utility>

namespace norvane::engine {

class MailConnections::Idle final : public EventOwner, private LineDialogue::Client {
 public:
  Idle(MailConnections& owner, Connection connection)
      : m_owner(owner), m_connection(std::move(connection)), m_end(owner.m_loop, *this, [this] { Close(); }) {
    m_connection.dialogue->HandOver(*this, *this);
  }
  ~Idle() override {
    if (m_connection.dialogue) m_connection.dialogue->Send("QUIT\r\n");
  }
  Idle(const Idle&) = delete;
  Idle& operator=(const Idle&) = delete;

  void Begin(Idles::iterator at) {
    m_at = at;
    m_end.Set(m_owner.m_loop.Now() + MaxIdle);
  }
  [[nodiscard]] const std::string& Server() const { return m_connection.server; }
  [[nodiscard]] Connection Release() { return std::move(m_connection); }
  void Broke(const std::string&) override { Close(); }

 private:
  /// The server speaks unasked: it is closing the connection.
  void GoOn() override { Close(); }
  void Close() { m_owner.m_idle.erase(m_at); }  // this object

  MailConnections& m_owner;
  Connection m_connection;
  EventLoop::Timer m_end;
  Idles::iterator m_at;
};

MailConnections::MailConnections(EventLoop& loop) : m_loop(loop) {}

MailConnections::~MailConnections() = default;

void MailConnections::Keep(Connection connection) noexcept {
  // The mail was accepted, whatever becomes of the connection.
  m_loop.Serve(m_loop, [&] {
    if (!connection.dialogue->IsQuiet()) return connection.dialogue->Send("QUIT\r\n");
    const auto isSame = [server = connection.server](const auto& idle) { return idle->Server() == server; };
    const auto same = static_cast<std::size_t>(std::ranges::count_if(m_idle, isSame));
    const auto idle = m_idle.insert(m_idle.end(), std::make_unique<Idle>(*this, std::move(connection)));
    if (same >= MaxOfServer)
      m_idle.erase(std::ranges::find_if(m_idle, isSame));
    else if (m_idle.size() > Max)
      m_idle.pop_front();
    (*idle)->Begin(idle);
  });
}

std::optional<MailConnections::Connection> MailConnections::Dequeue(const std::string& server) {
  for (;;) {
    const auto last = std::find_if(m_idle.rbegin(), m_idle.rend(),
                                   [&](const auto& idle) { return idle->Server() == server; });
    if (last == m_idle.rend()) return std::nullopt;
    const auto idle = std::prev(last.base());
    auto connection = (*idle)->Release();
    m_idle.erase(idle);
    if (connection.dialogue->IsQuiet()) return connection;
  }
}

}  // namespace norvane::engine
