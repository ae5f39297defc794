#include "kvf/launch/JvmTrial.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>
#include <jni.h>
#include <unistd.h>

#include "kvf/process/ProgramRun.h"
#include "kvf/text/Text.h"

namespace {

constexpr unsigned int maxSeconds = 30;
constexpr int maxUnknownOptions = 20;

struct Outcome {
  bool started = false;
  std::string text;  ///< what was printed
};

/// Runs the hidden command in a child whose output is read.
Outcome startChild(const JvmStart& start, const std::vector<std::string>& options) {
  ProgramRun run;
  run.program = "/proc/self/exe";
  run.arguments = {"kvf", "try-jvm", "--", start.library};
  run.arguments.insert(run.arguments.end(), options.begin(), options.end());
  run.environment = start.environment;
  run.directory = start.directory;
  run.output = ProgramRun::Output::taken;
  const ProgramEnd end = runProgram(run);
  if (end.error != 0) return {false, "no process can be started"};
  const bool inTime = end.status != 128 + SIGALRM;
  return {end.status == 0, end.output + (inTime ? "" : "it did not start in time")};
}

/// What follows the mark up to the end of the line or the quote.
std::string textAfter(const std::string& text, std::string_view mark, char end) {
  const std::size_t at = text.find(mark);
  if (at == std::string::npos) return {};
  const std::size_t start = at + mark.size();
  return text.substr(start, text.find(end, start) - start);
}

std::string inOneLine(const std::string& text) {
  std::string line;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    if (end > start) line.append(line.empty() ? "" : "; ").append(text, start, end - start);
    start = end + 1;
  }
  return line;
}

/// The option that the JVM says it does not know; the end of the list when it says no such thing.
std::vector<std::string>::iterator unknownOption(std::vector<std::string>& options,
                                                 const std::string& text) {
  const std::string option = textAfter(text, "Unrecognized option: ", '\n');
  const std::string flag = textAfter(text, "Unrecognized VM option '", '\'');
  return std::find_if(options.begin(), options.end(), [&](const std::string& candidate) {
    if (!option.empty()) return candidate == option;
    if (flag.empty() || !candidate.starts_with("-XX:")) return false;
    std::string_view name = std::string_view(candidate).substr(4);
    if (name.starts_with('+') || name.starts_with('-')) name.remove_prefix(1);
    return name == flag;
  });
}

}  // namespace

JvmTrial tryJvm(const JvmStart& start) {
  JvmTrial trial;
  std::vector<std::string> options = start.options;
  for (int i = 0; i < maxUnknownOptions; ++i) {
    const Outcome outcome = startChild(start, options);
    if (outcome.started) return trial;
    const auto unknown = unknownOption(options, outcome.text);
    if (unknown == options.end()) {
      trial.refusal = inOneLine(outcome.text);
      return trial;
    }
    trial.ignored.push_back(*unknown);
    options.erase(unknown);
  }
  return trial;
}

int runJvmTrial(const std::vector<std::string>& arguments) {
  using Create = jint (*)(JavaVM**, void**, void*);
  ::alarm(maxSeconds);
  if (arguments.empty()) return 1;
  void* library = ::dlopen(arguments.front().c_str(), RTLD_LAZY | RTLD_GLOBAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", ::dlerror());
    return 1;
  }
  const auto create = reinterpret_cast<Create>(::dlsym(library, "JNI_CreateJavaVM"));
  if (create == nullptr) return 1;

  std::vector<JavaVMOption> options;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
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
  std::fflush(nullptr);
  // Without the JVM's own end, which may write archives and reports.
  std::_Exit(result < 0 ? 1 : 0);
}
