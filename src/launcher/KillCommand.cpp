#include "launcher/KillCommand.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "config/Commands.h"
#include "foundation/PropertyKeys.h"
#include "logging/Logging.h"
#include "platform/Stream.h"

namespace {

constexpr char validCharacters[] = "-.0123456789";

/// The first line of the file as far as it fits into nine characters; empty when nothing can be
/// read. Nothing when the file cannot be opened.
std::optional<WString> readProcessId(const WString& fileName) {
  const Stream file = openStream(fileName.c_str(), "r");
  if (!file) return std::nullopt;
  std::array<char, 10> line = {};
  if (std::fgets(line.data(), static_cast<int>(line.size()), file.get()) == nullptr)
    return WString();
  return line.data();
}

bool isValid(const WString& processId) {
  return processId.view().find_first_not_of(validCharacters) == std::string_view::npos;
}

/// The process ID in the file, or nothing once the reason has been printed.
std::optional<WString> usableProcessId(const WString& fileName) {
  std::optional<WString> processId = readProcessId(fileName);
  if (!processId) {
    printConsole(
        "Process cannot be killed because its process ID file \" %s \" cannot be read or contains "
        "invalid data\n",
        fileName.c_str());
  } else if (processId->empty()) {
    printConsole("Process cannot be killed because its process ID file \"%s\" is empty\n",
                 fileName.c_str());
    processId.reset();
  } else if (!isValid(*processId)) {
    printConsole(
        "Process cannot be killed because its process ID file \"%s\" contains an invalid process "
        "ID "
        "\"%s\".\n",
        fileName.c_str(), processId->c_str());
    processId.reset();
  }
  return processId;
}

void explainFailure(int error, const WString& fileName, const WString& processId) {
  if (error == EPERM) {
    printConsole(
        "Process cannot be killed because its process ID file \"%s\" contains a process ID \"%s\" "
        "that is owned by a different user.\n",
        fileName.c_str(), processId.c_str());
  } else if (error == ESRCH) {
    printConsole(
        "Process cannot be killed because its process ID file \"%s\"  contains a nonexistent "
        "process ID \"%s\".\n",
        fileName.c_str(), processId.c_str());
  }
}

void sendSignal(int signal, const WString& fileName, const WString& text) {
  int processId = 0;
  WString::StringToInteger(text, processId);
  if (::kill(processId, signal) != 0) return explainFailure(errno, fileName, text);
  if (std::remove(fileName.c_str()) != 0) {
    printConsole("Can not delete file, it may be lock by other process.");
  }
}

/// False when the process or the signal cannot be determined; the reason has then been printed.
bool killRecordedProcess(const SimpleProperties& properties) {
  WString fileName;
  if (!properties.get(keys::processIdFile, fileName)) {
    printConsole(
        "Process cannot be killed because its KVF file does not define a "
        "\"processID.file.name\" property.\n");
    return false;
  }
  const std::optional<WString> processId = usableProcessId(fileName);
  if (!processId) return false;

  WString name;
  if (!properties.get(keys::signal, name)) return true;
  const KillType* killType = findKillType(name.c_str());
  if (killType == nullptr) {
    printConsole("Invalid kill type \"%s\".  Valid types are \"abort\" and \"normal\". \n",
                 name.c_str());
    return false;
  }
  sendSignal(killType->isAbrupt ? SIGKILL : SIGINT, fileName, *processId);
  return true;
}

}  // namespace

void killWrapperProcess(const SimpleProperties& properties) {
  if (!killRecordedProcess(properties)) std::exit(1);
}
