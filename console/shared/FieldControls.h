#pragma once

#include <QString>
#include <map>
#include <string_view>
#include <vector>

#include "settings/Fields.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QRadioButton;
class QWidget;

namespace norvane::console::shared {

/// The controls of a form as fields, found by their names. Asking for one that the form does not have throws
/// std::logic_error. A text that is not UTF-8 is given back byte for byte unless the user edits it.
class FieldControls : public settings::Fields {
 public:
  /// The controls must exist already, and outlive this. Text boxes without a limit of their own lose the
  /// toolkit's; newlines in pasted text are dropped.
  explicit FieldControls(const QWidget& form);

  [[nodiscard]] std::string Text(settings::TextField field) const override;
  void SetText(settings::TextField field, std::string_view text) override;
  [[nodiscard]] bool Checked(settings::CheckField field) const override;
  void SetChecked(settings::CheckField field, bool checked) override;
  [[nodiscard]] int Selected(settings::ChoiceField field) const override;
  void Select(settings::ChoiceField field, int entry) override;
  [[nodiscard]] int EntryCount(settings::ChoiceField field) const override;

 private:
  std::map<settings::TextField, QLineEdit*> m_texts;
  std::map<settings::TextField, std::string> m_bytes;  ///< of texts that a box can't hold as they are
  std::map<settings::CheckField, QCheckBox*> m_checks;
  std::vector<QRadioButton*> m_optFlag;  ///< optFlag_0 and so on
  QComboBox* m_cmbPagerType;
};

[[nodiscard]] inline QString ToQt(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace norvane::console::shared
