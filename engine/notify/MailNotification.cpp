#include "engine/notify/MailNotification.h"

#include "engine/mail/MailTransfer.h"

namespace norvane::engine {

namespace {

class MailChannel final : public Channel {
 public:
  explicit MailChannel(const ChannelContext& context) : m_probes(context.probes) {}
  std::unique_ptr<Probe> Make(const NotifyMode& mode, const NotifyRequest& request,
                              std::chrono::milliseconds timeout, ProbeClient& client) override {
    return MakeMailTransfer({m_probes.loop, m_probes.resolver, m_probes.tls},
                            {mode.server, mode.sender, request.to, request.message, request.body}, timeout,
                            client);
  }

 private:
  ProbeContext& m_probes;
};

}  // namespace

std::unique_ptr<Channel> MakeMailChannel(const ChannelContext& context) {
  return std::make_unique<MailChannel>(context);
}

}  // namespace norvane::engine
