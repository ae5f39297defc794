#include "hosting/JavaProcess.h"

#include <cstdlib>
#include <string>

#include "config/Configuration.h"
#include "foundation/MemorySize.h"
#include "foundation/PropertyKeys.h"
#include "hosting/JvmLibrary.h"
#include "hosting/ModifiedUtf8.h"
#include "hosting/ServiceWrapper.h"
#include "javarun/ArgumentSplitter.h"
#include "javarun/ClassPath.h"
#include "javarun/JavaParameterParser.h"
#include "logging/EventLogging.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"
#include "platform/StackLimit.h"

namespace {

constexpr char startMethodSignature[] = "([Ljava/lang/String;)V";
constexpr char stopMethodSignature[] = "()V";

/// What the JVM leaves unused of the main thread's stack, generously.
constexpr std::size_t stackReserve = 64 * 1024;

/// The current thread's place in a JVM. A thread that had none has one for the lifetime of this.
class JvmAttachment {
 public:
  explicit JvmAttachment(JavaVM* jvm) : jvm_(jvm) {
    if (jvm_->GetEnv(reinterpret_cast<void**>(&env_), JNI_VERSION_1_6) == JNI_OK) return;
    attached_ = jvm_->AttachCurrentThread(reinterpret_cast<void**>(&env_), nullptr) == JNI_OK;
    if (!attached_) env_ = nullptr;
  }
  JvmAttachment(const JvmAttachment&) = delete;
  JvmAttachment& operator=(const JvmAttachment&) = delete;
  ~JvmAttachment() {
    if (attached_) jvm_->DetachCurrentThread();
  }

  /// Null when the thread could not be attached.
  [[nodiscard]] JNIEnv* env() const { return env_; }

 private:
  JavaVM* jvm_;
  JNIEnv* env_ = nullptr;
  bool attached_ = false;
};

/// True when the stop method was there and threw nothing.
bool callStopMethod(JavaVM* jvm, jclass startClass, jmethodID stopMethod, const WString& name) {
  // A normal thread, not a daemon: the JVM is not destroyed before the stop method has ended.
  const JvmAttachment attachment(jvm);
  JNIEnv* env = attachment.env();
  if (env == nullptr) {
    Logging::Debug("AppStop() - Failed to attach current thread to JVM");
    return false;
  }
  const jmethodID found = env->GetStaticMethodID(startClass, name.c_str(), stopMethodSignature);
  SetServiceState(SERVICE_STATE_STOP_PENDING);
  if (found == nullptr) {
    env->ExceptionClear();
    Logging::Debug("AppStop() - Unable to find the static stop method on the start class");
    return false;
  }
  Logging::Debug("AppStop() - Found the static stop method on the start class");
  try {
    env->CallStaticVoidMethod(startClass, stopMethod);
    Logging::Debug("AppStop() - Just returned from stop method");
    if (env->ExceptionCheck() != JNI_TRUE) return true;
    env->ExceptionDescribe();
  } catch (...) {
    Logging::Debug("AppStop() - Static stop method threw an exception upon invocation");
  }
  return false;
}

}  // namespace

JavaProcess::JavaProcess(const SimpleProperties& properties, bool /*flag*/)
    : properties_(properties) {
  enterStartDirectory(properties_);
  LoadJvmLibrary();
  CreateJvmArgs();
  Debug_PrintVmInfo();
  CreateJvm();
  Logging::Debug("before CreateAppArgs");
  CreateAppArgs();
  Logging::Debug("before CreateAppObjects");
  GetAppObjects();
  Logging::Debug("after CreateAppObjects");
}

JavaProcess::~JavaProcess() {
  if (jvm_ != nullptr) {
    // To the application the main thread ends here, so that others may wait for it.
    jvm_->DetachCurrentThread();
    jvm_->DestroyJavaVM();
    jvm_ = nullptr;
  }
  DestroyJvmArgs();
  JVM_SharedLibMgr::UnloadLibrary();
}

int JavaProcess::AppMain() {
  Logging::Debug("WRAPPER - About to call the start method on the start class");
  env_->CallStaticVoidMethod(startClass_, startMethod_, arguments_);
  Logging::Debug("WRAPPER - Just returned from start method");
  if (!ExceptionRaised()) return 0;
  Logging::Info("WRAPPER - start method threw an exception");
  env_->ExceptionDescribe();
  env_->ExceptionClear();
  return 1;
}

void JavaProcess::AppStop() const {
  stopCall()();
}

std::function<bool()> JavaProcess::stopCall() const {
  return [jvm = jvm_, startClass = startClass_, stopMethod = stopMethod_, name = stopMethodName()] {
    return callStopMethod(jvm, startClass, stopMethod, name);
  };
}

WString JavaProcess::GetJVMVendorName() {
  const jstring key = env_->NewStringUTF("java.vendor");
  if (key == nullptr) return {};
  const jclass system = env_->FindClass("java/lang/System");
  if (system == nullptr) return {};
  const jmethodID getProperty =
      env_->GetStaticMethodID(system, "getProperty", "(Ljava/lang/String;)Ljava/lang/String;");
  if (getProperty == nullptr) return {};
  auto* const vendor = static_cast<jstring>(env_->CallStaticObjectMethod(system, getProperty, key));
  if (ExceptionRaised() || vendor == nullptr) return {};
  const char* text = env_->GetStringUTFChars(vendor, nullptr);
  if (text == nullptr) return {};
  WString name = text;
  env_->ReleaseStringUTFChars(vendor, text);
  return name;
}

bool JavaProcess::ExceptionRaised() const {
  return env_->ExceptionCheck() == JNI_TRUE;
}

bool JavaProcess::SetOption(std::vector<WString>& options, const WString& prefix,
                            const WString& key) const {
  if (!properties_.contains(key)) return false;
  options.push_back(javaparser::JavaParameterParser(properties_).getSingleOption(prefix, key));
  return true;
}

bool JavaProcess::SetClassPathOption(std::vector<WString>& options) const {
  const ClassPath classPath = ClassPath::of(properties_);
  if (classPath.source == ClassPathSource::none) return false;
  options.push_back(WString(classPathOption) + classPath.text);
  return true;
}

void JavaProcess::SetExtendedJavaOptions(std::vector<WString>& options) const {
  javaparser::appendElementToVector(
      options, javaparser::JavaParameterParser(properties_).getExtendJavaOptions());
}

WString JavaProcess::ExpandClassPath(const WString& classPath) const {
  return javaparser::JavaParameterParser(properties_).expandClassPath(classPath);
}

void JavaProcess::LoadJvmLibrary() {
  const JvmLibrary library = JvmLibrary::choose(properties_.valueOf(keys::javaLibrary));
  if (library.source == JvmLibrary::Source::none) {
    printConsole("The property java.library can not be empty !\n");
    EventLogging::FatalError(message::failedToLoadLibrary, 1, library.path.c_str());
  }
  if (library.source == JvmLibrary::Source::systemDefault) {
    Logging::Debug("Load JVM by Using system default JvmPath  ...");
  }
  JVM_SharedLibMgr::LoadSharedLibrary(library.path);
}

void JavaProcess::CreateJvmArgs() {
  Logging::Debug("Using JNI versoin 1.6 on Unix");
  const bool adjusting = properties_.valueOf(keys::adjustInvoke, "no") == "true";
  const javaparser::JavaParameterParser parser(properties_);
  optionTexts_ =
      javaparser::getAllJavaRunOption(parser, {!adjusting, ServiceUtils::GetServiceBinaryPath()});
  for (const WString& text : optionTexts_) {
    options_.push_back({const_cast<char*>(text.c_str()), nullptr});
  }
  initArgs_.version = JNI_VERSION_1_6;
  initArgs_.nOptions = static_cast<jint>(options_.size());
  initArgs_.options = options_.data();
  initArgs_.ignoreUnrecognized = JNI_TRUE;
}

void JavaProcess::DestroyJvmArgs() {
  initArgs_ = {};
  options_.clear();
  optionTexts_.clear();
}

void JavaProcess::Debug_PrintVmInfo() const {
  const auto debugNumber = [](const char* label, int number) {
    Logging::Debug({label, std::to_string(number)});
  };
  const WString path = std::getenv("PATH");
  Logging::Debug({"System PATH = \"", path.view(), "\""});
  debugNumber("JNI Version = ", initArgs_.version);
  debugNumber("# options = ", static_cast<int>(optionTexts_.size()));
  for (std::size_t i = 0; i < optionTexts_.size(); ++i) {
    Logging::Debug({"Option ", std::to_string(i), " = \"", optionTexts_[i].view(), "\""});
  }
  Logging::Debug({"ignoreUnrecognized = ",
                  initArgs_.ignoreUnrecognized == JNI_TRUE ? "JNI_TRUE" : "JNI_FALSE"});
}

void JavaProcess::CreateJvm() {
  // A JVM caps the main thread's stack at this limit.
  const auto stackSize = memorySize(properties_.valueOf(keys::threadStackSize).view());
  if (stackSize) raiseStackLimit(*stackSize + stackReserve);
  const jint result = JVM_SharedLibMgr::JNI_CreateJavaVM(
      &jvm_, reinterpret_cast<void**>(&env_), &initArgs_, properties_.valueOf(keys::javaLibrary));
  Logging::Debug({"creationResult = ", std::to_string(result)});
  if (result < 0) EventLogging::FatalError(message::failedToCreateJavaVm, 0);
}

std::vector<WString> JavaProcess::PopulateAppArgumentStack() const {
  return applicationArguments(properties_, LaunchWay::hostedJava);
}

void JavaProcess::CreateAppArgs() {
  const jclass stringClass = env_->FindClass("java/lang/String");
  if (stringClass == nullptr) EventLogging::FatalError(message::noStringClass, 0);

  const std::vector<WString> arguments = PopulateAppArgumentStack();
  arguments_ = env_->NewObjectArray(static_cast<jsize>(arguments.size()), stringClass, nullptr);
  if (arguments_ == nullptr) EventLogging::FatalError(message::noArgumentArray, 0);

  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const jstring text = env_->NewStringUTF(toModifiedUtf8(arguments[i].view()).c_str());
    if (text == nullptr) EventLogging::FatalError(message::noArgumentString, 0);
    env_->SetObjectArrayElement(arguments_, static_cast<jsize>(i), text);
    if (env_->ExceptionOccurred() != nullptr) {
      EventLogging::FatalError(message::argumentNotStored, 0);
    }
    env_->DeleteLocalRef(text);
  }
}

void JavaProcess::GetAppObjects() {
  WString className;
  if (!properties_.get(keys::startClass, className)) {
    EventLogging::FatalError(message::noStartClassConfigured, 0);
  }
  ModifyStartClassStringForJVM(className);
  const jclass found = env_->FindClass(toModifiedUtf8(className.view()).c_str());
  if (found == nullptr) {
    printConsole("Failed to find the start class, \"%s\" - bad classpath?\n", className.c_str());
    env_->ExceptionDescribe();
    EventLogging::FatalError(message::startClassNotFound, 0);
  }
  startClass_ = static_cast<jclass>(env_->NewGlobalRef(found));
  if (startClass_ == nullptr) EventLogging::FatalError(message::startClassNotFound, 0);
  findStartMethod(className);
  findStopMethod();
}

void JavaProcess::findStartMethod(const WString& className) {
  const WString name = properties_.valueOf(keys::startMethod, "main");
  startMethod_ = env_->GetStaticMethodID(startClass_, toModifiedUtf8(name.view()).c_str(),
                                         startMethodSignature);
  if (startMethod_ != nullptr) return;
  printConsole(
      "Failed to find the static method \"%s\" specified for the start class \"%s\" - please check "
      "the properties file for accuracy and retry\n",
      name.c_str(), className.c_str());
  env_->ExceptionDescribe();
  EventLogging::FatalError(message::startMethodNotFound, 0);
}

void JavaProcess::findStopMethod() {
  stopMethod_ = env_->GetStaticMethodID(startClass_, stopMethodName().c_str(), stopMethodSignature);
  if (stopMethod_ != nullptr) {
    Logging::Debug("Found the static stop method on the start class");
    return;
  }
  Logging::Debug("Unable to find the static stop method on the start class");
  if (!ExceptionRaised()) return;
  Logging::Debug(
      "WRAPPER - Clear the exception raised by not finding static stop method inside main class");
  env_->ExceptionClear();
}

void JavaProcess::ModifyStartClassStringForJVM(WString& className) {
  // The JVMs of all vendors take the same form today. Asking for the vendor may leave an exception
  // pending, which must not reach the lookup of the class.
  GetJVMVendorName();
  env_->ExceptionClear();
  for (unsigned int dot = 0; (dot = className.find('.', dot)) != WString::npos; ++dot) {
    className.replace(dot, 1, "/");
  }
}

WString JavaProcess::stopMethodName() const {
  return toModifiedUtf8(properties_.valueOf(keys::stopMethod, "shutdown").view());
}

WString ExpandDirToClassPath(const WString& directory) {
  return CommonTool::expandDirToClassPath(directory);
}
