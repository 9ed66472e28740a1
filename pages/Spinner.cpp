#include "pages/Spinner.h"

#include <QToolButton>
#include <QVBoxLayout>

namespace norvane::pages {

namespace {
constexpr QSize ArrowSize{18, 13};

QToolButton* MakeArrow(Qt::ArrowType direction, const QString& name, Spinner* spinner) {
  auto* arrow = new QToolButton(spinner);
  arrow->setObjectName(name);
  arrow->setAccessibleName(name);
  arrow->setArrowType(direction);
  arrow->setAutoRepeat(true);
  arrow->setFocusPolicy(Qt::NoFocus);
  arrow->setFixedSize(ArrowSize);
  return arrow;
}
}  // namespace

Spinner::Spinner(QWidget* parent) : QWidget(parent) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  auto* up = MakeArrow(Qt::UpArrow, QStringLiteral("Up"), this);
  auto* down = MakeArrow(Qt::DownArrow, QStringLiteral("Down"), this);
  column->addWidget(up);
  column->addWidget(down);
  connect(up, &QToolButton::clicked, this, &Spinner::UpClick);
  connect(down, &QToolButton::clicked, this, &Spinner::DownClick);
}

}  // namespace norvane::pages
