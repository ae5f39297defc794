#include "support/Run.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/Properties.h"

namespace fs = std::filesystem;

namespace {

constexpr int nobody = 65534;

void sendOutputTo(const std::string& file) {
  const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  ::dup2(descriptor, STDOUT_FILENO);
  ::dup2(descriptor, STDERR_FILENO);
}

}  // namespace

Sandbox::Sandbox() {
  std::string pattern = (fs::temp_directory_path() / "velox-test-XXXXXX").string();
  root_ = ::mkdtemp(pattern.data());
  fs::permissions(root_, fs::perms::all);
}

Sandbox::~Sandbox() {
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

std::string Sandbox::path(const std::string& name) const {
  return name.empty() ? root_.string() : (root_ / name).string();
}

std::string Sandbox::write(const std::string& name, const std::string& text, bool executable) {
  fs::create_directories((root_ / name).parent_path());
  std::ofstream(root_ / name, std::ios::binary) << text;
  fs::permissions(root_ / name, static_cast<fs::perms>(executable ? 0755 : 0644));
  return path(name);
}

std::string Sandbox::read(const std::string& name) const {
  std::ostringstream text;
  text << std::ifstream(root_ / name, std::ios::binary).rdbuf();
  return text.str();
}

pid_t Sandbox::start(const std::string& line, const Start& start, const std::string& output) const {
  Environment environment = {
      {"PATH", "/usr/bin:/bin"}, {"LC_ALL", "C.UTF-8"}, {"UBSAN_OPTIONS", "print_stacktrace=1"}};
  for (const auto& [name, value] : start.environment) environment[name] = value;
  const pid_t child = ::fork();
  if (child != 0) return child;

  sendOutputTo(output);
  ::clearenv();
  for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
  Texts arguments = split(line);
  const std::string& program = start.program.empty() ? arguments[0] : start.program;
  bool ready = ::chdir(root_.c_str()) == 0;
  if (start.asNobody) ready = ready && ::setuid(nobody) == 0;
  if (start.inChild) start.inChild();
  if (ready) ::execvp(program.c_str(), pointersTo(arguments).data());
  std::perror(program.c_str());
  ::_exit(126);
}

Outcome Sandbox::run(const std::string& line, const Start& start) const {
  const std::string output = root_.string() + ".out";
  Outcome outcome = {waitFor(this->start(line, start, output)), read(output)};
  fs::remove(output);
  return outcome;
}

Outcome inChild(const std::function<void()>& action) {
  const Sandbox sandbox;
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    sendOutputTo(sandbox.path("out"));
    action();
    std::exit(0);
  }
  return {waitFor(child), sandbox.read("out")};
}

int waitFor(pid_t child) {
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
