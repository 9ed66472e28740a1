#include <utility>

#include "console/engine/MonitorKeys.h"
#include "engine/checks/PageFailure.h"
#include "engine/checks/ProbeType.h"
#include "engine/web/WebFetch.h"

namespace norvane::engine {

namespace keys = console::engine::keys;

namespace {

/// The check of a web monitor: fetches the page at "Monitor_Parameter", see `MakeWebFetch`, and judges
/// it by "MonitorExt_SuccessFlag".
class WebType final : public ProbeType {
 public:
  explicit WebType(ProbeContext& context) : m_context(context), m_transfers(context.loop, context.tls) {}
  std::unique_ptr<Probe> Make(const CheckTarget& target, std::chrono::milliseconds timeout,
                              ProbeClient& client) override {
    const auto& flag = target.attributes->Get(keys::SuccessFlag);
    WebRequest request{target.attributes->Get(keys::Parameter)};
    if (JudgesContent(flag))
      request.judge = [flag, &charset = m_context.charset](const Page& page) {
        return PageFailure(flag, page, charset);
      };
    return MakeWebFetch(m_transfers, m_context, std::move(request), timeout, client);
  }

 private:
  ProbeContext& m_context;
  WebTransfers m_transfers;
};

}  // namespace

std::unique_ptr<ProbeType> MakeWebType(ProbeContext& context) {
  return std::make_unique<WebType>(context);
}

}  // namespace norvane::engine
