#include "config/PropertiesAdjustment.h"

#include <gtest/gtest.h>

#include "support/Child.h"
#include "support/Values.h"

namespace {

TEST(PropertiesAdjustment, BelongsToSomeCommandsOnly) {
  EXPECT_TRUE(isAdjustable({}));
  for (const char* command : {"--install", "--update", "--start", "--run", "--ntservice"}) {
    EXPECT_TRUE(isAdjustable(props({{"wrapper.command", command}}))) << command;
  }
  for (const char* command :
       {"--version", "--kill", "--generateScript", "--cmdlineJava", "--Run", "--help", "--stop",
        "--restart", "--startSync", "--cleanInstall", "--uninstall", "--query", ""}) {
    EXPECT_FALSE(isAdjustable(props({{"wrapper.command", command}}))) << command;
  }
}

TEST(PropertiesAdjustment, RunsTheAdjusterClassOnTheFile) {
  SimpleProperties properties = props({{"velox.adjuster.class.path", "adjuster.jar"},
                                       {"application.args", "x"},
                                       {"java.start.method", "other"}});
  configureAdjuster("/a b/app.kvf", properties);
  EXPECT_EQ(properties, (Entries{{"adjustInvoke", "true"},
                                 {"application.args", "-wrapper -file \"/a b/app.kvf\""},
                                 {"java.class.path", "adjuster.jar"},
                                 {"java.start.class", "com.velox.orbit.launch.adjuster.Adjuster"},
                                 {"java.start.method", "main"},
                                 {"java.stop.method", "shutdown"},
                                 {"velox.adjuster.class.path", "adjuster.jar"},
                                 {"velox.class.path.extended", "adjuster.jar"}}));
}

TEST(PropertiesAdjustment, EndsWhenThereIsNoAdjuster) {
  for (const Entries& entries : {Entries(), Entries{{"velox.adjuster.class.path", ""}}}) {
    SimpleProperties properties = props(entries);
    EXPECT_EQ(inChild([&] { configureAdjuster("app.kvf", properties); }), (Outcome{65, ""}));
  }
}

}  // namespace
