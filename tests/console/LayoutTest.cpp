#include <QDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QScreen>
#include <QTest>
#include <QToolBar>
#include <QTreeView>
#include <QVBoxLayout>

#include "console/shared/FitScreen.h"
#include "console/shared/Twips.h"
#include "tests/support/ConsoleFixture.h"
#include "tests/support/LargeFont.h"

namespace norvane::tests {
namespace {

using console::shared::MainBas;

class LayoutTest : public ConsoleFixture {
 protected:
  void ExpectThatEverythingFits();
};

class LargeFontTest : private LargeFont, public LayoutTest {};

void LayoutTest::ExpectThatEverythingFits() {
  StartWith({{"WebMonitor Of a", "Enable"}, {"Pop3Monitor Of a", "Enable"}, {"SmtpMonitor Of a", "Enable"}});
  const auto& frame = Control<QFrame>("Fram");
  const auto& client = *frame.parentWidget();  // scrolls if the screen is too small for it
  QTest::qWait(0);                             // the window hands its new size on when it has settled
  const auto screen = form->screen()->availableSize();
  EXPECT_EQ(form->size(), form->size().boundedTo(screen)) << "title and buttons are on the screen";
  EXPECT_EQ(client.width(), console::shared::ToPixels(2604 + 15.0 * bas.PageForms[0]->width() + 100));
  EXPECT_TRUE(client.rect().contains(frame.geometry()));
  EXPECT_TRUE(client.rect().contains(Control<QTreeView>("TvCtrl").geometry()));
  EXPECT_EQ(Control<QToolBar>("ToolBar").width(), client.width());
  for (const char* node : {"WebMonitor Of a", "Pop3Monitor Of a", "SmtpMonitor Of a"}) {
    SCOPED_TRACE(node);
    ClickNode(node);
    for (const auto& page : bas.PageForms) {
      if (!page || !page->isVisible()) continue;
      EXPECT_EQ(page->parentWidget(), &frame);
      EXPECT_TRUE(frame.rect().contains(page->geometry()));
      EXPECT_FALSE(page->geometry().intersects(Control<QLabel>("Img").geometry()));
    }
  }
  const auto& header = *Control<QTreeView>("LstV").header();
  for (int column = 0; column < header.count(); ++column) {
    const auto caption = header.model()->headerData(column, Qt::Horizontal).toString();
    EXPECT_GE(header.sectionSize(column), header.fontMetrics().horizontalAdvance(caption)) << column;
  }
}

TEST_F(LayoutTest, EverythingFitsIntoTheWindow) {
  ExpectThatEverythingFits();
  EXPECT_EQ(form->minimumSize(), form->maximumSize()) << "the user can't resize the window";
  EXPECT_FALSE(form->windowFlags() & Qt::WindowMaximizeButtonHint);
  EXPECT_TRUE(form->windowFlags() & Qt::WindowMinimizeButtonHint);
}

TEST_F(LargeFontTest, EverythingFitsIntoTheWindow) {
  ExpectThatEverythingFits();
}

TEST(CenterForm, PutsAWindowInTheMiddleOfAnother) {
  QWidget parent;
  parent.setGeometry(100, 50, 400, 300);
  const std::pair<QSize, QPoint> rows[] = {
      {{200, 100}, {200, 150}}, {{400, 300}, {100, 50}}, {{600, 400}, {0, 0}}, {{200, 2000}, {200, 0}}};
  for (const auto& [size, place] : rows) {
    QWidget window;
    window.resize(size);
    MainBas::CenterForm(window, parent);
    EXPECT_EQ(window.pos(), place);
  }
}

TEST(FitScreen, ADialogThatIsTooLargeScrollsToTheFieldInUse) {
  QDialog dialog;
  auto* layout = new QVBoxLayout(&dialog);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  constexpr int Count = 60;
  std::vector<QLineEdit*> fields;
  for (int i = 0; i < Count; ++i) {
    fields.push_back(new QLineEdit);
    layout->addWidget(fields.back());
  }
  for (int i = Count - 1; i > 0; --i)
    QWidget::setTabOrder(fields[i], fields[i - 1]);  // from the last to the first
  console::shared::FitScreen(dialog);
  dialog.show();
  EXPECT_LT(dialog.height(), dialog.screen()->availableSize().height());
  fields.back()->setFocus();
  for (int i = Count - 1; i > 0; --i)
    QTest::keyClick(dialog.focusWidget(), Qt::Key_Tab);
  EXPECT_EQ(dialog.focusWidget(), fields.front());
  EXPECT_EQ(fields.front()->visibleRegion(), fields.front()->rect());
}

}  // namespace
}  // namespace norvane::tests
