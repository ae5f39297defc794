#include <map>
#include <string>

#include <gtest/gtest.h>

#include "kvf/jvm/OptionHistory.h"
#include "kvf/launch/TrialOptions.h"
#include "support/Values.h"

namespace {

TEST(OptionHistory, SaysWhatAReleaseDoesWhereItIsKnown) {
  struct Row {
    const char* option;
    unsigned release;
    std::optional<OptionState> state;
  };
  using enum OptionState;
  const Row rows[] = {
      {"-XX:+UseConcMarkSweepGC", 8, taken},
      {"-XX:-UseConcMarkSweepGC", 9, deprecated},
      {"-XX:+UseConcMarkSweepGC", 13, deprecated},
      {"-XX:+UseConcMarkSweepGC", 14, unknown},
      {"-XX:MaxPermSize=64m", 10, ignored},
      {"-XX:MaxPermSize=64m", 14, std::nullopt},
      {"-XX:MaxPermSize=64m", 17, unknown},
      {"-XX:+UseZGC", 11, experimental},
      {"-XX:+UseZGC", 13, std::nullopt},
      {"-XX:+UseZGC", 26, taken},
      {"-XX:+LogVMOutput", 19, diagnostic},
      {"-Xloggc:gc.log", 17, deprecated},
      {"-Xmx64m", 20, taken},
      {"-Djava.security.manager=allow", 23, taken},
      {"-Djava.security.manager=allow", 24, refused},
      {"-Djava.security.manager=acme.Manager", 24, refused},
      {"--add-opens=java.base/java.lang=ALL-UNNAMED", 8, unknown},
      {"-Djava.ext.dirs=/opt/ext", 17, refused},
  };
  for (const Row& row : rows) {
    const auto history = historyOf(row.option);
    ASSERT_TRUE(history) << row.option;
    EXPECT_EQ(history->in(row.release), row.state) << row.option << " " << row.release;
  }
  for (const char* option : {"-XX:+UseFoo", "-Dacme=1", "-XX:", "-Xfoo", "-da.b", "",
                             "-Djava.endorsed.dirs=", "-Djava.ext.dirs=\"\""}) {
    EXPECT_FALSE(historyOf(option)) << option;
  }
  EXPECT_EQ(nearestFlag("UseG1Gc"), "UseG1GC");
}

TEST(TrialOptions, NothingActsOutside) {
  struct Row {
    const char* option;
    const char* tried;  ///< null: left out
  };
  const Row rows[] = {
      {"-Xmx1g", "-Xmx1g"},
      {"-agentlib:jdwp=address=1", nullptr},
      {"-agentlib=jdwp", "-agentlib=jdwp"},
      {"-Dcom.sun.management.jmxremote.port=1", nullptr},
      {"-Djava.security.manager=allow", "-Djava.security.manager=allow"},
      {"-Djava.security.manager=acme.Manager", nullptr},
      {"-XX:-HeapDumpOnOutOfMemoryError", "-XX:-HeapDumpOnOutOfMemoryError"},
      {"-XX:AOTMode=on", "-XX:AOTMode=on"},
      {"-XX:AOTMode=create", nullptr},
      {"-Xloggc:gc.log", "-Xloggc:/t/log0"},
      {"-Xlog", "-Xlog"},
      {"-Xlog:gc*", "-Xlog:gc*"},
      {"-Xlog:gc*:stderr:time", "-Xlog:gc*:stderr:time"},
      {"-Xlog::gc.log", "-Xlog::file=/t/log0"},
      {"-Xlog:gc*:file=gc.log", "-Xlog:gc*:file=/t/log0"},
      {"-Xlog:gc:file=\"/a:b/c.log\":time:filecount=5", "-Xlog:gc:file=/t/log0:time:filecount=5"},
  };
  for (const Row& row : rows) {
    const TrialOptions trial = trialOptions({row.option}, "/t");
    ASSERT_EQ(trial.leftOut.empty(), row.tried != nullptr) << row.option;
    if (row.tried != nullptr) {
      EXPECT_EQ(trial.options[0].tried, row.tried);
    }
  }
  std::map<std::string, std::string> environment = {{"_JAVA_OPTIONS", "-Dx=y '-Xlog:gc:file=a b'"},
                                                    {"JAVA_TOOL_OPTIONS", "-Xmx1g -Dpath=/a:b"},
                                                    {"LC_ALL", "-javaagent:x"}};
  EXPECT_EQ(leaveOutVariables(environment), Texts{"_JAVA_OPTIONS=-Dx=y '-Xlog:gc:file=a b'"});
  EXPECT_EQ(environment.size(), 2U);
}

}  // namespace
