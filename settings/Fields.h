#pragma once

#include <string>
#include <string_view>

namespace norvane::settings {

// The controls that the settings are kept in while a form shows them, under their own names. A form has those
// that its type of monitor needs, and is asked for no others.

/// Text boxes.
enum class TextField {
  txtMonitorName,  ///< wizards only
  txtMonitorPoint,
  txtBySize,  ///< parameter of the success flag
  txtPop3Account,
  txtPop3Password,
  txtSmtpFrom,
  txtSmtpTo,
  txtInterval,
  txtWaitTime,
  txtRetryTimes,  ///< how often the command is launched at most
  txtRetrytime,   ///< after how many failures it is launched
  txtEmailAddr,
  txtSubject,
  txtSmtpServer,
  txtPagerNumber,
  txtPagerMsg,
  txtLaunchCmd,
  txtLaunchUpCmd,
  txtLogFile,
};

/// Check boxes.
enum class CheckField { chkByEmail, chkByPager, chkInetCall, chkDefaultCmd };

/// Lists, and options that exclude one another. Entries count from 0; -1 is none.
enum class ChoiceField { optFlag, cmbPagerType };

/// A form's fields. Setting one runs the form's own handler for the change, as a user's change does, if the
/// value really changes. Text is UTF-8.
class Fields {
 public:
  virtual ~Fields() = default;
  [[nodiscard]] virtual std::string Text(TextField field) const = 0;
  virtual void SetText(TextField field, std::string_view text) = 0;
  [[nodiscard]] virtual bool Checked(CheckField field) const = 0;
  virtual void SetChecked(CheckField field, bool checked) = 0;
  [[nodiscard]] virtual int Selected(ChoiceField field) const = 0;
  virtual void Select(ChoiceField field, int entry) = 0;
  [[nodiscard]] virtual int EntryCount(ChoiceField field) const = 0;
};

}  // namespace norvane::settings
