#ifndef VELOX_KVF_PACKAGE_APPLICATIONTEXTS_H
#define VELOX_KVF_PACKAGE_APPLICATIONTEXTS_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the texts in an application's folder are made from. The folder:
///
///     bin/NAME      the start script        lib/          the archives
///     bin/wrapper   the launcher            runtime/      the Java runtime, if it is shipped
///     NAME.kvf      the properties file     NAME.service  the systemd unit, and
///                                           NAME.tmpfiles.conf
struct ApplicationFolder {
  std::string name;                   ///< see isApplicationName
  std::string startClass;             ///< "com.acme.Main"
  std::vector<std::string> archives;  ///< file names in lib/, in the order of the class path
  std::vector<std::string> options;   ///< of the JVM, one word each
  std::string jvmLibrary;             ///< below the folder, or absolute
  std::string java;                   ///< the same; may be empty
  std::string user;                   ///< of the service; empty: up to the reader
  unsigned release = 0;               ///< of Java that the archives need; 0 when that is unknown
};

/// Names that a file, a unit and a part of a variable's name can have without quoting.
bool isApplicationName(std::string_view name);

/// The variables through which the script, and the environment, give arguments and options.
std::string argumentsVariable(const ApplicationFolder& folder);
std::string optionsVariable(const ApplicationFolder& folder);

/// The script that starts the application from any directory and passes on every argument. It ends
/// with status 64 for arguments that cannot travel in a properties file, when one needs that: one
/// that holds both a percent sign and "@@#@@", and 1 MiB in all.
std::string startScript(const ApplicationFolder& folder);

/// What a start script makes of its arguments.
struct HandedOver {
  std::vector<std::string> commandLine;  ///< of the launcher
  std::vector<std::size_t> typed;        ///< for each of them, which of the script's it comes from
  std::map<std::string, std::string> files = {};  ///< that it makes: their texts by name
  std::string refusal;  ///< what the script says instead of starting anything; empty: it starts
};

/// The launch of a start script of that text with these arguments, where `file` is its path without
/// links, its first argument the script as it was typed. Nothing when it is not a start script, or
/// has been changed.
std::optional<HandedOver> handedOver(std::string_view text, const std::string& file,
                                     const std::vector<std::string>& arguments);

std::string propertiesFile(const ApplicationFolder& folder);

/// The unit that starts the script in this (absolute) folder.
std::string serviceUnit(const ApplicationFolder& folder, std::string_view directory);

/// What removes the remains of crashes under that unit after a month; see tmpfiles.d(5).
std::string temporaryFilesRule(const ApplicationFolder& folder);

#endif
