#ifndef VELOX_KVF_LSP_PROTOCOL_H
#define VELOX_KVF_LSP_PROTOCOL_H

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "kvf/lsp/TextDocument.h"

using Json = nlohmann::json;

/// Of JSON-RPC, and of the protocol on top of it.
enum class ErrorCode : int {
  parseError = -32700,
  invalidRequest = -32600,
  methodNotFound = -32601,
  invalidParams = -32602,
  internalError = -32603,
  serverNotInitialized = -32002,
  requestFailed = -32803,
  requestCancelled = -32800,
};

/// Answers a request with an error.
struct ResponseError : std::runtime_error {
  ResponseError(ErrorCode errorCode, const std::string& text)
      : std::runtime_error(text), code(errorCode) {}
  ErrorCode code;
};

/// The member of an object, or null where there is none on the way.
const Json& memberOf(const Json& object, std::initializer_list<const char*> path);

inline bool isTrue(const Json& value) {
  return value.is_boolean() && value.get<bool>();
}

Json asJson(const TextPlace& place);
Json asJson(const TextRange& range);
/// These throw nlohmann's exceptions for anything else.
TextPlace placeIn(const Json& place);
TextRange rangeIn(const Json& range);

/// As one text; bytes that are not UTF-8 become U+FFFD.
std::string textOf(const Json& document);

#endif
