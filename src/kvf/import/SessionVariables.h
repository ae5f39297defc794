#ifndef VELOX_KVF_IMPORT_SESSIONVARIABLES_H
#define VELOX_KVF_IMPORT_SESSIONVARIABLES_H

#include <string>
#include <string_view>

/// True for a variable that a shell, a terminal, a session or a service manager sets for whatever
/// it starts, and for a PATH that says no more than any other.
bool isOfSession(const std::string& name, const std::string& value);

/// True for what a properties file sets otherwise, or java uses up.
bool isUsedUp(std::string_view name);

#endif
