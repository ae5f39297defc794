#include "launcher/wrap.h"

#include <cstdio>

#include "config/Configuration.h"
#include "foundation/PropertyKeys.h"
#include "foundation/WString.h"
#include "hosting/CppProcess.h"
#include "hosting/JavaProcess.h"
#include "hosting/ServiceWrapper.h"
#include "hosting/StopSignals.h"
#include "javarun/ClassPath.h"
#include "javarun/JavaCmdLineRunUtil.h"
#include "launcher/Displays.h"
#include "launcher/ExceptionEnd.h"
#include "launcher/KillCommand.h"
#include "launcher/LegacyScript.h"
#include "launcher/ProcessEnvironment.h"
#include "logging/EventLogging.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"
#include "platform/ThisProcess.h"

namespace {

/// What an action may need.
struct Launch {
  const char* programName;
  const SimpleProperties& properties;
  CppProcess::MainFunction applicationMain;
  CppProcess::StopFunction applicationStop;
};

int runJava(const SimpleProperties& properties) {
  StopSignals stopSignals(properties, ApplicationKind::java);
  JavaProcess process(properties, false);
  stopSignals.begin(process.stopCall());
  return process.AppMain();
}

bool stopNative() {
  CppProcess* process = CppProcess::GetSharedProcess();
  if (!process->canStop()) return false;
  try {
    process->AppStop();
    return true;
  } catch (...) {
    return false;
  }
}

int runNative(const Launch& launch) {
  if (CppProcess::GetSharedProcess() == nullptr) {
    CppProcess::CreateSharedProcess(nullptr, launch.applicationMain, launch.applicationStop);
  }
  const NativeArguments arguments(launch.properties);
  StopSignals stopSignals(launch.properties, ApplicationKind::native);
  stopSignals.begin(stopNative);
  const int status = CppProcess::GetSharedProcess()->AppMain(arguments.count(), arguments.vector());
  stopSignals.waitForStop();
  CppProcess::DestroySharedProcess();
  // Only here: after a Java run the process-ID file stays.
  std::remove(launch.properties.valueOf(keys::processIdFile).c_str());
  return status;
}

int run(const Launch& launch) {
  return hostsJvm(launch.properties) ? runJava(launch.properties) : runNative(launch);
}

int showVersion(const Launch& /*launch*/) {
  DisplayVersion();
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

using Action = int (*)(const Launch&);

struct StateAction {
  WrapperState state;
  Action action;
};

/// The states that do something. The others are for Windows only, or show the usage.
constexpr StateAction actions[] = {
    {WrapperState::run, run},
    {WrapperState::generateScript, generateRunScript},
    {WrapperState::cmdlineJava, runJavaAsChild},
    {WrapperState::version, showVersion},
    {WrapperState::legacyScript, generateLegacyScript},
    {WrapperState::kill, killProcess},
};

int dispatch(const Command& command, const Launch& launch) {
  if (command.isForWindows) {
    printConsole("    %s is only for windows\n", command.name);
    return 0;
  }
  for (const StateAction& known : actions) {
    if (known.state == command.state) return known.action(launch);
  }
  DisplayUsage(launch.programName);
  return 0;
}

}  // namespace

WrapperState DetermineWrapperState(const SimpleProperties& properties) {
  return commandIn(properties).state;
}

int UnixWrapperMain(int argc, char** argv, int (*applicationMain)(int, char**),
                    void (*applicationStop)()) {
  openClosedStandardStreams();
  if (privilegesAreRaised()) {
    Logging::FatalError(
        "The wrapper does not start with set-user-ID, set-group-ID or file "
        "capabilities: it runs what its caller names");
  }
  if (argc < 1 || argv[0] == nullptr) Logging::FatalError("The program name is missing");
  const SimpleProperties properties = ParseCommandLine(argc, argv);
  CommonConfig::initConfig(properties);
  EventLogging::Initialize(properties);
  Logging::Debug("WrapperMain()");
  setupSystemEnvironment(argv, properties, false);
  enterStartDirectory(properties);
  return dispatch(commandIn(properties), {argv[0], properties, applicationMain, applicationStop});
}

int WrapperMain(int argc, char** argv, int (*applicationMain)(int, char**),
                void (*applicationStop)()) {
  const MemoryTerminateHandler end;
  try {
    return withMemoryException(
        [&] { return UnixWrapperMain(argc, argv, applicationMain, applicationStop); });
  } catch (const WException& exception) {
    endWith(exception);
  }
}

int LaunchWrapper(int argc, char** argv, int (*applicationMain)(int, char**),
                  void (*applicationStop)()) {
  return WrapperMain(argc, argv, applicationMain, applicationStop);
}

int velox_launch(int argc, char** argv, int (*application_main)(int, char**),
                 void (*application_stop)()) {
  return WrapperMain(argc, argv, application_main, application_stop);
}
