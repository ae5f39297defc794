#ifndef VELOX_KVF_LSP_URI_H
#define VELOX_KVF_LSP_URI_H

#include <optional>
#include <string>
#include <string_view>

/// The absolute path in a URI such as file:///opt/a%20b; nothing for one of another kind, or of
/// another machine.
std::optional<std::string> pathOfUri(std::string_view uri);

std::string uriOfPath(std::string_view path);

/// The last segment of any URI, fit for the name of a file.
std::string nameInUri(std::string_view uri);

#endif
