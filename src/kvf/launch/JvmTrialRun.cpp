#include "kvf/launch/JvmTrialRun.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <dlfcn.h>
#include <jni.h>
#include <sys/resource.h>
#include <unistd.h>

#include "kvf/process/ProgramRun.h"

namespace {

// Of the child's arguments.
constexpr std::size_t firstOption = 3;
constexpr std::string_view classMark = "\nkvf try-jvm: ";

/// Takes what the child says about the start class out of the text.
std::string takeClassFailure(std::string& text) {
  const std::size_t mark = text.rfind(classMark);
  if (mark == std::string::npos) return {};
  std::string failure = text.substr(mark + classMark.size());
  text.resize(mark);
  return failure;
}

std::string textOf(JNIEnv& java, jobject object) {
  const jclass type = java.FindClass("java/lang/Object");
  const jmethodID method =
      type == nullptr ? nullptr : java.GetMethodID(type, "toString", "()Ljava/lang/String;");
  if (method == nullptr) return "an exception";
  auto* const text = static_cast<jstring>(java.CallObjectMethod(object, method));
  const char* characters = java.ExceptionCheck() == JNI_TRUE || text == nullptr
                               ? nullptr
                               : java.GetStringUTFChars(text, nullptr);
  return characters == nullptr ? "an exception" : characters;
}

/// Asks the class for its constructors, which links it: its superclasses and the classes needed to
/// verify it are loaded, too.
void loadClass(JNIEnv& java, std::string name) {
  std::replace(name.begin(), name.end(), '/', '.');
  const jclass loaders = java.FindClass("java/lang/ClassLoader");
  const jclass classes = java.FindClass("java/lang/Class");
  if (loaders == nullptr || classes == nullptr) return;
  const jmethodID system =
      java.GetStaticMethodID(loaders, "getSystemClassLoader", "()Ljava/lang/ClassLoader;");
  const jmethodID load =
      java.GetMethodID(loaders, "loadClass", "(Ljava/lang/String;)Ljava/lang/Class;");
  const jmethodID constructors =
      java.GetMethodID(classes, "getConstructors", "()[Ljava/lang/reflect/Constructor;");
  const jstring text = java.NewStringUTF(name.c_str());
  if (java.ExceptionCheck() == JNI_TRUE) return;
  const jobject loader = java.CallStaticObjectMethod(loaders, system);
  if (java.ExceptionCheck() == JNI_TRUE) return;
  const jobject found = java.CallObjectMethod(loader, load, text);
  if (java.ExceptionCheck() == JNI_FALSE) java.CallObjectMethod(found, constructors);
}

void tellClassFailure(JNIEnv& java) {
  const jthrowable thrown = java.ExceptionOccurred();
  if (thrown == nullptr) return;
  java.ExceptionClear();
  const std::string text = textOf(java, thrown);
  std::printf("%.*s%s", static_cast<int>(classMark.size()), classMark.data(), text.c_str());
}

}  // namespace

JvmRunEnd runJvm(const JvmRun& run) {
  ProgramRun program;
  program.program = "/proc/self/exe";
  program.arguments = {
      "kvf",       "try-jvm",      "--",
      run.library, run.startClass, (run.endsInOrder ? "+" : "") + std::to_string(run.maxSeconds)};
  program.arguments.insert(program.arguments.end(), run.options.begin(), run.options.end());
  program.environment = run.environment;
  program.hasOwnEnvironment = true;
  program.directory = run.directory;
  program.output = ProgramRun::Output::taken;
  ProgramEnd ended = runProgram(program);

  JvmRunEnd end;
  end.text = ended.error == 0 ? std::move(ended.output) : "no process can be started";
  end.classFailure = takeClassFailure(end.text);
  end.started = ended.error == 0 && ended.status == 0;
  end.timedOut = ended.status == 128 + SIGALRM;
  return end;
}

int runJvmTrial(const std::vector<std::string>& arguments) {
  using Create = jint (*)(JavaVM**, void**, void*);
  if (arguments.size() < firstOption) return 1;
  ::alarm(static_cast<unsigned>(std::strtoul(arguments[2].c_str(), nullptr, 10)));
  const rlimit noCoreFile = {};
  ::setrlimit(RLIMIT_CORE, &noCoreFile);
  void* library = ::dlopen(arguments[0].c_str(), RTLD_LAZY | RTLD_GLOBAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", ::dlerror());
    return 1;
  }
  const auto create = reinterpret_cast<Create>(::dlsym(library, "JNI_CreateJavaVM"));
  if (create == nullptr) return 1;

  std::vector<JavaVMOption> options;
  for (std::size_t i = firstOption; i < arguments.size(); ++i) {
    options.push_back({const_cast<char*>(arguments[i].c_str()), nullptr});
  }
  JavaVMInitArgs init = {};
  init.version = JNI_VERSION_1_6;
  init.nOptions = static_cast<jint>(options.size());
  init.options = options.data();
  init.ignoreUnrecognized = JNI_FALSE;
  JavaVM* jvm = nullptr;
  void* environment = nullptr;
  const jint result = create(&jvm, &environment, &init);
  if (result >= 0 && !arguments[1].empty()) {
    JNIEnv& java = *static_cast<JNIEnv*>(environment);
    loadClass(java, arguments[1]);
    tellClassFailure(java);
  }
  if (result >= 0 && arguments[2].starts_with('+')) jvm->DestroyJavaVM();
  std::fflush(nullptr);
  // Without an orderly end of the JVM, which may write archives and reports.
  std::_Exit(result < 0 ? 1 : 0);
}
