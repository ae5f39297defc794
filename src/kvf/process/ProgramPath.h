#ifndef VELOX_KVF_PROCESS_PROGRAMPATH_H
#define VELOX_KVF_PROCESS_PROGRAMPATH_H

#include <string>
#include <string_view>

/// True for a regular file that this user may execute.
bool isProgram(const std::string& path);

/// The program of that name that the system would find along PATH, where an empty element and
/// relative ones are seen from the directory. Empty: there is none. REQUIRES: no slash in the name.
std::string programAlongPath(std::string_view name, std::string_view path,
                             const std::string& directory);

#endif
