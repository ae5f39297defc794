#include "e2e/WrapperTest.h"

namespace {

class Adjuster : public WrapperTest {};

TEST_F(Adjuster, DecidesWithItsStatusWhichFileIsUsed) {
  // A native application in the place of the adjuster: it gets the adjuster's arguments.
  kvf("application.library=" + library(3) +
      "\nvelox.adjuster.class.path=x\napplication.args=original\n");
  const std::string asked = "registered\narg[-wrapper]\narg[-file]\narg[DIR/app.kvf]\n";
  const std::string closed = "3 closed at the end\n";
  const std::string original = "registered\narg[original]\n" + closed;
  const std::string missing = "Failed to open properties file : app.kvf.adj\n";
  struct Row {
    std::string status;
    Outcome outcome;
  };
  const Row rows[] = {
      {"0", {255, asked + closed + missing}},
      {"crash", {255, asked + missing}},
      {"65", {65, asked + closed + original}},
      {"3", {255, asked + closed + "Adjustment failed.\n"}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(plain(wrapper({}, {.environment = {{"STATUS", row.status}}})), row.outcome)
        << row.status;
  }
  sandbox_.write("app.kvf.adj",
                 "application.library=" + library(3) + "\napplication.args=adjusted\n");
  EXPECT_EQ(plain(wrapper({})),
            (Outcome{0, asked + closed + "registered\narg[adjusted]\n" + closed}));
}

TEST_F(Adjuster, ThatOnlyWindowsWouldRunCountsAsSuccessful) {
  kvf("application.library=" + library(3) + "\nvelox.adjuster.class.path=x\n");
  EXPECT_EQ(wrapper({"--install"}),
            (Outcome{255,
                     "registered\n    --install is only for windows\n3 closed at the end\n"
                     "Failed to open properties file : app.kvf.adj\n"}));
}

TEST_F(Adjuster, LeavesTheProcessIdToTheLaunch) {
  kvf(probe() +
      "velox.env.PROBE=1\nprocessID.file.name=pid\njava.property.probe.value=colour=grey\n"
      "velox.adjuster.class.path=" VELOX_ADJUSTER_JAR "\n");
  const Outcome outcome = java({"--run"});
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_TRUE(outcome.has("property[colour=green]\nenv[1]\n"));
  EXPECT_TRUE(outcome.has("pid[" + sandbox_.read("pid") + "]\n"));
}

}  // namespace
