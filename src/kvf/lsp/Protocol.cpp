#include "kvf/lsp/Protocol.h"

const Json& memberOf(const Json& object, std::initializer_list<const char*> path) {
  static const Json null;
  const Json* value = &object;
  for (const char* name : path) {
    if (!value->is_object()) return null;
    const auto found = value->find(name);
    if (found == value->end()) return null;
    value = &*found;
  }
  return *value;
}

Json asJson(const TextPlace& place) {
  return {{"line", place.line}, {"character", place.character}};
}

Json asJson(const TextRange& range) {
  return {{"start", asJson(range.start)}, {"end", asJson(range.end)}};
}

TextPlace placeIn(const Json& place) {
  const auto number = [&](const char* name) {
    const Json& value = place.at(name);
    if (!value.is_number_unsigned())
      throw ResponseError(ErrorCode::invalidParams,
                          std::string(name) + " is not a number from 0 on");
    return value.get<std::size_t>();
  };
  return {number("line"), number("character")};
}

TextRange rangeIn(const Json& range) {
  return {placeIn(range.at("start")), placeIn(range.at("end"))};
}

std::string textOf(const Json& document) {
  return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}
