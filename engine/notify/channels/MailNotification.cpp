#include "engine/mail/MailArguments.h"
#include "engine/mail/MailConnections.h"
#include "engine/mail/MailServerTable.h"
#include "engine/mail/MailTransfer.h"
#include "engine/notify/Channel.h"

namespace norvane::engine {

namespace {

/// Mails the request's body to its address through the server of the mode, see `MakeMailTransfer`; the
/// mode's sender is the mail's unless the server's settings name another. No copy goes anywhere.
class MailChannel final : public Channel {
 public:
  explicit MailChannel(const ChannelContext& context)
      : m_probes(context.probes), m_connections(context.probes.loop) {}
  std::unique_ptr<Probe> Make(const NotifyMode& mode, const NotifyRequest& request,
                              std::chrono::milliseconds timeout, ProbeClient& client) override {
    const auto& from = m_probes.mailServers.Find(mode.server).from;
    return MakeMailTransfer(m_probes,
                            {mode.server, from.empty() ? mode.sender : from, AddressesIn(request.to),
                             request.message, request.body, request.identity, true},
                            timeout, client, &m_connections);
  }

 private:
  ProbeContext& m_probes;
  MailConnections m_connections;
};

}  // namespace

std::unique_ptr<Channel> MakeMailChannel(const ChannelContext& context) {
  return std::make_unique<MailChannel>(context);
}

}  // namespace norvane::engine
