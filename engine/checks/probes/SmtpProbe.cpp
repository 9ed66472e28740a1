#include "console/engine/MonitorKeys.h"
#include "engine/checks/ProbeType.h"
#include "engine/mail/MailTransfer.h"
#include "platform/Blanks.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

namespace {

Mail CheckMail(const CheckTarget& target) {
  const auto& attributes = *target.attributes;
  const auto& server = attributes.Get(keys::Parameter);
  return {server,
          attributes.Get(keys::From),
          {std::string(platform::Trimmed(attributes.Get(keys::To)))},
          "Norvane check: " + target.name,
          "This mail shows that the mail server " + server + " takes mail. The monitor \"" + target.name +
              "\" of Norvane sent it; nobody needs to answer or keep it.\n"};
}

/// The check of an SMTP monitor: sends one small mail, whose subject names the monitor, through the server at
/// "Monitor_Parameter" from "MonitorExt_From" to "MonitorExt_To", see `MakeMailTransfer`.
class SmtpType final : public ProbeType {
 public:
  explicit SmtpType(ProbeContext& context) : m_context(context) {}
  std::unique_ptr<Probe> Make(const CheckTarget& target, std::chrono::milliseconds timeout,
                              ProbeClient& client) override {
    return MakeMailTransfer(m_context, CheckMail(target), timeout, client);
  }

 private:
  ProbeContext& m_context;
};

}  // namespace

std::unique_ptr<ProbeType> MakeSmtpType(ProbeContext& context) {
  return std::make_unique<SmtpType>(context);
}

}  // namespace norvane::engine
