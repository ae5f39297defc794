#include "hosting/JVM_SharedLibMgr.h"

#include <cstdlib>

#include "hosting/SharedLibrary.h"
#include "logging/Console.h"
#include "platform/OS_Abstractions.h"

void* JVM_SharedLibMgr::s_LibHandle = nullptr;

namespace {

using CreateJavaVm = jint (*)(JavaVM**, void**, void*);

constexpr char createFunction[] = "JNI_CreateJavaVM";

CreateJavaVm findCreateFunction(void* library) {
  void* address = sii_GetProcAddress(library, createFunction);
  CheckFunctionLoad(address, createFunction);
  if (address == nullptr) std::exit(-1);
  return reinterpret_cast<CreateJavaVm>(address);
}

}  // namespace

WString JVM_SharedLibMgr::GetJvmLibPath() {
  return "libjvm.so";
}

bool JVM_SharedLibMgr::LoadSharedLibrary(const WString& path) {
  if (s_LibHandle != nullptr) return true;
  s_LibHandle = openSharedLibrary(path, path);
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
  if (s_LibHandle != nullptr) closeSharedLibrary(s_LibHandle);
}

void CheckFunctionLoad(void* address, const char* name) {
  if (address != nullptr) return;
  printConsole("Shared Library load failed for function name \"%s\"\n", name);
}
