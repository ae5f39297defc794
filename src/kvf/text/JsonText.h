#ifndef VELOX_KVF_TEXT_JSONTEXT_H
#define VELOX_KVF_TEXT_JSONTEXT_H

#include <nlohmann/json_fwd.hpp>
#include <string>

/// The document, over several lines and with a line end. Bytes that are not UTF-8 become U+FFFD,
/// and control characters of terminals are escaped.
std::string jsonText(const nlohmann::ordered_json& document);

/// The same with "schema" as its first member: within one schema, members are only added.
std::string versionedJsonText(const nlohmann::ordered_json& document);

#endif
