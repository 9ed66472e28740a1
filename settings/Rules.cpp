#include "settings/Rules.h"

#include "platform/Blanks.h"
#include "settings/Text.h"

namespace norvane::settings {

std::optional<RuleFailure> FirstFailure(std::span<const ByType<const Rule*>> rules, Type type, Fields& form,
                                        std::string_view folder) {
  for (const auto& row : rules) {
    const Rule* rule = row.For(type);
    if (rule != nullptr && rule->fails({form, rule->field, folder}))
      return RuleFailure{std::string(rule->message), rule->icon};
  }
  return std::nullopt;
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
