#include "support/frmAbout.h"

#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <optional>

#include "platform/Registry.h"
#include "tests/support/ConsoleFixture.h"

namespace norvane::tests {
namespace {

class AboutTest : public ConsoleFixture {
 protected:
  AboutTest() {
    Start();
    about.emplace(bas, form.get(), platform::SystemRegistry());
    about->show();
  }
  template <class T>
  [[nodiscard]] T& Part(const char* name) {
    return *about->findChild<T*>(QLatin1String(name));
  }

  std::optional<support::frmAbout> about;
};

TEST_F(AboutTest, TellsTheProductAndStandsOverTheConsole) {
  EXPECT_EQ(about->windowTitle(), QLatin1String("About Norvane"));
  EXPECT_TRUE(Part<QLabel>("lblVersion")
                  .text()
                  .contains(QRegularExpression(QStringLiteral("^Version \\d+\\.\\d+\\.\\d+$"))));
  EXPECT_EQ(Part<QLabel>("picIcon").pixmap(Qt::ReturnByValue).deviceIndependentSize(), QSizeF(220, 150));
  const auto offset = about->frameGeometry().center() - form->frameGeometry().center();
  EXPECT_LE(offset.manhattanLength(), 5);  // rounding
}

TEST_F(AboutTest, TheLinksOpenTheirPages) {
  QTest::mouseClick(&Part<QPushButton>("lblProduct_0"), Qt::LeftButton);
  QTest::keyClick(&Part<QPushButton>("lblProduct_1"), Qt::Key_Space);
  EXPECT_EQ(dialogs.opened,
            (std::vector<std::string>{"http://www.example.com/eng/product/product.html",
                                      "http://www.example.com/eng/product/product_support.html"}));
}

TEST_F(AboutTest, EnterAndEscPressOk) {
  for (const auto key : {Qt::Key_Return, Qt::Key_Escape}) {
    about->show();
    QTest::keyClick(&*about, key);
    EXPECT_FALSE(about->isVisible());
  }
}

TEST_F(AboutTest, TheSystemsToolIsNotHere) {
  dialogs.Announce();
  QTest::mouseClick(&Part<QPushButton>("cmdSysInfo"), Qt::LeftButton);
  EXPECT_EQ(dialogs.TakeBoxes().front().text, "System Information Is Unavailable At This Time");
  EXPECT_TRUE(about->isVisible());
}

}  // namespace
}  // namespace norvane::tests
