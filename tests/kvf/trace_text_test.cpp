#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "kvf/trace/JvmLog.h"
#include "kvf/trace/StartTrace.h"
#include "kvf/trace/TraceFormats.h"

// What readers of a trace see, of traces made by hand.

namespace {

using std::chrono::milliseconds;

/// Of a JVM that loads one class from each of so many jars, and one from nobody knows where.
StartTrace traceOfJars(int jars) {
  StartTrace trace;
  trace.subject = "app.kvf";
  trace.mark = "its end";
  trace.end = milliseconds(100);
  trace.phases = {{"start", {}, milliseconds(100)}};
  for (int i = 0; i < jars; ++i) {
    trace.classes.push_back({"a.A" + std::to_string(i), milliseconds(i), 1, ClassOrigin::jar,
                             "/lib/" + std::to_string(i) + ".jar"});
  }
  trace.classes.push_back({"a.B", milliseconds(50), 1, ClassOrigin::jar});
  return trace;
}

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(TraceTables, NameTenSourcesAndCountTheOthers) {
  const std::string few = traceTables(traceOfJars(10));
  EXPECT_TRUE(has(few, "/lib/9.jar\n") && !has(few, "more source")) << few;
  const std::string many = traceTables(traceOfJars(12));
  EXPECT_TRUE(has(many, "and  2 more sources\n")) << many;
  EXPECT_EQ(traceOfJars(2).filesOf(ClassOrigin::jar).size(), 2U) << "of one the file is unknown";
}

TEST(TracePicture, WordsStandWhereTheyHaveRoom) {
  StartTrace trace = traceOfJars(1);
  trace.mainThread = 1;
  trace.initializers = {{"a.Early", milliseconds(1), milliseconds(2), 1, 0}};
  EXPECT_FALSE(has(tracePage(trace), "class=\"before\"")) << "after it";
  trace.initializers = {{"a.Late", milliseconds(95), milliseconds(5), 1, 0}};
  EXPECT_TRUE(has(tracePage(trace), "class=\"before\""));
}

TEST(JvmLog, APhaseWithoutANumberIsNone) {
  const auto phases = [](const std::string& seconds) {
    return parseJvmLog("[5000ns][2000ns][7][info][startuptime] Genesis, " + seconds + " secs\n")
        .events.size();
  };
  EXPECT_EQ(phases("0.05"), 1U);
  for (const char* seconds : {"0.05x", "0.05 0.06", "", "-0.05", "x"})
    EXPECT_EQ(phases(seconds), 0U) << seconds;
}

TEST(JvmLog, ComplaintsAboutArchivesAndCaches) {
  const std::string time = "[5000ns][2000ns][7]";
  const auto complaint = [&](const std::string& tags) {
    return parseJvmLog(time + "[info][class,load] a.A source: jrt:/java.base\n" + time +
                       "[warning][" + tags + "] Unable to use it\n")
        .complaint;
  };
  EXPECT_EQ(complaint("gc"), "");
  for (const char* tags : {"cds", "aot", "aot,map"}) EXPECT_NE(complaint(tags), "") << tags;
}

}  // namespace
