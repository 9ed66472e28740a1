#include "settings/Rules.h"

#include "platform/Blanks.h"
#include "settings/Text.h"

namespace norvane::settings {

std::optional<RuleFailure> FirstFailure(std::span<const Rule* const> rules, Fields& form,
                                        std::string_view folder) {
  for (const Rule* rule : rules) {
    if (rule->onlyIf && !form.Checked(*rule->onlyIf)) continue;
    if (rule->trims) TrimField(form, rule->field);
    if (rule->fails({form, rule->field, folder})) return RuleFailure{std::string(rule->message), rule->icon};
  }
  return std::nullopt;
}

std::string TrimField(Fields& form, TextField field) {
  std::string text(platform::Trimmed(form.Text(field)));
  form.SetText(field, text);
  return text;
}

bool IsBlank(const Subject& subject) {
  return platform::Trimmed(subject.Text()).empty();
}

bool SortsAsBlank(const Subject& subject) {
  return platform::Trimmed(subject.Text()) <= " ";
}

bool LacksAccount(const Subject& subject) {
  return Position(subject.Text(), "@") < 2;
}

}  // namespace norvane::settings
