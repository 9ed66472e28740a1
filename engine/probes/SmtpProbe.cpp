#include "engine/probes/SmtpProbe.h"

#include "console/engine/MonitorKeys.h"
#include "engine/MailTransfer.h"
#include "platform/Blanks.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

namespace {

Mail CheckMail(const CheckTarget& target) {
  const auto value = [&](std::string_view key) {
    return std::string(platform::Trimmed(target.attributes->Get(key)));
  };
  auto server = value(keys::Parameter);
  auto body = "This mail shows that the mail server " + server + " takes mail. The monitor \"" + target.name +
              "\" of Norvane sent it; nobody needs to answer or keep it.\n";
  return {std::move(server), value(keys::From), value(keys::To), "Norvane check: " + target.name,
          std::move(body)};
}

class SmtpType final : public ProbeType {
 public:
  explicit SmtpType(ProbeContext& context) : m_context(context) {}
  std::unique_ptr<Probe> Make(const CheckTarget& target, std::chrono::milliseconds timeout,
                              ProbeClient& client) override {
    return MakeMailTransfer({m_context.loop, m_context.resolver, m_context.tls}, CheckMail(target), timeout,
                            client);
  }

 private:
  ProbeContext& m_context;
};

}  // namespace

std::unique_ptr<ProbeType> MakeSmtpType(ProbeContext& context) {
  return std::make_unique<SmtpType>(context);
}

}  // namespace norvane::engine
