#include "hosting/JVM_SharedLibMgr.h"

#include <cstdlib>

#include "hosting/LibraryLoading.h"
#include "logging/Console.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"

void* JVM_SharedLibMgr::s_LibHandle = nullptr;

namespace {

using CreateJavaVm = jint (*)(JavaVM**, void**, void*);

constexpr char createFunction[] = "JNI_CreateJavaVM";

CreateJavaVm findCreateFunction(void* library) {
  void* address = sii_GetProcAddress(library, createFunction);
  CheckFunctionLoad(address, createFunction);
  if (address == nullptr) std::exit(Logging::fatalStatus);
  return reinterpret_cast<CreateJavaVm>(address);
}

}  // namespace

WString JVM_SharedLibMgr::GetJvmLibPath() {
  return "libjvm.so";
}

bool JVM_SharedLibMgr::LoadSharedLibrary(const WString& path) {
  if (s_LibHandle != nullptr) return true;
  // An exit of the application must not close the JVM under its own threads.
  s_LibHandle = loadLibrary(path, path).stayOpen();
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
  SharedLibrary library(s_LibHandle);
  unloadLibrary(library);
}

void CheckFunctionLoad(void* address, const char* name) {
  if (address != nullptr) return;
  printConsole("Shared Library load failed for function name \"%s\"\n", name);
}
