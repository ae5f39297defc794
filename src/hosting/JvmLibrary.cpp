#include "hosting/JvmLibrary.h"

#include "hosting/JVM_SharedLibMgr.h"

JvmLibrary JvmLibrary::choose(const WString& configured, bool (*isThere)(const char* path)) {
  if (isThere(configured.c_str())) return {Source::configured, configured};
  if (configured.empty()) return {Source::none, {}};
  return {Source::systemDefault, JVM_SharedLibMgr::GetJvmLibPath()};
}
