#include "config/PropertiesAdjustment.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "config/Commands.h"
#include "foundation/PropertyKeys.h"
#include "logging/Logging.h"
#include "platform/ChildProcess.h"

namespace {

constexpr int statusAdjusted = 0;
constexpr int statusNothingToAdjust = 65;
constexpr char adjustedSuffix[] = ".adj";

}  // namespace

bool isAdjustable(const SimpleProperties& options) {
  return commandIn(options).isAdjustable;
}

void runAdjustmentChild(int argc, char** argv, PropertiesLocation& location) {
  std::vector<char*> arguments(argv, argv + argc);
  arguments.push_back(const_cast<char*>(switches::adjust));
  arguments.push_back(nullptr);

  ChildProcess child([&](const ChildProcess& self) {
    Logging::Debug("Adjustment child process...");
    self.execute(arguments.data());
    ChildProcess::fail({"Failed to exec : ", std::strerror(errno)});
  });
  if (child.failed()) Logging::FatalError({"Failed to fork adjustment : ", std::strerror(errno)});

  Logging::Debug("Waiting for adjustment...");
  const int waitStatus = child.wait();
  Logging::Debug("Waited for adjustment.");
  ChildProcess::takeReceivedSignals(waitStatus);
  // Read without asking how the child ended: one that a signal killed counts as adjusted.
  const int exitCode = ChildProcess::exitCodeIn(waitStatus);
  if (exitCode == statusNothingToAdjust) return;
  if (exitCode != statusAdjusted) Logging::FatalError("Adjustment failed.");
  location.name += adjustedSuffix;
  location.fullPath += adjustedSuffix;
  Logging::Debug({"Switching to adjusted Properties file at ", location.fullPath.view()});
}

void configureAdjuster(const WString& fullPath, SimpleProperties& properties) {
  const WString classPath = properties.valueOf(keys::adjusterClassPath);
  if (classPath.empty()) {
    Logging::Debug("Notifying parent process that adjustment is not necessary.");
    std::exit(statusNothingToAdjust);
  }
  Logging::Debug("Adjustment is necessary; invoking adjuster.");
  properties.set(keys::applicationArgs, "-wrapper -file \"" + fullPath + "\"");
  properties.set(keys::classPathExtended, classPath);
  properties.set(keys::classPath, classPath);
  properties.set(keys::startClass, adjusterClass);
  properties.set(keys::startMethod, "main");
  properties.set(keys::stopMethod, "shutdown");
  properties.set(keys::adjustInvoke, "true");
}
