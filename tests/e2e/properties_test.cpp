#include "e2e/WrapperTest.h"

namespace fs = std::filesystem;

namespace {

class PropertiesOfALaunch : public WrapperTest {
 protected:
  static constexpr char announced[] = "    --stop is only for windows\n";
};

TEST_F(PropertiesOfALaunch, GoByTheProgramsName) {
  sandbox_.write("svc.kvf", "velox.class.path.extended.search.level=0\n");
  EXPECT_EQ(sandbox_.run({"svc", "--version"}, {.program = VELOX_WRAPPER}),
            (Outcome{255, "extend class path search level not validate\n"}));
}

TEST_F(PropertiesOfALaunch, AreFilledFromTheGlobalFile) {
  kvf("");
  sandbox_.write("global.kvf", "wrapper.command=--stop\n");
  EXPECT_EQ(wrapper({}), (Outcome{0, announced}));
}

TEST_F(PropertiesOfALaunch, UseVariablesOfTheCommandLine) {
  kvf("wrapper.command=%COMMAND%\n");
  EXPECT_EQ(wrapper({"--propVar", "COMMAND=--stop"}), (Outcome{0, announced}));
}

TEST_F(PropertiesOfALaunch, ThatAreBadAreReportedAndNothingCrashes) {
  const std::string none =
      "No application.library or java.library specified in config - bad properties file?\n";
  const std::string failed = "\nAdjustment failed.\n";
  sandbox_.write("empty.kvf", "");
  sandbox_.write("binary.kvf", {"\177ELF\0\377\376=\n%\\", 11});
  fs::permissions(sandbox_.write("secret.kvf", "a=1\n"), fs::perms::none);
  sandbox_.write("unclosed.kvf", "a=%b\napplication.library=%\n");
  sandbox_.write("loop.kvf", "velox.include.kvf=loop.kvf\n");
  struct Row {
    std::string file, out;
  };
  const Row rows[] = {
      {"empty.kvf", none},
      {"binary.kvf", none},
      {".", none},
      {"missing.kvf", "Failed to open properties file : missing.kvf" + failed},
      {"secret.kvf", "Failed to open properties file : secret.kvf" + failed},
      {"loop.kvf", "Include files nest too deeply at properties file : loop.kvf" + failed},
      {"unclosed.kvf", "Lib name %\nFailed to load shared library, library name : %\n"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(wrapper({"--propFile", row.file}, {.asNobody = true}), (Outcome{255, row.out}))
        << row.file;
  }
}

TEST_F(PropertiesOfALaunch, SetTheDirectoryIfItIsThere) {
  fs::create_directory(sandbox_.path("sub"));
  kvf(fakeJava() + "application.start.dir=sub\n");
  EXPECT_TRUE(wrapper({"--cmdlineJava"}).has("directory[" + sandbox_.path("sub") + "]\n"));
  kvf(fakeJava() + "application.start.dir=missing\n");
  const Outcome missing = wrapper({"--cmdlineJava"});
  EXPECT_EQ(missing.status, 0);
  EXPECT_TRUE(missing.has("directory[" + sandbox_.path() + "]\n"));
}

TEST_F(PropertiesOfALaunch, MayNameAProcessIdFileThatCannotBeWritten) {
  kvf("processID.file.name=none/pid\nwrapper.command=--stop\n");
  EXPECT_EQ(wrapper({}), (Outcome{0, std::string("file none/pid can not access") + announced}));
}

}  // namespace
