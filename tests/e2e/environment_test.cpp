#include <functional>

#include <sys/stat.h>
#include <unistd.h>

#include "e2e/WrapperTest.h"

namespace fs = std::filesystem;

namespace {

class ReExecution : public WrapperTest {};

TEST_F(ReExecution, HappensHoweverTheProgramWasStarted) {
  kvf(fakeJava() + "velox.env.PROBE=1\nprocessID.file.name=" + sandbox_.path("pid") + "\n");
  const std::string bin = sandbox_.path("bin");
  fs::create_directory(bin);
  fs::copy_file(VELOX_WRAPPER, bin + "/svc");
  fs::create_symlink("bin/svc", sandbox_.path("link"));
  const auto leaveNoDirectory = [] {
    ::mkdir("gone", 0777);
    if (::chdir("gone") == 0) ::rmdir("../gone");
  };
  struct Row {
    std::string program;
    std::function<void()> inChild;
  };
  const Row rows[] = {{"svc", {}},    {"svc", leaveNoDirectory}, {"./bin/svc", {}},
                      {"./link", {}}, {bin + "/svc", {}},        {bin + "/svc", leaveNoDirectory}};
  for (const Row& row : rows) {
    const Start start = {.environment = {{"PATH", bin + ":/usr/bin:/bin"}}, .inChild = row.inChild};
    const Outcome outcome =
        sandbox_.run({row.program, "--propFile", sandbox_.path("app.kvf"), "--cmdlineJava"}, start);
    const std::string shown =
        "-Djava.class.path=.\n-Dapplication.processid=" + sandbox_.read("pid") +
        "\n-Dwrapper.kvf.file=" + sandbox_.path("app.kvf") + "\nMain\nenv[1]\n";
    EXPECT_EQ(outcome.status, 0) << row.program;
    EXPECT_TRUE(outcome.has(shown)) << row.program;
  }
}

TEST_F(ReExecution, DoesNotHappenInAnInnerProcess) {
  kvf(fakeJava() + "velox.env.PROBE=1\n");
  EXPECT_TRUE(wrapper({"--innerProcess", "--cmdlineJava"}).has("env[]\n"));
}

TEST_F(ReExecution, ThatCannotHappenIsFatal) {
  kvf(fakeJava() + "velox.env.PROBE=1\n");
  sandbox_.write("plain", "");
  const Start start = {.program = VELOX_WRAPPER};
  EXPECT_EQ(sandbox_.run({"/gone/svc", "--propFile", "app.kvf", "--cmdlineJava"}, start),
            (Outcome{255, "Failed to exec process : No such file or directory : /gone/svc\n"}));
  EXPECT_EQ(sandbox_.run({"./plain", "--propFile", "app.kvf", "--cmdlineJava"}, start),
            (Outcome{255, "Failed to exec process : Permission denied : ./plain\n"}));
}

TEST_F(ReExecution, HasALimitOfArguments) {
  kvf(fakeJava() + "velox.env.PROBE=1\n");
  Texts arguments(1018, "x");
  arguments.push_back("--cmdlineJava");
  EXPECT_EQ(wrapper(arguments).status, 0);
  arguments.push_back("x");
  EXPECT_EQ(plain(wrapper(arguments)),
            (Outcome{255,
                     "Failed to exec process : 1023 arguments with the program name and the "
                     "launcher's own switches, at most 1022 are possible : WRAPPER\n"}));
}

TEST_F(ReExecution, LeavesNoDescriptorOpenInOtherPrograms) {
  const std::string list = sandbox_.write("list", "#!/bin/sh\necho $(ls /proc/self/fd) .\n", true);
  kvf("java.path=" + list + "\njava.start.class=M\nvelox.env.A=1\nprocessID.file.name=pid\n");
  const Outcome outcome = wrapper({"--debug", "--cmdlineJava"});
  EXPECT_TRUE(outcome.has("\n" + sandbox_.run({list}).out));
}

}  // namespace
