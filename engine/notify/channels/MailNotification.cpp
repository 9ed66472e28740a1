#include "engine/mail/MailTransfer.h"
#include "engine/notify/Channel.h"

namespace norvane::engine {

namespace {

/// Mails the request's body to its address through the server of the mode, see `MakeMailTransfer`; the
/// mode's sender is the mail's. No copy goes anywhere.
class MailChannel final : public Channel {
 public:
  explicit MailChannel(const ChannelContext& context) : m_probes(context.probes) {}
  std::unique_ptr<Probe> Make(const NotifyMode& mode, const NotifyRequest& request,
                              std::chrono::milliseconds timeout, ProbeClient& client) override {
    return MakeMailTransfer(m_probes, {mode.server, mode.sender, request.to, request.message, request.body},
                            timeout, client);
  }

 private:
  ProbeContext& m_probes;
};

}  // namespace

std::unique_ptr<Channel> MakeMailChannel(const ChannelContext& context) {
  return std::make_unique<MailChannel>(context);
}

}  // namespace norvane::engine
