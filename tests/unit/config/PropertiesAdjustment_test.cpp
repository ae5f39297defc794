#include "config/PropertiesAdjustment.h"

#include <gtest/gtest.h>

#include "config/Commands.h"
#include "support/Child.h"
#include "support/Values.h"

namespace {

TEST(PropertiesAdjustment, BelongsToSomeCommandsOnly) {
  EXPECT_TRUE(isAdjustable({}));
  for (const Command& command : commands) {
    const std::string_view name = command.name;
    const bool starts = name == "--install" || name == "--update" || name == "--start" ||
                        name == "--run" || name == "--ntservice";
    EXPECT_EQ(isAdjustable(props({{"wrapper.command", command.name}})), starts) << name;
  }
  EXPECT_FALSE(isAdjustable(props({{"wrapper.command", ""}})));
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
  SimpleProperties properties = props({{"velox.adjuster.class.path", ""}});
  EXPECT_EQ(inChild([&] { configureAdjuster("app.kvf", properties); }), (Outcome{65, ""}));
}

}  // namespace
