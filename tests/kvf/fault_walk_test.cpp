#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "kvf/ZipFile.h"
#include "support/Sandbox.h"

// Every system call and allocation of kvf in turn fails, or is where a signal ends kvf: what the
// user has is then what it was, or whole and new, and what kvf has started has ended. Allocations
// with the same call stack count as one. VELOX_WALK=1 walks through all, VELOX_WALK=2/5 through the
// second fifth of them; else it is a few of each.

namespace fs = std::filesystem;

namespace {

/// A walk, or one of several pieces of it.
struct WalkPiece {
  long number, count;
};
std::optional<WalkPiece> askedPiece() {
  const char* text = std::getenv("VELOX_WALK");
  if (text == nullptr) return std::nullopt;
  WalkPiece piece = {1, 1};
  char slash = 0;
  std::istringstream(text) >> piece.number >> slash >> piece.count;
  return piece;
}
// Tests find an environment of their own.
const std::optional<WalkPiece> asked = askedPiece();

struct Fault {
  const char* name;
  int error;   ///< of the call, which is not made; 0: it is made
  int signal;  ///< comes before the call; 0: none
  enum class Memory { isThere, failsOnce, isGone } memory = Memory::isThere;  ///< not calls
  int call = -1;        ///< only calls of this number count; -1: all
  bool goesOn = false;  ///< the later ones fail, too
};
constexpr Fault faults[] = {{"EIO", EIO, 0},
                            {"ENOSPC", ENOSPC, 0},
                            {"SIGTERM", 0, SIGTERM},
                            {"SIGKILL", 0, SIGKILL},
                            {"allocation", 0, 0, Fault::Memory::failsOnce},
                            {"allocations", 0, 0, Fault::Memory::isGone}};

struct Walk {
  const char* name;
  Texts arguments;
};
const Walk walks[] = {
    {"check", {"check", "--json", "app.kvf"}},
    {"explain", {"explain", "app.kvf"}},
    {"fix", {"check", "--fix", "app.kvf"}},
    {"new", {"new", "made/here", "--jar", "probe.jar", "--main", "probe.Probe", "--jre", "jvm"}},
    {"force",
     {"new", "old", "--jar", "old/lib/probe.jar", "--main", "probe.Probe", "--jre", "old/runtime",
      "--name", "app", "--force"}},
    {"cds", {"cds", "--kind=static", "--pairs=1", "--write", "app.kvf", "--", "./run"}},
    {"refresh", {"cds", "--refresh", "used.kvf"}},
    {"import",
     {"import", "--write", "typed.kvf", "--secrets", "typed.secrets.kvf", "--", "API_TOKEN=a",
      "jvm/bin/java", "-Dp.password=b", "-jar", "main.jar", "--token", "c"}},
    {"importUnit", {"import", "--write", "unit.kvf", "--unit", "acme.service"}},
    {"jvm", {"jvm", "--line=99", "--write", "jvm.kvf"}},
    {"jvmAgain", {"jvm", "--line=99", "--write", "line.kvf"}},
    {"trace",
     {"trace", "--pairs=0", "--until=ready", "--html=page.html", "--json=events.json",
      "--wrapper=./traced", "app.kvf"}},
};

void PrintTo(const Walk& walk, std::ostream* out) {
  *out << walk.name;
}

/// With room for one descriptor.
struct DescriptorMessage {
  DescriptorMessage() {
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
  }
  ~DescriptorMessage() = default;
  DescriptorMessage(const DescriptorMessage&) = delete;
  DescriptorMessage& operator=(const DescriptorMessage&) = delete;

  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  char byte = 0;
  iovec data = {&byte, 1};
  msghdr message = {};
};

/// Passes a descriptor through a socket.
void sendDescriptor(int socket, int descriptor) {
  DescriptorMessage parcel;
  cmsghdr* header = CMSG_FIRSTHDR(&parcel.message);
  if (header == nullptr) std::abort();
  *header = {CMSG_LEN(sizeof descriptor), SOL_SOCKET, SCM_RIGHTS};
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  if (::sendmsg(socket, &parcel.message, 0) != 1) std::abort();
}

int receivedDescriptor(int socket) {
  DescriptorMessage parcel;
  int descriptor = -1;
  if (::recvmsg(socket, &parcel.message, MSG_CMSG_CLOEXEC) != 1) return descriptor;
  const cmsghdr* header = CMSG_FIRSTHDR(&parcel.message);
  if (header != nullptr) std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
  return descriptor;
}

/// From here on the system asks about every system call of this process and those that it starts.
int askAboutCalls() {
  sock_filter code[] = {
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
      // It tells whom to ask.
      {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, SYS_sendmsg},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_USER_NOTIF},
  };
  const sock_fprog program = {static_cast<unsigned short>(std::size(code)), code};
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  return static_cast<int>(
      ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

/// Answers for kvf's calls, its guardian's too, once the dynamic loader has done its work.
class Injector {
 public:
  Injector(const Fault& fault, long at) : fault_(fault), at_(at) {}

  void serve(int listener) {
    for (;;) {
      pollfd poll = {listener, POLLIN, 0};
      ::poll(&poll, 1, -1);
      if ((poll.revents & POLLIN) == 0) break;
      seccomp_notif call = {};
      // It may have ended meanwhile.
      if (::ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &call) != 0) continue;
      seccomp_notif_resp answer = {call.id, 0, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE};
      if (isOfKvf(call) && (++count_ == at_ || (fault_.goesOn && count_ > at_))) {
        number_ = call.data.nr;
        if (fault_.signal != 0) ::kill(static_cast<pid_t>(call.pid), fault_.signal);
        if (fault_.error != 0) answer = {call.id, 0, -fault_.error, 0};
      }
      ::ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &answer);
    }
    ::close(listener);
  }

  [[nodiscard]] long count() const { return count_; }
  /// Without those of the guardian.
  [[nodiscard]] long ownCount() const { return ownCount_; }
  [[nodiscard]] int number() const { return number_; }

 private:
  /// The others have no error, or none that a program could meet.
  static bool canFail(int number) {
    return number != SYS_exit_group && number != SYS_brk && number != SYS_futex &&
           number != SYS_rt_sigprocmask && number != SYS_rt_sigaction && number != SYS_umask &&
           number != SYS_getpid && number != SYS_getppid && number != SYS_gettid &&
           number != SYS_getuid && number != SYS_geteuid && number != SYS_getgid &&
           number != SYS_getegid;
  }

  bool isOfKvf(const seccomp_notif& call) {
    const auto process = static_cast<pid_t>(call.pid);
    if (first_ == 0) first_ = process;
    if (!runsKvf(process, call.data.nr) || !canFail(call.data.nr)) return false;
    // Of a signal to the guardian this process would not know.
    if (process != first_ && fault_.signal != 0) return false;
    // The loader ends with this call.
    if (!loaded_) loaded_ = call.data.nr == SYS_munmap;
    if (!loaded_ || (fault_.call >= 0 && call.data.nr != fault_.call)) return false;
    if (process == first_) ++ownCount_;
    return true;
  }

  bool runsKvf(pid_t process, int number) {
    auto known = programs_.find(process);
    if (known == programs_.end()) {
      std::error_code error;
      const fs::path program = fs::read_symlink("/proc/" + std::to_string(process) + "/exe", error);
      known = programs_.emplace(process, program == VELOX_KVF).first;
    }
    const bool runs = known->second;
    if (number == SYS_execve || number == SYS_execveat) programs_.erase(known);
    return runs;
  }

  const Fault& fault_;
  long at_;
  long count_ = 0;
  long ownCount_ = 0;
  int number_ = -1;
  pid_t first_ = 0;
  bool loaded_ = false;
  std::map<pid_t, bool> programs_;  ///< whether it is kvf
};

/// Waits for the end of what runs in the sandbox; false: it goes on.
bool nothingRunsIn(const Sandbox& sandbox) {
  const auto isThere = [&](const fs::directory_entry& process) {
    std::error_code error;
    return fs::read_symlink(process.path() / "cwd", error).native().starts_with(sandbox.path());
  };
  for (int looks = 0; looks < 200; ++looks) {
    const fs::directory_iterator processes("/proc");
    if (std::none_of(begin(processes), end(processes), isThere)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

class FaultWalk : public testing::TestWithParam<Walk> {
 protected:
  /// Every file below the sandbox with its owner, mode and content.
  using Tree = std::map<std::string, std::string>;

  void SetUp() override {
    seccomp_notif_sizes sizes = {};
    if (::syscall(SYS_seccomp, SECCOMP_GET_NOTIF_SIZES, 0, &sizes) != 0)
      GTEST_SKIP() << "no program can answer for system calls here";
  }

  void fill(const Sandbox& box) const {
    auto& sandbox = const_cast<Sandbox&>(box);
    for (const std::string jvm : {"jvm", "old/runtime"}) {
      fs::create_directories(sandbox.path(jvm + "/lib/server"));
      fs::copy_file(VELOX_NATIVE_DIRECTORY "/libarchiving_jvm.so",
                    sandbox.path(jvm + "/lib/server/libjvm.so"));
      sandbox.write(jvm + "/bin/java", "#!/bin/sh\n", true);
      sandbox.write(jvm + "/release", "JAVA_VERSION=\"17.0.1\"\n");
      fs::create_symlink("release", sandbox.path(jvm + "/link"));
    }
    // No other JVM is of this release.
    fs::copy(sandbox.path("jvm"), sandbox.path("jvm99"),
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    sandbox.write("jvm99/release", "JAVA_VERSION=\"99\"\n");
    sandbox.write("line.kvf", "# Ours.\njava.library=/former\n");
    sandbox.write("acme.service", "[Service]\nEnvironmentFile=" + sandbox.path("acme.env") +
                                      "\nWorkingDirectory=" + sandbox.path() +
                                      "\nExecStart=" + sandbox.path("jvm/bin/java") +
                                      " -cp probe.jar probe.Probe\n");
    sandbox.write("acme.service.d/more.conf", "[Service]\nEnvironment=MORE=b\n");
    sandbox.write("acme.env", "ACME=a\n");
    sandbox.write("tmp/file", "");
    fs::copy_file(VELOX_PROBE_JAR, sandbox.path("probe.jar"));
    fs::create_directories(sandbox.path("old/lib"));
    fs::copy_file(VELOX_PROBE_JAR, sandbox.path("old/lib/probe.jar"));
    fs::copy_file(mainJar_, sandbox.path("main.jar"));
    // A manifest has its time.
    fs::last_write_time(sandbox.path("probe.jar"), fs::file_time_type(std::chrono::hours(1)));
    sandbox.write("old/app.kvf", "edited");
    sandbox.write("old/bin/wrapper", "former");
    sandbox.write("app.kvf",
                  "java.library=%kvf.file.dir%/jvm/lib/server/libjvm.so\n"
                  "java.start.class=probe.Probe\njava.class.path=probe.jar\n"
                  "java.property.a=b \n");
    sandbox.write("used.kvf", sandbox.read("app.kvf") +
                                  "java.extended.properties=-XX:SharedArchiveFile=used.jsa\n");
    sandbox.write("used.jsa", "\xA2\xAB\x0B\xF0 former");
    sandbox.write("used.jsa.classes", "probe/Probe\n");
    sandbox.write(
        "used.jsa.manifest",
        R"({"schema": 1, "kind": "static", "bytes": 1, "java": {"version": "17.0.1", )"
        R"("buildId": ""}, "options": [], "classPath": [], "referenced": [], "classList": )"
        R"("used.jsa.classes", "command": [], "until": ""})");
    sandbox.write(
        "run",
        "#!/bin/sh\ncase $_JAVA_OPTIONS in *DumpLoadedClassList=*)\n"
        "p=${_JAVA_OPTIONS#*DumpLoadedClassList=}\necho probe/Probe >\"${p%% *}\";; esac\n",
        true);
    sandbox.write("events.json", "{\n  \"otherData\": {\n    \"program\": \"kvf trace\"");
    sandbox.write(
        "traced",
        "#!/bin/sh\ncase $_JAVA_OPTIONS in *%p.log*)\nlog=${_JAVA_OPTIONS##*:file=?}\n"
        "echo '[5000ns][2000ns][7][info][startuptime] Genesis, 0.004 secs' >\"${log%%%*}$$.log\""
        ";; esac\necho ready\n/bin/sleep 3\n",
        true);
  }

  /// What is not named without a look at bin/java or the release file.
  inline static const std::string ofJvm[] = {"java.path=%kvf.file.dir%/runtime/bin/java\n",
                                             "java.path=/jvm/bin/java\n", ", which is Java 17.0.1",
                                             "17.0.1"};

  inline static const std::string failingMalloc = VELOX_NATIVE_DIRECTORY "/libfailing_malloc.so";

  static void erase(const std::string& part, std::string& text) {
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos;)
      text.erase(at, part.size());
  }

  /// A trace is another one each time.
  static std::string contentOf(const std::string& name, std::string text) {
    if (name == "page.html" && text.ends_with("</html>\n")) return "a whole page";
    if (name == "events.json" && text.ends_with("}\n")) return "whole events";
    return text;
  }

  static Tree treeOf(const Sandbox& sandbox) {
    Tree tree;
    for (const auto& entry : fs::recursive_directory_iterator(sandbox.path())) {
      struct stat status = {};
      ::lstat(entry.path().c_str(), &status);
      const std::string name = entry.path().lexically_relative(sandbox.path());
      std::string& text = tree[name];
      text = std::to_string(status.st_uid) + " " + std::to_string(status.st_mode) + " ";
      if (entry.is_symlink())
        text += fs::read_symlink(entry.path());
      else if (entry.is_regular_file())
        text += contentOf(name, sandbox.read(name));
      // The unit holds the path.
      erase(sandbox.path(), text);
      for (const std::string& part : ofJvm) erase(part, text);
      // With it allocations fail.
      erase("\n# The environment.\nvelox.env.LD_PRELOAD=" + failingMalloc + "\n", text);
    }
    return tree;
  }

  struct Result {
    Outcome outcome;
    Tree tree;
    long count = 0;
    long ownCount = 0;
    int number = -1;
    bool goesOn = false;  ///< what it has started
    std::vector<long> places = {};
  };

  /// The first allocation with each call stack.
  [[nodiscard]] std::vector<long> allocations() const {
    // So many of them that none fails.
    const Result all =
        run({"allocation", 0, 0, Fault::Memory::failsOnce}, std::numeric_limits<long>::max());
    std::vector<long> first;
    std::set<long> known;
    for (std::size_t i = 0; i < all.places.size(); ++i)
      if (known.insert(all.places[i]).second) first.push_back(static_cast<long>(i) + 1);
    return first;
  }

  [[nodiscard]] Result run(const Fault& fault, long at) const {
    const Sandbox sandbox;
    fill(sandbox);
    Texts arguments = GetParam().arguments;
    arguments.insert(arguments.begin(), VELOX_KVF);
    // The machine's JVMs would only take time.
    Start start = {.environment = {{"TMPDIR", sandbox.path("tmp")},
                                   {"JAVA_HOME", sandbox.path("jvm99")},
                                   {"PATH", sandbox.path("jvm/bin")}}};
    Result result = fault.memory == Fault::Memory::isThere
                        ? runWithCalls(sandbox, arguments, start, {fault, at})
                        : runWithMemory(sandbox, arguments, start, fault, at);
    result.goesOn = !nothingRunsIn(sandbox);
    result.tree = treeOf(sandbox);
    return result;
  }

  static Result runWithCalls(const Sandbox& sandbox, const Texts& arguments, Start& start,
                             Injector injector) {
    int sockets[2] = {};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
    start.inChild = [&] { sendDescriptor(sockets[1], askAboutCalls()); };
    Child child = sandbox.start(arguments, start);
    std::thread server([&] { injector.serve(receivedDescriptor(sockets[0])); });
    ::close(sockets[1]);
    Result result;
    result.outcome = child.wait();
    server.join();
    ::close(sockets[0]);
    result.count = injector.count();
    result.ownCount = injector.ownCount();
    result.number = injector.number();
    return result;
  }

  static Result runWithMemory(const Sandbox& sandbox, const Texts& arguments, Start& start,
                              const Fault& fault, long at) {
    const fs::path counter = fs::path(sandbox.path()).parent_path() / "count";
    std::ofstream(counter) << std::string(sizeof(long), '\0');
    constexpr std::size_t maxAllocations = 1 << 20;
    std::vector<long> numbers(at == std::numeric_limits<long>::max() ? maxAllocations : 1);
    fs::resize_file(counter, numbers.size() * sizeof(long));
    start.environment["LD_PRELOAD"] = failingMalloc;
    start.environment["FAIL_IN"] = "kvf";
    start.environment["FAIL_COUNT"] = counter;
    start.environment["FAIL_AT"] = std::to_string(at);
    if (fault.memory == Fault::Memory::isGone) start.environment["FAIL_ON"] = "1";
    Result result;
    result.outcome = sandbox.run(arguments, start);
    std::ifstream(counter).read(reinterpret_cast<char*>(numbers.data()),
                                static_cast<std::streamsize>(numbers.size() * sizeof(long)));
    result.count = numbers[0];
    if (numbers.size() > 1) result.places.assign(&numbers[1], &numbers[1] + result.count);
    return result;
  }

  /// What a killed process may leave.
  static bool isTemporary(const std::string& name) {
    return name.starts_with("tmp/kvf-") || name.find(".kvf-") != std::string::npos ||
           name.find(".kvf.") != std::string::npos || name == "made";
  }

  static std::size_t firstDifference(const std::string& left, const std::string& right) {
    const auto [at, other] = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    return static_cast<std::size_t>(at - left.begin());
  }

  void expectNothingLost(const Result& result, const Fault& fault) const {
    EXPECT_FALSE(result.goesOn);
    for (const auto& [name, text] : result.tree) {
      const auto old = before_.find(name);
      const auto fresh = after_.find(name);
      const bool isOld = old != before_.end() && old->second == text;
      const bool isNew = fresh != after_.end() && fresh->second == text;
      EXPECT_TRUE(isOld || isNew || (fault.signal == SIGKILL && isTemporary(name)))
          << name << ": "
          << text.substr(fresh == after_.end() ? 0 : firstDifference(text, fresh->second));
    }
    for (const auto& [name, text] : before_) EXPECT_TRUE(result.tree.contains(name)) << name;
    EXPECT_TRUE(result.outcome.status != 0 || result.tree == after_) << "only half is done";
  }

  Tree before_, after_;

 private:
  Sandbox inputs_;
  // Entries have their times.
  const std::string mainJar_ =
      writeArchive(inputs_, "main.jar",
                   {{"META-INF/MANIFEST.MF",
                     "Manifest-Version: 1.0\nMain-Class: a.B\nAdd-Opens: java.base/java.lang\n"}});
};

TEST_P(FaultWalk, LeavesTheOldStateOrTheNewOne) {
  constexpr Fault none = {"none", 0, 0};
  {
    const Sandbox sandbox;
    fill(sandbox);
    before_ = treeOf(sandbox);
  }
  const Result whole = run(none, 0);
  ASSERT_LT(whole.outcome.status, 2) << whole.outcome.out;
  ASSERT_GT(whole.count, 10);
  after_ = whole.tree;
  const bool onlyReads =
      std::string_view("check explain").find(GetParam().name) != std::string_view::npos;
  EXPECT_EQ(after_ == before_, onlyReads) << whole.outcome.out;
  const std::vector<long> allocations = this->allocations();
  long runs = 0;
  for (const Fault& fault : faults) {
    const bool ofMemory = fault.memory != Fault::Memory::isThere;
    const long count = ofMemory            ? static_cast<long>(allocations.size())
                       : fault.signal != 0 ? whole.ownCount
                                           : whole.count;
    const long step = asked ? asked->count : std::max(1L, count / 10);
    const long first = asked ? asked->number - 1 : runs % step;
    for (long i = first; i < count; i += step, ++runs) {
      const long at = ofMemory ? allocations[static_cast<std::size_t>(i)] : i + 1;
      const Result result = run(fault, at);
      SCOPED_TRACE(std::string(fault.name) + " at " + std::to_string(at) + ", system call " +
                   std::to_string(result.number) + ": " + testing::PrintToString(result.outcome));
      expectNothingLost(result, fault);
      const int status = result.outcome.status;
      if (fault.signal == 0) {
        EXPECT_LT(status, 3);
        EXPECT_TRUE(status < 2 || !result.outcome.out.empty());
      } else {
        EXPECT_TRUE(status == whole.outcome.status || status == 128 + fault.signal);
      }
    }
  }
  std::cout << GetParam().name << ": " << whole.count << " system calls, allocations at "
            << allocations.size() << " places, " << runs << " faults\n";
}

using ReplacedFolder = FaultWalk;

TEST_P(ReplacedFolder, IsAsItWasAfterASignalBetweenTwoReplacements) {
  constexpr auto isThere = Fault::Memory::isThere;
  {
    const Sandbox sandbox;
    fill(sandbox);
    before_ = treeOf(sandbox);
  }
  const long count = run({"none", 0, 0, isThere, SYS_renameat2}, 0).count;
  ASSERT_GT(count, 3);
  for (long at = 1; at < count; ++at) {
    const Result result = run({"SIGTERM", 0, SIGTERM, isThere, SYS_renameat2}, at);
    EXPECT_EQ(result.outcome.status, 128 + SIGTERM) << at << result.outcome.out;
    EXPECT_TRUE(result.tree == before_) << at;
  }
}

TEST_P(ReplacedFolder, IsNamedWhereItCannotBePutBack) {
  {
    const Sandbox sandbox;
    fill(sandbox);
    before_ = treeOf(sandbox);
  }
  const Result result = run({"EIO", EIO, 0, Fault::Memory::isThere, SYS_renameat2, true}, 2);
  EXPECT_EQ(result.outcome.status, 2);
  EXPECT_TRUE(result.outcome.has(": Input/output error; what was there is in "));
  const std::size_t at = result.outcome.out.find("/.kvf-");
  ASSERT_NE(at, std::string::npos);
  EXPECT_TRUE(result.tree.contains("old" + result.outcome.out.substr(at, strlen("/.kvf-XXXXXX"))));
  for (const auto& [name, text] : before_) {
    const auto isIt = [&old = text](const auto& entry) { return entry.second == old; };
    EXPECT_TRUE(std::any_of(result.tree.begin(), result.tree.end(), isIt)) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(, ReplacedFolder, testing::Values(walks[4]),
                         [](const auto& walk) { return walk.param.name; });

INSTANTIATE_TEST_SUITE_P(, FaultWalk, testing::ValuesIn(walks),
                         [](const auto& walk) { return walk.param.name; });

}  // namespace
