#include "kvf/process/Processes.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "kvf/process/FileError.h"
#include "kvf/process/FolderFiles.h"

std::optional<Process> processWith(int id) {
  std::ifstream file("/proc/" + std::to_string(id) + "/stat");
  // One line, but the name in it may hold anything: "4711 (name) S PARENT ...".
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const std::size_t afterName = text.rfind(')');
  if (afterName == std::string::npos) return std::nullopt;
  std::istringstream fields(text.substr(afterName + 1));
  Process process = {.id = id};
  char state = 0;
  fields >> state >> process.parent;
  process.ended = state == 'Z' || state == 'X';
  constexpr int fieldsBetween = 17;
  std::string skipped;
  for (int count = 0; count < fieldsBetween; ++count) fields >> skipped;
  fields >> process.started;
  return fields ? std::optional(process) : std::nullopt;
}

std::vector<Process> processes() try {
  std::vector<Process> found;
  for (const std::string& name : namesIn("/proc")) {
    int id = 0;
    if (std::from_chars(name.data(), name.data() + name.size(), id).ec != std::errc()) continue;
    if (const auto process = processWith(id)) found.push_back(*process);
  }
  return found;
} catch (const FileError&) {
  return {};
}

std::vector<int> familyOf(int id, const std::vector<Process>& all) {
  std::vector<int> family = {id};
  for (std::size_t i = 0; i < family.size(); ++i) {
    for (const Process& process : all) {
      if (process.parent != family[i]) continue;
      // They are read one after the other, so an ID that is used again may close a circle.
      const bool isNew = std::find(family.begin(), family.end(), process.id) == family.end();
      if (isNew) family.push_back(process.id);
    }
  }
  return family;
}

bool isRunning(int id) {
  return ::kill(id, 0) == 0 || errno == EPERM;
}
