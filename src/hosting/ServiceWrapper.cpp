#include "hosting/ServiceWrapper.h"

#include <cstring>
#include <vector>

#include "foundation/PropertyKeys.h"
#include "foundation/WString.h"
#include "javarun/ArgumentSplitter.h"

void CreateArgs(const SimpleProperties& properties, int& argc, char**& argv) {
  argc = 0;
  argv = nullptr;
  const std::vector<WString> arguments = applicationArguments(properties, LaunchWay::nativeLibrary);
  if (arguments.empty() && !properties.contains(keys::applicationArgs)) return;
  // Applications expect argv[argc] to be null, as main has it.
  argv = withMemoryException([&] { return new char* [arguments.size() + 1] {}; });
  for (const WString& argument : arguments) {
    argv[argc++] = NewArgCopy(argument.c_str(), argument.length());
  }
}

void DestroyArgs(int& argc, char**& argv) {
  if (argv == nullptr) return;
  for (int i = 0; i < argc; ++i) delete[] argv[i];
  delete[] argv;
}

char* NewArgCopy(const char* text, unsigned long length) {
  char* copy = withMemoryException([&] { return new char[length + 1]; });
  std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

void SetServiceState(SERVICE_STATE /*state*/) {}
