#include <csignal>

#include <unistd.h>

#include "e2e/WrapperTest.h"

namespace fs = std::filesystem;

namespace {

class Kill : public WrapperTest {
 protected:
  /// Runs the kill command on a process-ID file with this content.
  Outcome kill(const std::string& content, const std::string& type, const Start& start = {}) {
    kvf("processID.file.name=" + sandbox_.write("pid", content) + "\n");
    return plain(wrapper({"--kill", type}, start));
  }
  static std::string endedProcess() {
    Child child([] {});
    std::string id = std::to_string(child.id());
    child.wait();
    return id;
  }
};

TEST_F(Kill, EndsARunningInstance) {
  for (const auto& [type, signal] : {std::pair("ABORT", SIGKILL), std::pair("Normal", SIGINT)}) {
    kvf("application.library=" + library(3) + "\nprocessID.file.name=pid\n");
    Child instance = startWrapper({"x"}, {.environment = {{"STATUS", "wait"}}});
    ASSERT_TRUE(instance.prints("arg[x]\n"));
    EXPECT_EQ(kill(sandbox_.read("pid"), type), Outcome());
    EXPECT_EQ(instance.wait().status, 128 + signal);
    EXPECT_FALSE(fs::exists(sandbox_.path("pid")));
  }
}

TEST_F(Kill, ReportsWhatIsWrongWithTheProcessIdFile) {
  const std::string gone = endedProcess();
  const std::string file = "Process cannot be killed because its process ID file \"DIR/pid\"";
  struct Row {
    std::string content, type;
    Outcome outcome;
  };
  const Row rows[] = {
      {"", "Abort", {1, file + " is empty\n"}},
      {"12\n", "Abort", {1, file + " contains an invalid process ID \"12\n\".\n"}},
      {"12a", "term", {1, file + " contains an invalid process ID \"12a\".\n"}},
      {gone, "Abort", {0, file + "  contains a nonexistent process ID \"" + gone + "\".\n"}},
      {"99999999999", "normal", {0, file + "  contains a nonexistent process ID \"999999999\".\n"}},
      {gone,
       "term",
       {1, "Invalid kill type \"term\".  Valid types are \"abort\" and \"normal\". \n"}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(kill(row.content, row.type), row.outcome) << row.content << row.type;
    EXPECT_TRUE(fs::exists(sandbox_.path("pid"))) << row.content << row.type;
  }
}

TEST_F(Kill, ReportsThatTheProcessIsAnotherUsers) {
  if (::geteuid() != 0 && ::kill(1, 0) == 0) GTEST_SKIP() << "every process is this user's";
  EXPECT_EQ(kill("1", "Normal", {.asNobody = true}),
            (Outcome{0,
                     "Process cannot be killed because its process ID file \"DIR/pid\" contains a "
                     "process ID \"1\" that is owned by a different user.\n"}));
}

TEST_F(Kill, ReportsThatTheProcessIdFileCannotBeRemoved) {
  Child instance = sandbox_.start({"sh", "-c", "echo up; exec sleep 60"}, {.asNobody = true});
  ASSERT_TRUE(instance.prints("up"));
  sandbox_.write("locked/pid", std::to_string(instance.id()));
  fs::permissions(sandbox_.path("locked"), static_cast<fs::perms>(0555));
  kvf("processID.file.name=locked/pid\n");
  EXPECT_EQ(wrapper({"--kill", "Normal"}, {.asNobody = true}),
            (Outcome{0, "Can not delete file, it may be lock by other process."}));
  EXPECT_EQ(instance.wait().status, 128 + SIGINT);
  fs::permissions(sandbox_.path("locked"), static_cast<fs::perms>(0755));
}

TEST_F(Kill, NeedsAProcessIdFile) {
  kvf("");
  EXPECT_EQ(wrapper({"--kill", "Abort"}),
            (Outcome{1,
                     "Process cannot be killed because its KVF file does not define a "
                     "\"processID.file.name\" property.\n"}));
  kvf("processID.file.name=none\n");
  EXPECT_EQ(wrapper({"--kill", "Abort"}),
            (Outcome{1,
                     "Process cannot be killed because its process ID file \" none \" cannot be "
                     "read or contains invalid data\n"}));
  kvf("processID.file.name=.\n");
  EXPECT_EQ(wrapper({"--kill", "Abort"}),
            (Outcome{1, "Process cannot be killed because its process ID file \".\" is empty\n"}));
}

TEST_F(Kill, WithoutATypeDoesNothing) {
  kvf("wrapper.command=--kill\nprocessID.file.name=" + sandbox_.write("pid", endedProcess()) +
      "\n");
  EXPECT_EQ(wrapper({}), Outcome());
}

}  // namespace
