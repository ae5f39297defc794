#ifndef VELOX_KVF_PACKAGE_APPLICATIONTEXTS_H
#define VELOX_KVF_PACKAGE_APPLICATIONTEXTS_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the texts in an application's folder need to know. The folder:
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

/// Names that are a file's, a unit's and a part of a variable's name without quoting.
bool isApplicationName(std::string_view name);

/// The variables through which the script, and the environment, give arguments and options.
std::string argumentsVariable(const ApplicationFolder& folder);
std::string optionsVariable(const ApplicationFolder& folder);

/// The script that starts the application from any directory and hands over every argument. With
/// status 64 it refuses one that holds both a percent sign and "@@#@@" where one begins with two
/// dashes and one cannot be quoted, and 1 MiB of such.
std::string startScript(const ApplicationFolder& folder);

/// What a start script makes of its arguments.
struct HandedOver {
  std::vector<std::string> commandLine;  ///< of the launcher
  std::vector<std::size_t> typed;        ///< for each of them, which of the script's it comes from
  std::map<std::string, std::string> files = {};  ///< that it makes: their texts by name
  std::string refusal;  ///< what the script says instead of starting anything; empty: it starts
};

/// The launch of a start script of that text with these arguments, where `file` is its path without
/// links, its first argument the script as it was typed. Nothing when it is no start script, or
/// somebody has changed it.
std::optional<HandedOver> handedOver(std::string_view text, const std::string& file,
                                     const std::vector<std::string>& arguments);

std::string propertiesFile(const ApplicationFolder& folder);

/// The unit that starts the script in this (absolute) folder.
std::string serviceUnit(const ApplicationFolder& folder, std::string_view directory);

/// What removes after a month what crashes under that unit have left; see tmpfiles.d(5).
std::string temporaryFilesRule(const ApplicationFolder& folder);

#endif
