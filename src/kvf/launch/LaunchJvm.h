#ifndef VELOX_KVF_LAUNCH_LAUNCHJVM_H
#define VELOX_KVF_LAUNCH_LAUNCHJVM_H

#include <map>
#include <optional>
#include <string>

#include "kvf/jvm/JvmSearch.h"
#include "kvf/launch/Inspection.h"

/// The JVM that a launch would have.

/// The program java that --cmdlineJava would execute, absolute; empty: it would find none.
std::string javaProgramOf(const Inspection& inspection);

/// The JVM that the application would run in; nothing when there is none, or its files do not show
/// it.
std::optional<Jvm> jvmOfLaunch(const Inspection& inspection);

/// The whole environment of the application: what the launcher finds, under what the file exports.
std::map<std::string, std::string> environmentOfLaunch(const Inspection& inspection);

/// The JVM that a folder or a program belongs to, or nothing.
std::optional<Jvm> jvmAround(const std::string& path);

#endif
