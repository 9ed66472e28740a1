#include "console/shared/FieldControls.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QRadioButton>
#include <QRegularExpression>
#include <climits>
#include <utility>

namespace norvane::console::shared {

namespace {
using settings::CheckField;
using settings::ChoiceField;
using settings::TextField;

constexpr std::pair<TextField, const char*> TextNames[] = {
    {TextField::txtMonitorName, "txtMonitorName"},
    {TextField::txtMonitorPoint, "txtMonitorPoint"},
    {TextField::txtBySize, "txtBySize"},
    {TextField::txtPop3Account, "txtPop3Account"},
    {TextField::txtPop3Password, "txtPop3Password"},
    {TextField::txtSmtpFrom, "txtSmtpFrom"},
    {TextField::txtSmtpTo, "txtSmtpTo"},
    {TextField::txtInterval, "txtInterval"},
    {TextField::txtWaitTime, "txtWaitTime"},
    {TextField::txtRetryTimes, "txtRetryTimes"},
    {TextField::txtRetrytime, "txtRetrytime"},
    {TextField::txtEmailAddr, "txtEmailAddr"},
    {TextField::txtSubject, "txtSubject"},
    {TextField::txtSmtpServer, "txtSmtpServer"},
    {TextField::txtPagerNumber, "txtPagerNumber"},
    {TextField::txtPagerMsg, "txtPagerMsg"},
    {TextField::txtLaunchCmd, "txtLaunchCmd"},
    {TextField::txtLaunchUpCmd, "txtLaunchUpCmd"},
    {TextField::txtLogFile, "txtLogFile"},
};
constexpr std::pair<CheckField, const char*> CheckNames[] = {
    {CheckField::chkByEmail, "chkByEmail"},
    {CheckField::chkByPager, "chkByPager"},
    {CheckField::chkInetCall, "chkInetCall"},
    {CheckField::chkDefaultCmd, "chkDefaultCmd"},
};

constexpr int ToolkitMaxLength = 32767;

/// Text copied from a list or a terminal ends with a newline, which a text box keeps and doesn't show.
void DropNewlines(QLineEdit& box) {
  static const QRegularExpression breaks(QStringLiteral("[\\r\\n\\x{2028}\\x{2029}]"));
  if (!box.text().contains(breaks)) return;
  const auto before = box.text().left(box.cursorPosition()).remove(breaks);
  box.setText(box.text().remove(breaks));
  box.setCursorPosition(static_cast<int>(before.size()));
}

template <class Control, class Field, std::size_t Count>
std::map<Field, Control*> Find(const QWidget& form, const std::pair<Field, const char*> (&names)[Count]) {
  std::map<Field, Control*> found;
  for (const auto& [field, name] : names)
    if (auto* control = form.findChild<Control*>(QLatin1String(name))) found.emplace(field, control);
  return found;
}
}  // namespace

FieldControls::FieldControls(const QWidget& form)
    : m_texts(Find<QLineEdit>(form, TextNames)),
      m_checks(Find<QCheckBox>(form, CheckNames)),
      m_cmbPagerType(form.findChild<QComboBox*>(QStringLiteral("cmbPagerType"))) {
  for (const auto& entry : m_texts) {
    auto* box = entry.second;
    if (box->maxLength() == ToolkitMaxLength) box->setMaxLength(INT_MAX);
    QObject::connect(box, &QLineEdit::textEdited, box, [box] { DropNewlines(*box); });
  }
  const auto option = QStringLiteral("optFlag_%1");
  while (auto* button = form.findChild<QRadioButton*>(option.arg(m_optFlag.size())))
    m_optFlag.push_back(button);
}

std::string FieldControls::Text(TextField field) const {
  const auto text = m_texts.at(field)->text();
  const auto bytes = m_bytes.find(field);
  return bytes != m_bytes.end() && ToQt(bytes->second) == text ? bytes->second : text.toStdString();
}

void FieldControls::SetText(TextField field, std::string_view text) {
  const auto shown = ToQt(text);
  m_bytes.erase(field);
  if (shown.toStdString() != text) m_bytes.emplace(field, text);
  m_texts.at(field)->setText(shown);
}

bool FieldControls::Checked(CheckField field) const {
  return m_checks.at(field)->isChecked();
}

void FieldControls::SetChecked(CheckField field, bool checked) {
  m_checks.at(field)->setChecked(checked);
}

int FieldControls::Selected(ChoiceField field) const {
  if (field == ChoiceField::cmbPagerType) return m_cmbPagerType->currentIndex();
  for (std::size_t entry = 0; entry < m_optFlag.size(); ++entry)
    if (m_optFlag[entry]->isChecked()) return static_cast<int>(entry);
  return -1;
}

void FieldControls::Select(ChoiceField field, int entry) {
  if (field == ChoiceField::cmbPagerType) {
    // The toolkit reports a change when an empty selection is cleared.
    if (entry != m_cmbPagerType->currentIndex()) m_cmbPagerType->setCurrentIndex(entry);
    return;
  }
  for (auto* button : m_optFlag)
    button->setAutoExclusive(false);  // or the last selected option could not be cleared
  for (std::size_t option = 0; option < m_optFlag.size(); ++option)
    m_optFlag[option]->setChecked(static_cast<int>(option) == entry);
  for (auto* button : m_optFlag)
    button->setAutoExclusive(true);
}

int FieldControls::EntryCount(ChoiceField field) const {
  return field == ChoiceField::cmbPagerType ? m_cmbPagerType->count() : static_cast<int>(m_optFlag.size());
}

}  // namespace norvane::console::shared
