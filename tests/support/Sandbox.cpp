#include "support/Sandbox.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int nobody = 65534;
constexpr char lockFile[] = "/tmp/velox-tests.lock";

/// Puts a directory in the place of /tmp, for this process and its children; those that are kept
/// stay where they are. False when the system does not allow it.
bool replaceTmp(const fs::path& directory, std::initializer_list<fs::path> kept) {
  const std::string user = std::to_string(::geteuid());
  const std::string group = std::to_string(::getegid());
  const bool root = ::geteuid() == 0;
  if (::unshare(root ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0) return false;
  if (!root) {
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << user + " " + user + " 1";
    std::ofstream("/proc/self/gid_map") << group + " " + group + " 1";
  }
  std::map<fs::path, int> open;
  for (const fs::path& path : kept) {
    if (path.string().starts_with("/tmp/")) {
      open[path] = ::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
  }
  if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  if (::mount(directory.c_str(), "/tmp", nullptr, MS_BIND | MS_REC, nullptr) != 0) return false;
  for (const auto& [path, descriptor] : open) {
    fs::create_directories(path);
    const std::string source = "/proc/self/fd/" + std::to_string(descriptor);
    if (::mount(source.c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) ::abort();
  }
  return true;
}

/// Another user's lock file can only be opened, not created.
void lockTmp() {
  int lock = ::open(lockFile, O_RDONLY | O_CLOEXEC);
  if (lock < 0) lock = ::open(lockFile, O_RDONLY | O_CREAT | O_CLOEXEC, 0644);
  if (lock < 0 || ::flock(lock, LOCK_EX) != 0) {
    throw std::system_error(errno, std::generic_category(), lockFile);
  }
}

/// True when programs get a /tmp of their own; else this test program is the only one to use /tmp,
/// until it ends.
bool hasOwnTmp() {
  static const bool has = [] {
    const auto action = [] { std::exit(replaceTmp(fs::temp_directory_path(), {}) ? 0 : 1); };
    if (inChild(action).status == 0) return true;
    lockTmp();
    return false;
  }();
  return has;
}

[[noreturn]] void execute(Texts arguments, const Start& start) {
  ::clearenv();
  std::map<std::string, std::string> environment = {
      {"PATH", "/usr/bin:/bin"}, {"LC_ALL", "C.UTF-8"}, {"UBSAN_OPTIONS", "print_stacktrace=1"}};
  for (const auto& [name, value] : start.environment) environment[name] = value;
  for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
  if (start.asNobody && ::geteuid() == 0 && ::setuid(nobody) != 0) ::abort();
  // A change of the user has cleared it.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (start.inChild) start.inChild();
  const std::string& program = start.program.empty() ? arguments[0] : start.program;
  ::execvp(program.c_str(), pointersTo(arguments).data());
  std::perror(program.c_str());
  ::_exit(126);
}

}  // namespace

Sandbox::Sandbox() {
  std::string pattern = fs::temp_directory_path() / "velox-test-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) ::abort();
  base_ = pattern;
  root_ = base_ / "sandbox";
  temporary_ = hasOwnTmp() ? base_ / "tmp" : fs::path("/tmp");
  for (const fs::path& directory : {base_, root_, base_ / "tmp"}) {
    fs::create_directory(directory);
    fs::permissions(directory, fs::perms::all);
  }
}

Sandbox::~Sandbox() {
  std::error_code ignored;
  fs::remove_all(base_, ignored);
}

std::string Sandbox::path(const std::string& name) const {
  return name.empty() ? root_ : root_ / name;
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

void Sandbox::enter() const {
  if (hasOwnTmp() && !replaceTmp(temporary_, {base_, VELOX_BUILD_DIRECTORY})) ::abort();
  fs::current_path(root_);
}

bool Sandbox::canLog() const {
  return ::access(logFile().c_str(), F_OK) != 0 || ::access(logFile().c_str(), W_OK) == 0;
}

Child Sandbox::start(Texts arguments, const Start& start) const {
  return Child([&] {
    start.looksAtProcesses ? fs::current_path(root_) : enter();
    execute(std::move(arguments), start);
  });
}

Outcome Sandbox::run(const Texts& arguments, const Start& start) const {
  return this->start(arguments, start).wait();
}

Outcome Sandbox::call(const std::function<void()>& action) const {
  return inChild([&] {
    enter();
    action();
  });
}
