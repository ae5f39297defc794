#ifndef VELOX_HOSTING_JAVAPROCESS_H
#define VELOX_HOSTING_JAVAPROCESS_H

#include <vector>

#include <jni.h>

#include "foundation/Properties.h"

/// A Java application in this process: construct, AppMain, destroy, on the main thread. A process
/// has at most one, as a JVM can be created only once.
class JavaProcess {
 public:
  /// Changes to the start directory, loads and creates the JVM and looks up the start class with
  /// its methods. Ends the process on any failure. The flag is not used.
  JavaProcess(const SimpleProperties& properties, bool flag);
  JavaProcess(const JavaProcess&) = delete;
  JavaProcess& operator=(const JavaProcess&) = delete;
  /// Waits until every non-daemon thread of the application has ended, then destroys the JVM.
  virtual ~JavaProcess();

  /// Calls the start method and returns when it does: 0, or 1 after an exception, which goes to
  /// standard error.
  int AppMain();

  /// Calls the static stop method, if there is one. For a thread other than the one in AppMain,
  /// which stays attached to the JVM as a daemon.
  void AppStop();

  /// The value of java.vendor, or the empty text.
  WString GetJVMVendorName();
  [[nodiscard]] bool ExceptionRaised() const;

  /// The pieces of the option list, as the external launch makes them. Each appends its options;
  /// the bool ones return whether there was one. Nothing in the launcher calls them.
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

/// See CommonTool::expandDirToClassPath. Nothing in the launcher calls it.
WString ExpandDirToClassPath(const WString& directory);

#endif
