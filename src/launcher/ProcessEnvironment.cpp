#include "launcher/ProcessEnvironment.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "config/Configuration.h"
#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "hosting/CppProcess.h"
#include "javarun/ClassPath.h"
#include "launcher/Displays.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"

namespace {

/// The arguments, the marker and the null.
constexpr std::size_t vectorSize = maxArgumentsToStartAgain + 2;

void requireRoom(char** argv) {
  std::size_t count = 0;
  while (argv[count] != nullptr) ++count;
  if (count <= maxArgumentsToStartAgain) return;
  Logging::FatalError({"Failed to exec process : ", std::to_string(count),
                       " arguments with the program name and the launcher's own switches, at most ",
                       std::to_string(maxArgumentsToStartAgain), " are possible : ", argv[0]});
}

}  // namespace

void setupSystemEnvironment(char** argv, const SimpleProperties& properties, bool serviceMode) {
  Logging::Debug("setupSystemEnvironment()");
  if (!properties.contains(keys::innerProcess)) {
    const WString library = properties.valueOf(keys::applicationLibrary);
    if (!library.empty()) {
      CppProcess::LoadSharedLibrary(library);
    } else {
      CallExecvp_IfNecessary(exportsEnvironment(properties), serviceMode, argv);
    }
  }
  if (properties.contains(keys::displayPid)) DisplayPID();
}

void CallExecvp_IfNecessary(bool needed, bool serviceMode, char** argv) {
  if (!needed || serviceMode) return;
  requireRoom(argv);
  std::array<char*, vectorSize> arguments = {};
  addInnerProcessArgToArgv(argv, arguments.data());
  Logging::SetChildProcessFlag();
  Logging::Debug("Parent Process - about to call execvp()");
  std::fflush(nullptr);
  sii_execvp(argv[0], arguments.data());
  Logging::FatalError({"Failed to exec process : ", std::strerror(errno), " : ", argv[0]});
}

void addInnerProcessArgToArgv(char** source, char** destination) {
  while (*source != nullptr) *destination++ = *source++;
  *destination++ = const_cast<char*>(switches::innerProcess);
  *destination = nullptr;
}

bool isSpace(const char* text) {
  return CommonTool::isContainsSpace(text);
}

WString RemoveEmptyPathSeparators(const WString& text, char separator) {
  WString reduced;
  char previous = '\0';
  for (const char c : text.view()) {
    if (c != separator || c != previous) reduced += c;
    previous = c;
  }
  return reduced;
}
