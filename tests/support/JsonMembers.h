#ifndef VELOX_TESTS_SUPPORT_JSONMEMBERS_H
#define VELOX_TESTS_SUPPORT_JSONMEMBERS_H

#include <nlohmann/json.hpp>
#include <set>
#include <string>

inline void addMembers(const nlohmann::json& value, const std::string& path,
                       std::set<std::string>& names) {
  for (const auto& [name, member] : value.items()) {
    const std::string inner = value.is_object() ? path + name : path;
    if (value.is_object()) names.insert(inner);
    if (member.is_structured()) addMembers(member, value.is_object() ? inner + "." : path, names);
  }
}

/// The names of the members in the document, each with those of what it is in: "a a.b".
inline std::string membersOf(const nlohmann::json& document) {
  std::set<std::string> names;
  addMembers(document, "", names);
  std::string members;
  for (const std::string& name : names) members += (members.empty() ? "" : " ") + name;
  return members;
}

#endif
