#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <strings.h>
#include <sys/stat.h>

#include "kvf/launch/JvmOptions.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

// Agents of a JVM, for debuggers and for management, that keep it from running.

namespace {

namespace fs = std::filesystem;

/// The value of the option of that name in those after "-agentlib:jdwp="; null: it is not there.
std::optional<std::string_view> jdwpOption(std::string_view options, std::string_view name) {
  for (const std::string_view one : piecesOf(options, ",")) {
    if (one.starts_with(concat({name, "="}))) return one.substr(name.size() + 1);
  }
  return std::nullopt;
}

void debuggerWaits(const Inspection& inspection, Report& report) {
  if (!inspection.isJava() || !inspection.startsApplication()) return;
  for (const std::string& option : inspection.plan.options) {
    constexpr std::string_view prefixes[] = {"-agentlib:jdwp=", "-Xrunjdwp:"};
    const auto* prefix =
        std::find_if(std::begin(prefixes), std::end(prefixes),
                     [&](std::string_view one) { return option.starts_with(one); });
    if (prefix == std::end(prefixes)) continue;
    const std::string_view options = std::string_view(option).substr(prefix->size());
    // With these it listens only later, and does not wait.
    const bool isLate = jdwpOption(options, "onthrow") || jdwpOption(options, "onuncaught");
    const bool listens = jdwpOption(options, "server").value_or("n") == "y";
    const auto suspend = jdwpOption(options, "suspend");
    if (isLate || !listens || suspend.value_or("y") != "y") continue;
    report(positionOfOption(inspection, option),
           concat({suspend ? "suspend=y" : "jdwp without suspend=n", " of ", shown(option),
                   " keeps the application waiting until a debugger connects: write suspend=n"}));
  }
}

constexpr std::string_view management = "-Dcom.sun.management.";

/// The value of the last system property of that name, and the option; null: there is none.
struct ManagementProperty {
  const std::string* option = nullptr;
  std::string value = {};
};

ManagementProperty propertyOf(const Inspection& inspection, std::string_view name) {
  const std::string prefix = concat({management, name, "="});
  ManagementProperty found;
  for (const std::string& option : inspection.plan.options)
    if (option.starts_with(prefix)) found = {&option, option.substr(prefix.size())};
  return found;
}

/// The file that the option names, or the JVM's own where none does; empty: unknown.
std::string managementFile(const Inspection& inspection, const ManagementProperty& property,
                           const std::string& ownName) {
  if (property.option != nullptr) return inspection.atApplication(property.value);
  const std::optional<Jvm> jvm = jvmOfLaunch(inspection);
  if (!jvm) return {};
  std::error_code error;
  const fs::path folders[] = {jvm->home / "conf/management", jvm->home / "jre/lib/management",
                              jvm->home / "lib/management"};
  for (const fs::path& folder : folders)
    if (fs::is_directory(folder, error)) return folder / ownName;
  return {};
}

/// What a JVM says against the file before it ends; empty: nothing.
std::string complaintAbout(const std::string& path, bool mustBePrivate) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return concat({"there is no ", shown(path)});
  constexpr mode_t ofOthers = S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
  if (mustBePrivate && (status.st_mode & ofOthers) != 0)
    return concat({"users other than the owner may use ", shown(path)});
  return {};
}

void managementFiles(const Inspection& inspection, Report& report) {
  if (!inspection.startsJvm()) return;
  const ManagementProperty port = propertyOf(inspection, "jmxremote.port");
  const ManagementProperty config = propertyOf(inspection, "config.file");
  const auto tell = [&](const std::string& option, const std::string& complaint,
                        std::string_view advice) {
    if (complaint.empty()) return;
    report.fatal(positionOfOption(inspection, option),
                 concat({complaint, ", and with ", shown(option),
                         " the JVM ends before the application runs: ", advice}));
  };
  if (config.option != nullptr) {
    // It may have any of the other properties.
    tell(*config.option, complaintAbout(inspection.atApplication(config.value), false),
         "correct the path");
    return;
  }
  const std::string authenticate = propertyOf(inspection, "jmxremote.authenticate").value;
  const bool isOpen = !authenticate.empty() && ::strcasecmp(authenticate.c_str(), "true") != 0;
  if (port.option == nullptr || isOpen) return;
  if (propertyOf(inspection, "jmxremote.login.config").option != nullptr) return;
  const ManagementProperty password = propertyOf(inspection, "jmxremote.password.file");
  const std::string passwords = managementFile(inspection, password, "jmxremote.password");
  tell(password.option != nullptr ? *password.option : *port.option,
       passwords.empty() ? "" : complaintAbout(passwords, true),
       password.option != nullptr
           ? "create it with chmod 600, for the user that runs the JVM"
           : concat({"name one with ", management, "jmxremote.password.file="}));
  const ManagementProperty access = propertyOf(inspection, "jmxremote.access.file");
  if (access.option != nullptr)
    tell(*access.option, complaintAbout(inspection.atApplication(access.value), false), "make it");
}

constexpr Rule rules[] = {
    {.id = "debugger-waits",
     .severity = Severity::warning,
     .summary = "a JVM that waits for a debugger",
     .explanation = "With server=y and without suspend=n the jdwp agent holds the JVM before main "
                    "until a debugger connects, so a service never comes up.",
     .example = {.lines = "java.extended.properties=-agentlib:jdwp=transport=dt_socket,server=y,"
                          "address=127.0.0.1:5005"},
     .remedy = {.lines = "java.extended.properties=-agentlib:jdwp=transport=dt_socket,server=y,"
                         "suspend=n,address=127.0.0.1:5005"},
     .check = debuggerWaits},
    {.id = "management-file",
     .severity = Severity::error,
     .summary = "a JVM for remote management that lacks its password file",
     .explanation =
         "With com.sun.management.jmxremote.port a JVM needs a password file that only its owner "
         "may use, unless jmxremote.authenticate is false; without one it ends.",
     .example = {.lines = "java.property.com.sun.management.jmxremote.port=9010\n"
                          "java.property.com.sun.management.jmxremote.ssl=false\n"
                          "java.property.com.sun.management.jmxremote.password.file="
                          "%kvf.file.dir%/gone.password"},
     .remedy = {.note = "Create the file with mode 0600; or, where nobody else can reach the port:",
                .lines = "java.property.com.sun.management.jmxremote.port=9010\n"
                         "java.property.com.sun.management.jmxremote.ssl=false\n"
                         "java.property.com.sun.management.jmxremote.authenticate=false"},
     .check = managementFiles},
};

}  // namespace

std::span<const Rule> agentRules() {
  return rules;
}
