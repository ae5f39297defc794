#include "launcher/wrap.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "config/Configuration.h"
#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "foundation/WException.h"
#include "hosting/CppProcess.h"
#include "hosting/JavaProcess.h"
#include "hosting/ServiceWrapper.h"
#include "javarun/JavaCmdLineRunUtil.h"
#include "launcher/Displays.h"
#include "launcher/KillCommand.h"
#include "launcher/LegacyScript.h"
#include "launcher/ProcessEnvironment.h"
#include "logging/Console.h"
#include "logging/EventLogging.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"
#include "platform/StandardStreams.h"

namespace {

/// What an action may need.
struct Launch {
  const char* programName;
  const SimpleProperties& properties;
  CppProcess::MainFunction applicationMain;
  CppProcess::StopFunction applicationStop;
};

/// Owns the argument vector of a native application.
class NativeArguments {
 public:
  explicit NativeArguments(const SimpleProperties& properties) {
    CreateArgs(properties, count_, vector_);
  }
  NativeArguments(const NativeArguments&) = delete;
  NativeArguments& operator=(const NativeArguments&) = delete;
  ~NativeArguments() { DestroyArgs(count_, vector_); }

  [[nodiscard]] int count() const { return count_; }
  [[nodiscard]] char** vector() const { return vector_; }

 private:
  int count_ = 0;
  char** vector_ = nullptr;
};

int runJava(const SimpleProperties& properties) {
  JavaProcess process(properties, false);
  return process.AppMain();
}

int runNative(const Launch& launch) {
  if (CppProcess::GetSharedProcess() == nullptr) {
    CppProcess::CreateSharedProcess(nullptr, launch.applicationMain, launch.applicationStop);
  }
  const NativeArguments arguments(launch.properties);
  const int status = CppProcess::GetSharedProcess()->AppMain(arguments.count(), arguments.vector());
  CppProcess::DestroySharedProcess();
  // Only here: after a Java run the process-ID file stays.
  std::remove(launch.properties.valueOf(keys::processIdFile).c_str());
  return status;
}

int run(const Launch& launch) {
  return g_isJavaWrapper ? runJava(launch.properties) : runNative(launch);
}

int showVersion(const Launch& /*launch*/) {
  DisplayVersion();
  return 0;
}

int showUsage(const Launch& launch) {
  DisplayUsage(launch.programName);
  return 0;
}

int killProcess(const Launch& launch) {
  killWrapperProcess(launch.properties);
  return 0;
}

int generateRunScript(const Launch& launch) {
  return javarunner::generateJavaCmdRunScript(javaparser::JavaParameterParser(launch.properties));
}

int runJavaAsChild(const Launch& launch) {
  return javarunner::cmdlineRunJavaProgram(javaparser::JavaParameterParser(launch.properties));
}

int generateLegacyScript(const Launch& launch) {
  generateScript(launch.properties);
  return 0;
}

int onlyForWindows(const char* command) {
  printConsole("    %s is only for windows\n", command);
  return 0;
}

using Action = int (*)(const Launch&);

struct Command {
  const char* name;
  WrapperState state;
  Action action;  ///< null: only for Windows
};

constexpr Action windowsOnly = nullptr;

constexpr Command commands[] = {
    {switches::install, WrapperState::install, windowsOnly},
    {switches::cleanInstall, WrapperState::cleanInstall, showUsage},
    {switches::uninstall, WrapperState::uninstall, windowsOnly},
    {switches::update, WrapperState::update, windowsOnly},
    {switches::start, WrapperState::start, windowsOnly},
    {switches::startSync, WrapperState::startSync, windowsOnly},
    {switches::stop, WrapperState::stop, windowsOnly},
    {switches::run, WrapperState::run, run},
    {switches::generateScript, WrapperState::generateScript, generateRunScript},
    {switches::cmdlineJava, WrapperState::cmdlineJava, runJavaAsChild},
    {switches::restart, WrapperState::restart, windowsOnly},
    {switches::query, WrapperState::query, windowsOnly},
    {switches::ntservice, WrapperState::ntservice, windowsOnly},
    {switches::version, WrapperState::version, showVersion},
    {switches::help, WrapperState::help, showUsage},
    // Never found by its name: the newer generator above has the same.
    {switches::generateScript, WrapperState::legacyScript, generateLegacyScript},
    {switches::kill, WrapperState::kill, killProcess},
};

int dispatch(WrapperState state, const Launch& launch) {
  static_assert(std::size(commands) == 17, "every state has a row");
  const Command& command = *std::find_if(std::begin(commands), std::end(commands),
                                         [&](const Command& row) { return row.state == state; });
  return command.action == windowsOnly ? onlyForWindows(command.name) : command.action(launch);
}

}  // namespace

WrapperState DetermineWrapperState(const SimpleProperties& properties) {
  WString value;
  if (!properties.get(keys::command, value)) return WrapperState::run;
  for (const Command& command : commands) {
    if (value == command.name) return command.state;
  }
  return WrapperState::help;
}

int UnixWrapperMain(int argc, char** argv, int (*applicationMain)(int, char**),
                    void (*applicationStop)()) {
  openClosedStandardStreams();
  if (argc < 1 || argv[0] == nullptr) Logging::FatalError("The program name is missing");
  const SimpleProperties properties = ParseCommandLine(argc, argv);
  EventLogging::Initialize(properties);
  Logging::Debug("WrapperMain()");
  setupSystemEnvironment(argv, properties, false);
  WString directory;
  if (properties.get(keys::startDirectory, directory)) sii_ChangeDirectory(directory.c_str());
  return dispatch(DetermineWrapperState(properties),
                  {argv[0], properties, applicationMain, applicationStop});
}

int WrapperMain(int argc, char** argv, int (*applicationMain)(int, char**),
                void (*applicationStop)()) {
  return withMemoryException(
      [&] { return UnixWrapperMain(argc, argv, applicationMain, applicationStop); });
}

int LaunchWrapper(int argc, char** argv, int (*applicationMain)(int, char**),
                  void (*applicationStop)()) {
  return WrapperMain(argc, argv, applicationMain, applicationStop);
}
