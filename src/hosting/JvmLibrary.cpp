#include "hosting/JvmLibrary.h"

#include <cstdlib>

#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"

SharedLibrary JVM_SharedLibMgr::s_LibHandle;

namespace {

using CreateJavaVm = jint (*)(JavaVM**, void**, void*);

constexpr char createFunction[] = "JNI_CreateJavaVM";

CreateJavaVm findCreateFunction(const SharedLibrary& library) {
  void* address = library.symbol(createFunction);
  CheckFunctionLoad(address, createFunction);
  if (address == nullptr) std::exit(Logging::fatalStatus);
  return reinterpret_cast<CreateJavaVm>(address);
}

}  // namespace

JvmLibrary JvmLibrary::choose(const WString& configured) {
  if (fileIsThere(configured.c_str())) return {Source::configured, configured};
  if (configured.empty()) return {Source::none, {}};
  return {Source::systemDefault, JVM_SharedLibMgr::GetJvmLibPath()};
}

WString JVM_SharedLibMgr::GetJvmLibPath() {
  return "libjvm.so";
}

bool JVM_SharedLibMgr::LoadSharedLibrary(const WString& path) {
  if (!s_LibHandle) s_LibHandle = SharedLibrary::load(path, path);
  return true;
}

bool JVM_SharedLibMgr::LoadSharedLibrary() {
  return LoadSharedLibrary(GetJvmLibPath());
}

jint JVM_SharedLibMgr::JNI_CreateJavaVM(JavaVM** vm, void** env, void* initArgs,
                                        const WString& /*libraryPath*/) {
  LoadSharedLibrary();
  static const CreateJavaVm create = findCreateFunction(s_LibHandle);
  return create(vm, env, initArgs);
}

void JVM_SharedLibMgr::UnloadLibrary() {
  s_LibHandle.close();
}

void CheckFunctionLoad(void* address, const char* name) {
  if (address != nullptr) return;
  printConsole("Shared Library load failed for function name \"%s\"\n", name);
}
