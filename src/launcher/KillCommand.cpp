#include "launcher/KillCommand.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <strings.h>

#include "foundation/PropertyKeys.h"
#include "logging/Console.h"
#include "platform/Stream.h"

namespace {

constexpr char validCharacters[] = "-.0123456789";

struct KillType {
  const char* name;
  int signal;
};

constexpr KillType killTypes[] = {{"Abort", SIGKILL}, {"normal", SIGINT}};

int signalOf(const WString& killType) {
  for (const KillType& known : killTypes) {
    if (::strcasecmp(killType.c_str(), known.name) == 0) return known.signal;
  }
  printConsole("Invalid kill type \"%s\".  Valid types are \"abort\" and \"normal\". \n",
               killType.c_str());
  std::exit(1);
}

/// The first line of the file as far as it fits into nine characters; empty when nothing can be
/// read.
WString readProcessId(const char* fileName) {
  const Stream file = openStream(fileName, "r");
  if (!file) {
    printConsole(
        "Process cannot be killed because its process ID file \" %s \" cannot be read or contains "
        "invalid data\n",
        fileName);
    std::exit(1);
  }
  std::array<char, 10> line = {};
  if (std::fgets(line.data(), static_cast<int>(line.size()), file.get()) == nullptr) return {};
  return line.data();
}

void requireValid(const WString& processId, const char* fileName) {
  if (processId.empty()) {
    printConsole("Process cannot be killed because its process ID file \"%s\" is empty\n",
                 fileName);
    std::exit(1);
  }
  if (processId.view().find_first_not_of(validCharacters) == std::string_view::npos) return;
  printConsole(
      "Process cannot be killed because its process ID file \"%s\" contains an invalid process ID "
      "\"%s\".\n",
      fileName, processId.c_str());
  std::exit(1);
}

void explainFailure(int error, const char* fileName, const WString& processId) {
  if (error == EPERM) {
    printConsole(
        "Process cannot be killed because its process ID file \"%s\" contains a process ID \"%s\" "
        "that is owned by a different user.\n",
        fileName, processId.c_str());
  } else if (error == ESRCH) {
    printConsole(
        "Process cannot be killed because its process ID file \"%s\"  contains a nonexistent "
        "process ID \"%s\".\n",
        fileName, processId.c_str());
  }
}

}  // namespace

void killWrapperProcess(const SimpleProperties& properties) {
  WString fileName;
  if (!properties.get(keys::processIdFile, fileName)) {
    printConsole(
        "Process cannot be killed because its KVF file does not define a "
        "\"processID.file.name\" property.\n");
    std::exit(1);
  }
  const WString text = readProcessId(fileName.c_str());
  requireValid(text, fileName.c_str());

  WString killType;
  if (!properties.get(keys::signal, killType)) return;
  const int signal = signalOf(killType);
  int processId = 0;
  WString::StringToInteger(text, processId);
  if (::kill(processId, signal) != 0) return explainFailure(errno, fileName.c_str(), text);
  if (std::remove(fileName.c_str()) != 0) {
    printConsole("Can not delete file, it may be lock by other process.");
  }
}
