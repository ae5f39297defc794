#include "kvf/explain/ExplanationJson.h"

#include <nlohmann/json.hpp>
#include <string>

namespace {

using Json = nlohmann::ordered_json;

template <class One>
Json listOf(const std::vector<One>& items, Json (*asJson)(const One&)) {
  Json list = Json::array();
  for (const One& item : items) list.push_back(asJson(item));
  return list;
}

Json sourceAsJson(const Source& source) {
  return {{"origin", source.place}, {"value", source.value}};
}

Json endAsJson(const ExplainedEnd& end) {
  return {{"origin", end.place},
          {"message", end.message.empty() ? end.text : end.message},
          {"rule", end.rule}};
}

Json propertyAsJson(const ExplainedProperty& property) {
  return {{"key", property.key},
          {"value", property.origin.value},
          {"origin", property.origin.place},
          {"overrode", listOf(property.overrode, sourceAsJson)},
          {"usedBy", property.users}};
}

Json environmentAsJson(const std::map<std::string, std::string>& environment) {
  Json list = Json::array();
  for (const auto& [name, value] : environment) list.push_back({{"name", name}, {"value", value}});
  return list;
}

Json partAsJson(const ExplainedElement::Part& part) {
  return {{"path", part.path}, {"brings", part.brings}};
}

Json elementAsJson(const ExplainedElement& element) {
  return {{"written", element.written}, {"expanded", listOf(element.parts, partAsJson)}};
}

Json jvmAsJson(const ExplainedJvm& jvm) {
  return {{"library", jvm.library},
          {"version", jvm.found ? Json(jvm.found->version) : Json(nullptr)},
          {"vendor", jvm.found ? Json(jvm.found->vendor) : Json(nullptr)}};
}

Json referenceAsJson(const ExplainedReference& reference) {
  return {{"name", reference.name}, {"value", reference.value}, {"from", reference.from}};
}

Json entryAsJson(const ExplainedEntry& entry) {
  Json one = sourceAsJson(entry.source);
  one["written"] = entry.written;
  one["used"] = entry.used;
  one["references"] = listOf(entry.references, referenceAsJson);
  return one;
}

}  // namespace

Json asJson(const LaunchExplanation& launch) {
  const auto& classPath = launch.classPath;
  const auto& command = launch.command;
  return {{"endsWith", listOf(launch.ends, endAsJson)},
          {"properties", listOf(launch.properties, propertyAsJson)},
          {"directory", launch.directory},
          {"environment", environmentAsJson(launch.environment)},
          {"classPath", classPath ? listOf(classPath->elements, elementAsJson) : Json::array()},
          {"jvm", launch.jvm ? jvmAsJson(*launch.jvm) : Json(nullptr)},
          {"options", launch.options},
          {"arguments", launch.arguments},
          {"command", command ? Json(command->text) : Json(nullptr)},
          {"differences", command ? Json(command->differences) : Json::array()}};
}

Json asJson(const KeyExplanation& explanation) {
  return {{"key", explanation.key},
          {"value", explanation.value ? Json(*explanation.value) : Json(nullptr)},
          {"chain", listOf(explanation.chain, entryAsJson)},
          {"usedBy", explanation.users}};
}
