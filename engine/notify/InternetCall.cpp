#include "engine/notify/InternetCall.h"

#include <utility>

#include "console/engine/MonitorKeys.h"
#include "engine/probes/WebProbe.h"

namespace norvane::engine {

namespace {

class InternetCall final : public Probe {
 public:
  InternetCall(ProbeType& type, std::string url, std::chrono::milliseconds timeout, ProbeClient& client)
      : m_client(client) {
    if (url.size() > Attributes::MaxValueSize) return;  // percent-encoding makes three bytes of one
    Attributes attributes;
    attributes.Set(console::engine::keys::Parameter, std::move(url));
    m_target.attributes = std::make_shared<const Attributes>(std::move(attributes));
    m_fetch = type.Make(m_target, timeout, client);
  }
  void Begin() override { m_fetch ? m_fetch->Begin() : m_client.Ended("the message is too long"); }
  [[nodiscard]] std::string_view Step() const override { return m_fetch->Step(); }

 private:
  ProbeClient& m_client;
  CheckTarget m_target;
  std::unique_ptr<Probe> m_fetch;  // none if the address is too long
};

class InternetCallChannel final : public Channel {
 public:
  explicit InternetCallChannel(const ChannelContext& context) : m_type(MakeWebCallType(context.probes)) {}
  std::unique_ptr<Probe> Make(const NotifyMode& mode, const NotifyRequest& request,
                              std::chrono::milliseconds timeout, ProbeClient& client) override {
    return std::make_unique<InternetCall>(*m_type, InternetCallUrl(mode, request.message, request.to),
                                          timeout, client);
  }

 private:
  std::unique_ptr<ProbeType> m_type;
};

}  // namespace

std::unique_ptr<Channel> MakeInternetCallChannel(const ChannelContext& context) {
  return std::make_unique<InternetCallChannel>(context);
}

}  // namespace norvane::engine
