#include "support/PagerTypes.h"

#include <QComboBox>
#include <QEventLoop>
#include <QSignalBlocker>
#include <QTimer>
#include <utility>

#include "console/shared/MainBas.h"
#include "console/shared/UserInput.h"
#include "platform/PageText.h"
#include "platform/Utf8.h"
#include "settings/PagerTypeRows.h"

namespace norvane::support {

namespace {
using console::engine::PageFetch;
using console::engine::PageReply;
using console::shared::BoxIcon;

constexpr int LookMilliseconds = 20;
constexpr char ListCommand[] = "cmd=10";
constexpr std::size_t MaxReplySize = std::size_t{256} << 10;

/// Keeps the windows painting until the fetch ends.
PageReply WaitFor(PageFetch& fetch) {
  const console::shared::InputBlocker blocker;
  QEventLoop loop;
  QTimer look;
  QObject::connect(&look, &QTimer::timeout, &loop, [&fetch, &loop] {
    if (fetch.HasEnded()) loop.quit();
  });
  look.start(LookMilliseconds);
  loop.exec();
  return fetch.Reply();
}

/// As UTF-8; empty if there was none. The page of an HTTP error is not the gateway's list.
std::string TextOf(const PageReply& reply) {
  if (reply.end != PageReply::End::Complete || reply.status / 100 != 2) return {};
  if (reply.body.size() > MaxReplySize) return {};
  const bool isUtf8 = platform::ValidUtf8(reply.body) == reply.body;
  return isUtf8 ? reply.body : platform::DecodePage(reply.body, "text/plain; charset=ISO-8859-1");
}
}  // namespace

bool LoadPagerTypes(console::shared::MainBas& bas, QComboBox* list, std::chrono::milliseconds patience) {
  bas.Dialogs.ShowHourglass(true);
  const auto inet1 = bas.Engine.Fetch(bas.Gateway.PagerGatewayUrl + ListCommand, patience);
  const auto reply = TextOf(WaitFor(*inet1));
  bas.Dialogs.ShowHourglass(false);
  auto rows = settings::PagerTypeRows(reply);
  if (reply.empty() || !settings::IsUsableList(rows)) {
    bas.Dialogs.Show({.title = "Attention",
                      .text = "Because You can not connect to our internet pager server, you can not use "
                              "internet pager service",
                      .icon = BoxIcon::Exclamation});
    return false;
  }
  bas.PagerTypes = std::move(rows);
  if (list != nullptr) FillPagerTypes(bas, *list);
  return true;
}

void FillPagerTypes(const console::shared::MainBas& bas, QComboBox& list) {
  const QSignalBlocker silence(list);  // the first entry would be selected by itself
  for (const auto& row : bas.PagerTypes) {
    const auto name = settings::PagerTypeName(row);
    list.addItem(QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())));
  }
  list.setCurrentIndex(-1);
}

void OpenPagerTypes(console::shared::MainBas& bas, QComboBox& list) {
  if (bas.PagerTypes.empty())
    LoadPagerTypes(bas, &list);
  else if (list.count() == 0)
    FillPagerTypes(bas, list);
}

}  // namespace norvane::support
