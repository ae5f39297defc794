#include "e2e/WrapperTest.h"

namespace {

class NativeApplication : public WrapperTest {};

TEST_F(NativeApplication, IsMadeOfLibrariesThatSupplyTheEntryPointsTogether) {
  const std::string lost = "Failed to load shared library, library name : ";
  const std::string entry = "Failed to load shared lib procedure entry point \"";
  const std::string called = "registered\narg[x]\n";
  const std::string all = library(3);
  struct Row {
    std::string libraries;
    Outcome outcome;
  };
  const Row rows[] = {
      {all, {5, called + "3 closed early\n"}},
      {all + ":/never/opened.so", {5, called + "3 closed early\n"}},
      {library(0) + ":" + library(1) + ":" + library(2),
       {5, called + "1 closed early\n2 closed early\n0 closed at the end\n"}},
      {library(1), {255, entry + "pAppStop\"\n1 closed early\n"}},
      {library(2), {255, entry + "AppMain\"\n2 closed early\n"}},
      {all + ".none:x", {255, "Lib name " + all + ".none:x\n" + lost + all + ".none\n"}},
      // An empty element names the program itself, which supplies nothing.
      {library(1) + "::" + library(2), {5, called + "1 closed early\n2 closed early\n"}},
      {"./app.kvf", {255, "Lib name ./app.kvf\n" + lost + "./app.kvf\n"}},
  };
  for (const Row& row : rows) {
    kvf("application.library=" + row.libraries + "\nvelox.env.A=1\nprocessID.file.name=pid\n");
    const Start start = {.environment = {{"STATUS", "5"}, {"PID_FILE", sandbox_.path("pid")}}};
    EXPECT_EQ(wrapper({"x"}, start), row.outcome) << row.libraries;
    EXPECT_EQ(std::filesystem::exists(sandbox_.path("pid")), row.outcome.status == 255)
        << row.libraries;
  }
}

}  // namespace
