#include <utility>

#include "engine/notify/Channel.h"
#include "engine/notify/InternetCallUrl.h"
#include "engine/web/WebFetch.h"

namespace norvane::engine {

namespace {

/// Percent-encoding makes three bytes of one.
constexpr std::size_t MaxUrlSize = 1 << 20;

class InternetCall final : public Probe {
 public:
  InternetCall(WebTransfers& transfers, ProbeContext& context, std::string url,
               std::chrono::milliseconds timeout, ProbeClient& client)
      : m_client(client) {
    if (url.size() <= MaxUrlSize)
      m_fetch = MakeWebFetch(transfers, context, {std::move(url), true}, timeout, client);
  }
  void Begin() override { m_fetch ? m_fetch->Begin() : m_client.Ended("the message is too long"); }
  [[nodiscard]] std::string_view Step() const override { return m_fetch->Step(); }
  [[nodiscard]] SendFailure WhatFailed() const override {
    return m_fetch ? m_fetch->WhatFailed() : SendFailure{SendFailure::Blame::Message};
  }

 private:
  ProbeClient& m_client;
  std::unique_ptr<Probe> m_fetch;  // none if the address is too long
};

/// Fetches the address of the internet call form (see InternetCallUrl) by GET; a reply of 2xx is success.
class InternetCallChannel final : public Channel {
 public:
  explicit InternetCallChannel(const ChannelContext& context)
      : m_context(context.probes), m_transfers(m_context.loop, m_context.tls) {}
  std::unique_ptr<Probe> Make(const NotifyMode& mode, const NotifyRequest& request,
                              std::chrono::milliseconds timeout, ProbeClient& client) override {
    return std::make_unique<InternetCall>(
        m_transfers, m_context, InternetCallUrl(mode, request.message, request.to), timeout, client);
  }

 private:
  ProbeContext& m_context;
  WebTransfers m_transfers;
};

}  // namespace

std::unique_ptr<Channel> MakeInternetCallChannel(const ChannelContext& context) {
  return std::make_unique<InternetCallChannel>(context);
}

}  // namespace norvane::engine
