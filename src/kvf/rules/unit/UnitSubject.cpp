#include "kvf/rules/unit/UnitSubject.h"

#include "kvf/text/Text.h"

std::string UnitSubject::type() const {
  const std::string type = unit.value("Type");
  return type.empty() ? "simple" : type;
}

std::optional<UnitSubject> unitSubjectOf(const Inspection& inspection) {
  if (!inspection.unit || inspection.unitKey != "ExecStart") return std::nullopt;
  return UnitSubject{inspection, *inspection.unit};
}

void reportRows(std::span<const SettingRow> rows, const UnitSubject& subject, bool fatal,
                Report& report) {
  for (const SettingRow& row : rows) {
    const UnitSetting* setting = subject.unit.last(row.key);
    if (setting == nullptr || !row.isWrong(subject, *setting)) continue;
    report.fatalIf(fatal, subject.placeOf(*setting),
                   concat({row.key, "=", printable(setting->value), " ", row.text}));
  }
}
