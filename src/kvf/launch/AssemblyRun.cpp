#include "kvf/launch/AssemblyRun.h"

#include "foundation/PropertyKeys.h"

std::string_view Entry::variable() const {
  constexpr std::string_view prefix = keys::environmentPrefix;
  return key.starts_with(prefix) ? std::string_view(key).substr(prefix.size()) : "";
}

bool Argument::isUnknownSwitch() const {
  return switchName == nullptr && !isValue && text.starts_with("--");
}
