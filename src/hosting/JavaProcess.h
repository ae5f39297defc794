#ifndef VELOX_HOSTING_JAVAPROCESS_H
#define VELOX_HOSTING_JAVAPROCESS_H

#include <functional>
#include <vector>

#include <jni.h>

#include "foundation/Properties.h"

/// A Java application in this process: construct, AppMain, destroy, on the main thread. A process
/// has at most one, as a JVM can be created only once.
class JavaProcess {
 public:
  /// Changes to the start directory, loads and creates the JVM and looks up the start class with
  /// its methods. Ends the process on any failure; so does the JVM itself, with a text of its own
  /// and status 1, for some bad options. A stack size above the stack limit raises that one first,
  /// for the main thread. The flag is not used.
  JavaProcess(const SimpleProperties& properties, bool flag);
  JavaProcess(const JavaProcess&) = delete;
  JavaProcess& operator=(const JavaProcess&) = delete;
  /// Ends the main thread for the application, waits until every non-daemon thread of it has ended,
  /// and destroys the JVM.
  virtual ~JavaProcess();

  /// Calls the start method and returns when it does: 0, or 1 after an exception, which goes to
  /// standard error.
  int AppMain();

  /// Calls the static stop method, if there is one, and returns when it does. For a thread other
  /// than the one in AppMain, which is attached to the JVM meanwhile: the JVM is not destroyed
  /// before.
  void AppStop() const;
  /// What AppStop does, true when the stop method was there and threw nothing. It may be called
  /// even after this object is gone, and then fails.
  [[nodiscard]] std::function<bool()> stopCall() const;

  /// The value of java.vendor, or the empty text.
  WString GetJVMVendorName();
  /// True while a Java exception is pending on this thread.
  [[nodiscard]] bool ExceptionRaised() const;

  /// The pieces of the option list, as the external launch makes them. Each appends its options;
  /// the bool ones return whether there was one. Interface only.
  bool SetOption(std::vector<WString>& options, const WString& prefix, const WString& key) const;
  bool SetClassPathOption(std::vector<WString>& options) const;
  void SetExtendedJavaOptions(std::vector<WString>& options) const;
  [[nodiscard]] WString ExpandClassPath(const WString& classPath) const;

 private:
  void LoadJvmLibrary();
  void CreateJvmArgs();
  void DestroyJvmArgs();
  void Debug_PrintVmInfo() const;
  void CreateJvm();
  [[nodiscard]] std::vector<WString> PopulateAppArgumentStack() const;
  void CreateAppArgs();
  void GetAppObjects();
  void findStartMethod(const WString& className);
  void findStopMethod();
  /// Turns a dotted class name into the form with "/".
  void ModifyStartClassStringForJVM(WString& className);
  [[nodiscard]] WString stopMethodName() const;

  SimpleProperties properties_;
  std::vector<WString> optionTexts_;  ///< what options_ points at
  std::vector<JavaVMOption> options_;
  JavaVMInitArgs initArgs_ = {};
  JNIEnv* env_ = nullptr;
  JavaVM* jvm_ = nullptr;
  jclass startClass_ = nullptr;  ///< a global reference: AppStop uses it on another thread
  jmethodID startMethod_ = nullptr;
  jmethodID stopMethod_ = nullptr;
  jobjectArray arguments_ = nullptr;
};

/// See CommonTool::expandDirToClassPath. Interface only.
WString ExpandDirToClassPath(const WString& directory);

#endif
