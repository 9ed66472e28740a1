#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "settings/Fields.h"

namespace norvane::settings {

/// The icon of the box that shows a failure.
enum class Icon { Information, Exclamation, Critical };

/// The box about the first rule that fails, with the title "Error". With an empty message the action just
/// ends without one.
struct RuleFailure {
  std::string message;
  Icon icon = Icon::Critical;

  friend bool operator==(const RuleFailure&, const RuleFailure&) = default;
};

/// What a rule looks at.
struct Subject {
  const Fields& form;
  TextField field;
  std::string_view folder;  ///< the application folder

  [[nodiscard]] std::string Text() const { return form.Text(field); }
};

struct Rule {
  TextField field;
  bool (*fails)(const Subject& subject);
  std::string_view message;
  Icon icon = Icon::Critical;
  std::optional<CheckField> onlyIf = {};  ///< the rule counts only while this box is checked
  bool trims = false;                     ///< the field is trimmed before the rule looks at it
};

/// Checks `rules` up to the first that fails. What was trimmed until then stays trimmed.
[[nodiscard]] std::optional<RuleFailure> FirstFailure(std::span<const Rule* const> rules, Fields& form,
                                                      std::string_view folder);

/// Cuts the outer blanks off a field's text. The text that is left.
std::string TrimField(Fields& form, TextField field);

// Tests that pages and wizards share. Only blanks are trimmed; positions count characters from 1.

/// The trimmed text is empty.
[[nodiscard]] bool IsBlank(const Subject& subject);
/// The trimmed text does not sort behind a single blank: it is empty, or begins with a control character.
[[nodiscard]] bool SortsAsBlank(const Subject& subject);
/// The first "@" in the untrimmed text has nothing in front of it, or there is none, as in a blank text.
[[nodiscard]] bool LacksAccount(const Subject& subject);

}  // namespace norvane::settings
