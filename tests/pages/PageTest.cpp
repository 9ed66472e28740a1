#include "tests/pages/PageTest.h"

#include <QLineEdit>
#include <QTabWidget>
#include <QTest>

#include "pages/FrmPop3Monitor.h"
#include "pages/FrmSmtpMonitor.h"
#include "pages/frmWebMonitor.h"

namespace norvane::tests {

PageTest::PageTest() {
  engine.OpenGate();
  bas.Store = bas.FetchComponent<console::engine::ServiceStore>("here");
  window.resize(700, 500);
  window.show();
  window.activateWindow();
  EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
}

pages::MonitorPage& PageTest::NewPage(settings::Type type) {
  m_type = type;
  page.reset();
  if (type.name == settings::Type::Web.name)
    page = std::make_unique<pages::frmWebMonitor>(bas, &window);
  else if (type.name == settings::Type::Pop3.name)
    page = std::make_unique<pages::FrmPop3Monitor>(bas, &window);
  else
    page = std::make_unique<pages::FrmSmtpMonitor>(bas, &window);
  page->show();
  return *page;
}

void PageTest::Load(const Attributes& changes) {
  Attributes attributes = {
      {"Monitor_Parameter", "http://www.example.com/"},
      {"MonitorExt_PopAccount", "test"},
      {"MonitorExt_From", "from@example.com"},
      {"MonitorExt_To", "to@example.com"},
      {"Monitor_InterVal (s)", "60"},
      {"Monitor_Timeout (s)", "30"},
      {"Monitor_MaxFailTimes", "2"},
      {"Monitor_FailTimes", "2"},
      {"Monitor_LogFile", "norvane.log"},
  };
  for (const auto& [key, value] : changes)
    attributes[key] = value;
  const auto name = settings::FullName(m_type.name, std::to_string(++m_loaded));
  engine.Place(name, attributes);
  bas.CurrentRef->SetMonitorName(name);
  bas.Monitors->Resolve(*bas.CurrentRef);
  bas.CurrentMonitor = bas.CurrentRef->GetMonitor();
  page->RefreshData();
  (void)engine.TakeCalls();
}

std::string PageTest::InternetCall(const std::string& entry) const {
  return bas.Gateway.PagerGatewayUrl + "cmd=11&mode=" + entry + "&msg=%s&num=%s";
}

std::string PageTest::Text(const char* name) const {
  return Control<QLineEdit>(name).text().toStdString();
}

void PageTest::SetText(const char* name, const char* text) {
  Control<QLineEdit>(name).setText(QString::fromUtf8(text));
}

void PageTest::ShowTabOf(const QWidget& control) {
  auto& tabs = Control<QTabWidget>("SSTab1");
  for (int index = 0; index < tabs.count(); ++index)
    if (tabs.widget(index)->isAncestorOf(&control)) tabs.setCurrentIndex(index);
}

}  // namespace norvane::tests
