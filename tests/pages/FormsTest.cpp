#include <QLabel>
#include <QLayout>
#include <QLineEdit>

#include "tests/pages/PageTest.h"
#include "tests/support/LargeFont.h"

namespace norvane::tests {
namespace {

class PageFormsTest : public PageTest {
 protected:
  void ExpectThatEverythingHasRoom();
};

void PageFormsTest::ExpectThatEverythingHasRoom() {
  EXPECT_EQ(page->size().expandedTo(page->layout()->minimumSize()), page->size());
  for (const auto* control : page->findChildren<QWidget*>()) {
    ShowTabOf(*control);
    if (!control->isVisible()) continue;
    SCOPED_TRACE(control->objectName().toStdString());
    if (qobject_cast<const QLineEdit*>(control) != nullptr) {
      EXPECT_GE(control->height(), control->minimumSizeHint().height());
    }
    const auto* label = qobject_cast<const QLabel*>(control);
    if (label == nullptr) continue;
    EXPECT_GE(label->width(), label->wordWrap() ? 0 : label->sizeHint().width());
    EXPECT_GE(label->height(), label->heightForWidth(label->width()));
  }
}

TEST_F(PageFormsTest, EverythingHasRoom) {
  for (const auto& type : AllTypes) {
    SCOPED_TRACE(type.name);
    NewPage(type);
    ExpectThatEverythingHasRoom();
    const LargeFont font;
    NewPage(type);
    ExpectThatEverythingHasRoom();
  }
}

}  // namespace
}  // namespace norvane::tests
