#ifndef VELOX_KVF_PROCESS_EXECARGUMENTS_H
#define VELOX_KVF_PROCESS_EXECARGUMENTS_H

#include <map>
#include <string>
#include <vector>

/// Pointers to the texts and a null pointer after them, as the system takes arguments and an
/// environment. Valid while the texts stay as they are.
std::vector<char*> nullTerminated(std::vector<std::string>& texts);

/// This process's environment with the variables on top.
std::vector<std::string> environmentWith(const std::map<std::string, std::string>& variables);

#endif
