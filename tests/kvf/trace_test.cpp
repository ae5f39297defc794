#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "kvf/process/TextReplacement.h"
#include "kvf/text/Text.h"
#include "kvf/trace/JvmLog.h"
#include "kvf/trace/StartTrace.h"
#include "kvf/trace/TraceFormats.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using Kind = LogEvent::Kind;

namespace {

TEST(TextReplacement, InWhateverPieces) {
  struct Case {
    std::string stream, result;
  };
  const Case cases[] = {
      {"", ""}, {"aab", "x"}, {"aaab", "ax"}, {"aa", "aa"}, {"1 aab 2 aab", "1 x 2 aab"},
  };
  for (const Case& row : cases) {
    for (std::size_t size = 1; size <= row.stream.size() + 1; ++size) {
      TextReplacement replacement("aab", "x");
      std::string result;
      for (std::size_t at = 0; at < row.stream.size(); at += size)
        result += replacement.take(row.stream.substr(at, size));
      EXPECT_EQ(result + replacement.rest(), row.result) << row.stream << " by " << size;
    }
  }
  EXPECT_EQ(TextReplacement("aab", "x").take("1\na"), "1\n");
  EXPECT_EQ(TextReplacement("", "x").take("a"), "a");
}

TEST(JvmLog, LinesOfTheReleases) {
  struct Case {
    const char* tags;
    const char* message;
    LogEvent event;  ///< but for its time and thread
  };
  const Case cases[] = {
      {"class,load",
       "java.lang.Object source: shared objects file",
       {Kind::classLoaded, {}, 0, "java.lang.Object", "shared objects file"}},
      {"class,load ",
       "a.B$$Lambda/0x00007f source: a.B",
       {Kind::classLoaded, {}, 0, "a.B$$Lambda/0x00007f", "a.B"}},
      // Java 11, 17
      {"class,init",
       "2 Initializing 'java/lang/String' (0x00007f5f5f00ec10)",
       {Kind::initializerBegin, {}, 0, "java.lang.String"}},
      {"class,init",
       "0 Initializing 'a/B'(no method) (0x00007f5f5f000d68)",
       {Kind::classInitialized, {}, 0, "a.B"}},
      // Java 21, 25, 26
      {"class,init",
       "2 Initializing 'a/B' (0x0000000046172108) by thread \"Unknown thread\"",
       {Kind::initializerBegin, {}, 0, "a.B"}},
      {"class,init", "Start class verification for: a.B", {Kind::verificationBegin, {}, 0, "a.B"}},
      {"class,init", "End class verification for: a.B", {Kind::verificationEnd, {}, 0, "a.B"}},
      {"startuptime",
       "Initialize java.lang classes, 0.0097115 secs",
       {Kind::phaseEnd, {}, 0, "Initialize java.lang classes", "", nanoseconds(9711500)}},
      {"gc             ",
       "GC(0) Pause Young (Normal) (G1 Evacuation Pause) 17M->3M(384M) 29.860ms",
       {Kind::pauseEnd,
        {},
        0,
        "Pause Young (Normal) (G1 Evacuation Pause) 17M->3M(384M)",
        "",
        nanoseconds(29860000)}},
      {"gc,phases",
       "GC(0) y: Pause Mark Start 0.012ms",
       {Kind::pauseEnd, {}, 0, "Pause Mark Start", "", nanoseconds(12000)}},
      {"cds",
       "Opened archive /usr/lib/jvm/x/lib/server/classes.jsa.",
       {Kind::archiveOpened, {}, 0, "/usr/lib/jvm/x/lib/server/classes.jsa"}},
      {"cds", "Opened shared archive file /a b.jsa.", {Kind::archiveOpened, {}, 0, "/a b.jsa"}},
      {"aot", "Opened AOT cache /a.aot.", {Kind::cacheOpened, {}, 0, "/a.aot"}},
  };
  for (const Case& row : cases) {
    const std::string line = std::string("[5000ns][2000ns][77][info ][") + row.tags + "] ";
    LogEvent expected = row.event;
    expected.time = nanoseconds(5000);
    expected.thread = 77;
    const JvmLog log = parseJvmLog(line + row.message + "\n");
    ASSERT_EQ(log.events.size(), 1U) << row.message;
    EXPECT_EQ(log.events[0], expected) << row.message;
    EXPECT_EQ(log.begin, nanoseconds(3000));
  }
}

TEST(JvmLog, WhatIsNoEvent) {
  for (const char* line : {
           "",
           "\n",
           "[5ns][2ns][7][info][class,load] opened: /usr/lib/jvm/x/lib/modules\n",
           "[5ns][2ns][7][info][class,load] a.B source: x",  // cut off
           "[5ns][2ns][7][class,load] a.B source: x\n",
           "[5ms][2ns][7][info][class,load] a.B source: x\n",
           "[-5ns][2ns][7][info][class,load] a.B source: x\n",
           "[99999999999999999999ns][2ns][7][info][class,load] a.B source: x\n",
           "[5ns][2ns][7][info][class,init] 3 Initializing 'a/B\n",
           "[5ns][2ns][7][info][startuptime] Genesis, soon\n",
           "[5ns][2ns][7][info][startuptime] Genesis, 1e300 secs\n",
           "[5ns][2ns][7][info][gc] Using G1\n",
           "[5ns][2ns][7][info][gc] GC(3) Concurrent Mark Cycle 2.5ms\n",
           "[5ns][2ns][7][info][safepoint] Pause 2.5ms\n",
       })
    EXPECT_TRUE(parseJvmLog(line).events.empty()) << line;
  for (const char* tag : {"cds", "aot"}) {
    const std::string line =
        concat({"[5ns][2ns][7][warning][", tag, "] shared class paths mismatch\n"});
    EXPECT_EQ(traceOf(parseJvmLog(line), {}).complaint, "it was written for another class path");
  }
}

/// A launch at 1 s whose JVM began at 1.010 s; lines are by their milliseconds since the launch.
class Log {
 public:
  Log& at(int time, const std::string& tags, const std::string& message, int thread = 7) {
    text_ += "[" + std::to_string(1000 + time) + "000000ns][" + std::to_string(time - 10) +
             "000000ns][" + std::to_string(thread) + "][info][" + tags + "] " + message + "\n";
    return *this;
  }
  [[nodiscard]] StartTrace until(int end, const std::string& archive = "") const {
    return traceOf(parseJvmLog(text_),
                   {milliseconds(1000), milliseconds(1000 + end), "a.Main", "/jdk", archive});
  }

 private:
  std::string text_;
};

TEST(StartTrace, PhasesFollowEachOther) {
  struct Case {
    int end;
    std::vector<int> begins;
  };
  Log log;
  log.at(20, "startuptime", "Genesis, 0.004 secs")
      .at(40, "startuptime", "Create VM, 0.030 secs")
      .at(50, "class,init", "9 Initializing 'a/Main'(no method) (0x0)");
  const Case cases[] = {{100, {0, 10, 40, 50}}, {45, {0, 10, 40}}, {30, {0, 10}}, {5, {0}}};
  for (const Case& row : cases) {
    const StartTrace trace = log.until(row.end);
    ASSERT_EQ(trace.phases.size(), row.begins.size()) << row.end;
    for (std::size_t i = 0; i < row.begins.size(); ++i) {
      const int next = i + 1 < row.begins.size() ? row.begins[i + 1] : row.end;
      EXPECT_EQ(trace.phases[i].begin, milliseconds(row.begins[i])) << row.end;
      EXPECT_EQ(trace.phases[i].end(), milliseconds(next)) << row.end;
    }
  }
  const TraceStretch genesis = log.until(100).jvmPhases.at(0);
  EXPECT_EQ(genesis.begin, milliseconds(16));
  EXPECT_EQ(genesis.duration, milliseconds(4));
}

TEST(StartTrace, WhereClassesComeFrom) {
  struct Case {
    const char* opened;  ///< archives, as the log tells them
    const char* source;
    ClassOrigin origin;
    const char* file;
  };
  const char* const own = "Opened archive /jdk/lib/server/classes.jsa.";
  const Case cases[] = {
      {own, "shared objects file", ClassOrigin::ownArchive, "/jdk/lib/server/classes.jsa"},
      {"Opened archive /jdk2/a.jsa.", "shared objects file", ClassOrigin::staticArchive,
       "/jdk2/a.jsa"},
      {"Opened AOT cache /o/a.aot.", "shared objects file", ClassOrigin::aotCache, "/o/a.aot"},
      {own, "shared objects file (top)", ClassOrigin::dynamicArchive, "/o/top.jsa"},
      // Java 11 does not tell; the launch names this one.
      {"", "shared objects file", ClassOrigin::staticArchive, "/o/named.jsa"},
      {own, "jrt:/java.base", ClassOrigin::jdkModules, "java.base"},
      {own, "file:/o/a%20b%.jar", ClassOrigin::jar, "/o/a b%.jar"},
      {own, "jar:file:/o/a.jar!/lib/b.jar!/", ClassOrigin::jar, "jar:file:/o/a.jar!/lib/b.jar!/"},
      {own, "nested:/o/a.jar/!lib/b.jar", ClassOrigin::jar, "nested:/o/a.jar/!lib/b.jar"},
      {own, "file:///o/classes/", ClassOrigin::folder, "/o/classes/"},
      {own, "file:/groovy/shell", ClassOrigin::elsewhere, "/groovy/shell"},
      {own, "https://x/y.jar", ClassOrigin::elsewhere, "https://x/y.jar"},
      {own, "__JVM_LookupDefineClass__", ClassOrigin::generated, ""},
      {own, "java.util.regex.Pattern", ClassOrigin::generated, ""},
  };
  for (const Case& row : cases) {
    const StartTrace trace =
        Log()
            .at(11, "cds", row.opened)
            .at(11, "cds", *row.opened != '\0' ? "Opened archive /o/top.jsa." : "")
            .at(12, "class,load", std::string("a.B source: ") + row.source)
            .until(100, "/o/named.jsa");
    ASSERT_EQ(trace.classes.size(), 1U) << row.source;
    EXPECT_EQ(trace.classes[0].origin, row.origin) << row.source;
    EXPECT_EQ(trace.classes[0].file, row.file) << row.source;
  }
}

TEST(StartTrace, InitialisersLastToTheNextOneOfTheMainThread) {
  const StartTrace trace = Log()
                               .at(20, "class,init", "1 Initializing 'a/Main' (0x0)")
                               .at(21, "class,init", "2 Initializing 'a/Other' (0x0)", 8)
                               .at(22, "class,load", "a.B source: jrt:/x")
                               .at(23, "class,load", "a.C source: jrt:/x", 8)
                               .at(24, "class,init", "Start class verification for: a.B")
                               .at(25, "class,init", "End class verification for: a.B")
                               .at(26, "class,init", "End class verification for: a.C")
                               .at(30, "class,init", "3 Initializing 'a/B'(no method) (0x0)")
                               .at(40, "class,init", "4 Initializing 'a/Last' (0x0)")
                               .at(60, "class,init", "5 Initializing 'a/Late' (0x0)")
                               .until(50);
  ASSERT_EQ(trace.initializers.size(), 2U);
  EXPECT_EQ(trace.initializers[0].name, "a.Main");
  EXPECT_EQ(trace.initializers[0].duration, milliseconds(10));
  EXPECT_EQ(trace.initializers[0].classes, 1U);
  EXPECT_EQ(trace.initializers[1].end(), milliseconds(50));
  EXPECT_EQ(trace.longestInitializers(1).at(0).name, "a.Main");
  EXPECT_EQ(trace.verifications.size(), 1U);
  EXPECT_EQ(trace.verificationTime(), milliseconds(1));
}

/// Every element is closed where it was opened, as a reader of XML wants it.
std::string unbalancedElement(const std::string& markup) {
  std::vector<std::string> open;
  for (std::size_t at = 0; (at = markup.find('<', at)) != std::string::npos; ++at) {
    const std::size_t end = markup.find('>', at);
    if (end == std::string::npos) return markup.substr(at);
    std::string tag = markup.substr(at + 1, end - at - 1);
    if (tag.ends_with('/')) continue;
    if (!tag.starts_with('/')) {
      open.push_back(tag.substr(0, tag.find(' ')));
    } else if (open.empty() || open.back() != tag.substr(1)) {
      return tag;
    } else {
      open.pop_back();
    }
  }
  return open.empty() ? "" : open.back();
}

std::string pictureIn(const std::string& page) {
  const std::size_t svg = page.find("<svg");
  const std::size_t end = page.find("<pre>");
  return end == std::string::npos ? "there is none" : page.substr(svg, end - svg);
}

TEST(TraceFormats, AnyNameIsJustText) {
  const std::string name = "a.</title><script>\"&\x01\xFF";
  StartTrace trace = Log()
                         .at(20, "class,init", "1 Initializing 'a/Main' (0x0)")
                         .at(22, "class,load", name + " source: file:/" + name + ".jar")
                         .at(24, "class,init", "2 Initializing '" + name + "' (0x0)")
                         .at(30, "gc", "GC(0) Pause " + name + " 2.5ms")
                         .until(50);
  trace.subject = trace.mark = trace.complaint = name;
  trace.remarks = {name};
  const std::string page = tracePage(trace);
  EXPECT_EQ(page.find("<script"), std::string::npos);
  EXPECT_NE(page.find("a.&lt;/title&gt;&lt;script&gt;&quot;&amp;\\"), std::string::npos) << page;
  EXPECT_EQ(unbalancedElement(pictureIn(page)), "");
  EXPECT_EQ(page.find("http"), page.find("http-equiv")) << "a part from outside";
  EXPECT_EQ(page.find("http", page.find("http-equiv") + 1), std::string::npos);

  const auto json = nlohmann::json::parse(traceEvents(trace));
  std::size_t found = 0;
  for (const auto& event : json.at("traceEvents")) {
    EXPECT_TRUE(event.contains("ph") && event.contains("pid") && event.contains("tid")) << event;
    if (event.at("ph") == "X" && event.at("cat") == "collection") {
      EXPECT_EQ(event.at("ts"), 27500);
      EXPECT_EQ(event.at("dur"), 2500);
    }
    if (event.at("ph") == "i") found += event.at("args").at("origin") == "jars" ? 1U : 0U;
  }
  EXPECT_EQ(found, 1U);
  EXPECT_TRUE(isTraceFile(page) && isTraceFile(traceEvents(trace)));
  EXPECT_FALSE(isTraceFile("<!DOCTYPE html>\n<html>"));

  const std::string tables = traceTables(trace);
  EXPECT_EQ(tables.find('\x01'), std::string::npos);
  // An empty trace has a picture, too.
  EXPECT_EQ(unbalancedElement(pictureIn(tracePage({}))), "");
}

/// A launch with something of everything.
StartTrace wholeTrace() {
  StartTrace trace = Log()
                         .at(12, "cds", "Opened archive /jdk/lib/server/classes.jsa.")
                         .at(14, "startuptime", "Genesis, 0.002 secs")
                         .at(15, "startuptime", "Interpreter generation, 0.0004 secs")
                         .at(18, "class,load", "java.lang.Object source: shared objects file")
                         .at(18, "class,load", "java.lang.String source: shared objects file")
                         .at(30, "startuptime", "Create VM, 0.020 secs")
                         .at(32, "class,load", "a.Main source: file:/o/b.jar")
                         .at(33, "class,init", "Start class verification for: a.Main")
                         .at(36, "class,init", "End class verification for: a.Main")
                         .at(36, "class,init", "1 Initializing 'a/Main' (0x0)")
                         .at(37, "class,load", "a.X source: file:/o/a.jar")
                         .at(37, "class,load", "a.Y source: file:/o/a.jar", 8)
                         .at(38, "class,load", "a.Z source: file:/o/a.jar")
                         .at(40, "class,init", "2 Initializing 'a/X' (0x0)")
                         .at(50, "gc", "GC(0) Pause Young 2.5ms")
                         .at(55, "gc", "GC(1) Pause Full 0.5ms")
                         .at(70, "class,load", "a.Late source: file:/o/c.jar")
                         .at(70, "gc", "GC(2) Pause Young 2.5ms")
                         .until(60);
  trace.subject = "app.kvf, Java 21";
  trace.mark = "its end";
  trace.remarks = {"It ended with status 7."};
  trace.complaint = "another JVM wrote it";
  trace.cost = TraceCost{.pairs = 2,
                         .with = 0.06,
                         .without = 0.05,
                         .ratio = {.low = 1.1, .median = 1.2, .high = 1.3},
                         .processorWith = 0.08,
                         .processorWithout = 0.07};
  return trace;
}

TEST(TraceFormats, Tables) {
  EXPECT_EQ(traceTables(wholeTrace()), R"(app.kvf, Java 21: 60.0 ms until its end

Phases                                                            at        took
  launcher: settings, and loading the JVM                     0.0 ms     10.0 ms
  JVM: its creation                                          10.0 ms     20.0 ms
  launcher: finding the start class                          30.0 ms      6.0 ms
  application                                                36.0 ms     24.0 ms

Parts of the JVM's creation                                       at        took
  Genesis                                                    12.0 ms      2.0 ms

Classes loaded                                                number       share
  archive of the JVM                                               2        33 %
         2  /jdk/lib/server/classes.jsa
  jars                                                             4        67 %
         3  /o/a.jar
         1  /o/b.jar
  all                                                              6
  verified                                                         1      3.0 ms

From one class initialiser to the next, the longest               at        took     classes
  a.Main                                                     36.0 ms      4.0 ms           2
  a.X                                                        40.0 ms     20.0 ms           0

Pauses of collections                                             at        took
  Pause Young                                                47.5 ms      2.5 ms
  Pause Full                                                 54.5 ms      0.5 ms
  2 pauses in all                                                         3.0 ms

It ended with status 7.
The JVM says of an archive: another JVM wrote it
With the trace 60 ms, without 50 ms (ratio 1.20, 1.10 to 1.30, 2 pairs); processor time of the whole run 80 ms and 70 ms
)");
}

TEST(TraceFormats, TablesOfLittle) {
  StartTrace trace;
  trace.cost = TraceCost{.pairs = 1, .ratio = {.low = 1.1, .median = 1.2, .high = 1.3}};
  const std::string tables = traceTables(trace);
  EXPECT_NE(tables.find(" (ratio 1.20, 1 pair); "), std::string::npos) << tables;
  EXPECT_NE(tables.find("\nCollections: no pause\n"), std::string::npos) << tables;
}

TEST(TraceFormats, LongTablesAreCut) {
  Log log;
  for (int i = 0; i < 14; ++i) {
    log.at(20 + i, "class,load", concat({"a.B source: file:/o/", std::to_string(i), ".jar"}))
        .at(40 + i, "gc", "GC(0) Pause Young 0.5ms")
        .at(60 + i, "class,init", concat({"1 Initializing 'a/C", std::to_string(i), "' (0x0)"}));
  }
  log.at(90, "class,init", "1 Initializing 'a/Main' (0x0)");
  const std::string tables = traceTables(log.until(100));
  const auto count = [&](const std::string& text) {
    std::size_t number = 0;
    for (std::size_t at = 0; (at = tables.find(text, at)) != std::string::npos; ++at) ++number;
    return number;
  };
  EXPECT_EQ(count(".jar\n"), 10U);
  EXPECT_EQ(count("       and  4 more sources\n"), 1U) << tables;
  EXPECT_EQ(count("  Pause Young "), 12U);
  EXPECT_EQ(count("  14 pauses in all"), 1U);
  EXPECT_EQ(count(" 7.0 ms\n"), 1U) << "the sum of all";
  // The longest of all, and as many of the others as there is place for.
  EXPECT_EQ(count("  a.C"), 11U);
  EXPECT_EQ(count("  a.Main "), 1U);
}

TEST(TraceFormats, Events) {
  std::string events;
  const auto json = nlohmann::json::parse(traceEvents(wholeTrace()));
  for (const auto& event : json.at("traceEvents")) {
    events += concat({event.at("ph").get<std::string>(), " ", event.at("pid").dump(), ".",
                      event.at("tid").dump(), " ", event.at("name").get<std::string>()});
    for (const char* member : {"ts", "dur", "s", "args"}) {
      if (event.contains(member)) events += " " + event.at(member).dump();
    }
    events += "\n";
  }
  EXPECT_EQ(events, R"(M 1.1 process_name {"name":"app.kvf, Java 21"}
M 2.0 process_name {"name":"threads of the JVM"}
M 1.1 thread_name {"name":"phases"}
M 1.2 thread_name {"name":"the JVM's creation"}
M 1.3 thread_name {"name":"from initialiser to initialiser"}
M 1.4 thread_name {"name":"pauses of collections"}
M 2.7 thread_name {"name":"main: classes"}
M 2.8 thread_name {"name":"classes"}
X 1.1 launcher: settings, and loading the JVM 0.0 10000.0
X 1.1 JVM: its creation 10000.0 20000.0
X 1.1 launcher: finding the start class 30000.0 6000.0
X 1.1 application 36000.0 24000.0
X 1.2 Genesis 12000.0 2000.0
X 1.2 Interpreter generation 14600.0 400.0
X 1.3 a.Main 36000.0 4000.0
X 1.3 a.X 40000.0 20000.0
X 1.4 Pause Young 47500.0 2500.0
X 1.4 Pause Full 54500.0 500.0
X 2.7 a.Main 33000.0 3000.0
i 2.7 java.lang.Object 18000.0 "t" {"file":"/jdk/lib/server/classes.jsa","origin":"archive of the JVM"}
C 1.0 classes 18000.0 {"archive of the JVM":1}
i 2.7 java.lang.String 18000.0 "t" {"file":"/jdk/lib/server/classes.jsa","origin":"archive of the JVM"}
i 2.7 a.Main 32000.0 "t" {"file":"/o/b.jar","origin":"jars"}
C 1.0 classes 32000.0 {"archive of the JVM":2,"jars":1}
i 2.7 a.X 37000.0 "t" {"file":"/o/a.jar","origin":"jars"}
C 1.0 classes 37000.0 {"archive of the JVM":2,"jars":2}
i 2.8 a.Y 37000.0 "t" {"file":"/o/a.jar","origin":"jars"}
i 2.7 a.Z 38000.0 "t" {"file":"/o/a.jar","origin":"jars"}
C 1.0 classes 38000.0 {"archive of the JVM":2,"jars":4}
C 1.0 classes 60000.0 {"archive of the JVM":2,"jars":4}
)");
  EXPECT_EQ(json.at("otherData").dump(),
            R"({"classes":6,"cost":{"pairs":2,"processorSeconds":0.08,)"
            R"("processorSecondsWithout":0.07,"ratio":1.2,"seconds":0.06,"secondsWithout":0.05},)"
            R"("milliseconds":60.0,"program":"kvf trace",)"
            R"("remarks":["It ended with status 7.","another JVM wrote it"],)"
            R"("subject":"app.kvf, Java 21","until":"its end"})");
}

TEST(TraceFormats, Picture) {
  const std::string page = tracePage(wholeTrace());
  const auto rectangle = [&](const std::string& title) -> std::string {
    const std::size_t end = page.find("><title>" + title + "</title>");
    if (end == std::string::npos) return "there is none";
    const std::size_t begin = page.rfind('<', end - 1);
    return page.substr(begin, end - begin);
  };
  struct Case {
    const char* title;
    const char* rectangle;
  };
  const Case cases[] = {
      {"application, 24.0 ms",
       R"(<rect x="768.00" y="26.00" width="412.00" height="22.00" fill="#6c757d")"},
      {"Genesis, 2.0 ms",
       R"(<rect x="356.00" y="74.00" width="34.33" height="22.00" fill="#7aa0d4")"},
      {"2 from: archive of the JVM",
       R"(<rect x="459.00" y="122.00" width="4.75" height="170.00" fill="#3b6fb6")"},
      {"1 from: jars", R"(<rect x="695.90" y="207.00" width="4.75" height="85.00" fill="#e07a3f")"},
      {"100.00 % of one thread",
       R"(<rect x="716.50" y="342.00" width="4.75" height="22.00" fill="#b5838d")"},
      {"a.X, 20.0 ms",
       R"(<rect x="836.67" y="410.00" width="343.33" height="11.00" fill="#6d597a")"},
      {"Pause Young, 2.5 ms",
       R"(<rect x="965.42" y="450.00" width="42.92" height="22.00" fill="#d00000")"}};
  for (const Case& row : cases) EXPECT_EQ(rectangle(row.title), row.rectangle) << row.title;
  EXPECT_NE(page.find(">4 jars</text>"), std::string::npos) << "the legend";
  EXPECT_NE(page.find(">most: 2</text>"), std::string::npos);
  EXPECT_NE(page.find(">5 ms</text>"), std::string::npos) << "the axis";
  EXPECT_EQ(page.find(">1 ms</text>"), std::string::npos);
  EXPECT_NE(page.find("class=\"inside\">application, 24.0 ms</text>"), std::string::npos);
  EXPECT_EQ(page.find("class=\"inside\">Pause Young"), std::string::npos) << "no place";
  // At the edge the words stand in front of the bar.
  EXPECT_NE(page.find("class=\"before\">a.X, 20.0 ms</text>"), std::string::npos);
  EXPECT_NE(page.find("class=\"legend\">a.Main, 4.0 ms</text>"), std::string::npos);
  EXPECT_EQ(page.find(">no pause</text>"), std::string::npos);
}

TEST(TraceFormats, ThreadsThatVerifyAtOnceFillTheLane) {
  const std::string page =
      tracePage(Log()
                    .at(20, "class,init", "Start class verification for: a.A")
                    .at(20, "class,init", "Start class verification for: a.B", 8)
                    .at(40, "class,init", "End class verification for: a.A")
                    .at(40, "class,init", "End class verification for: a.B", 8)
                    .until(60));
  EXPECT_NE(page.find("height=\"22.00\" fill=\"#b5838d\"><title>200.00 % of one thread<"),
            std::string::npos);
  EXPECT_NE(page.find(">no pause</text>"), std::string::npos);
}

class Trace : public testing::Test {
 protected:
  void SetUp() override {
    if (javaRelease() < firstReleaseWithLog) GTEST_SKIP() << "this Java has no such log";
    kvf("java.property.probe.do=exit:7\n");
  }

  void kvf(const std::string& more) {
    sandbox_.write("app.kvf", "java.library=" + jvmLibrary() +
                                  "\njava.class.path=" VELOX_PROBE_JAR
                                  "\njava.start.class=probe.Probe\n" +
                                  more);
  }

  /// Prints that it is ready, and waits.
  void server() {
    kvf("java.class.path=" VELOX_LIFECYCLE_JAR
        "\njava.start.class=lifecycle.Lifecycle\napplication.args=wait\n");
  }

  [[nodiscard]] Outcome trace(Texts arguments, std::map<std::string, std::string> more = {}) const {
    arguments.insert(arguments.begin(), {VELOX_KVF, "trace"});
    return run(arguments, std::move(more));
  }

  [[nodiscard]] Outcome run(const Texts& arguments,
                            std::map<std::string, std::string> more = {}) const {
    more.insert(jvmInside);
    return sandbox_.run(arguments, {.environment = more});
  }

  Sandbox sandbox_;
};

TEST_F(Trace, TheApplicationIsAsItIsWithout) {
  const std::string plain =
      "wrapper --run --propFile app.kvf >out 2>err; echo $?; sed -i s/pid.*// out";
  const std::string traced =
      "kvf trace --pairs=0 app.kvf >traced 2>errors; echo $?; sed -i s/pid.*// traced";
  const std::string path = "PATH=" + fs::path(VELOX_WRAPPER).parent_path().native() + ":$PATH\n";
  for (const char* already :
       {"", "export _JAVA_OPTIONS=-Dx=y\n", "export JAVA_TOOL_OPTIONS=-Dx\n"}) {
    EXPECT_EQ(run({"sh", "-c", concat({already, path, plain})}).out, "7\n");
    EXPECT_EQ(run({"sh", "-c", concat({already, path, traced})}).out, "1\n");
    EXPECT_EQ(sandbox_.read("traced"), sandbox_.read("out")) << already;
    EXPECT_TRUE(sandbox_.read("errors").starts_with(sandbox_.read("err") + "app.kvf, Java "))
        << sandbox_.read("errors");
  }
}

TEST_F(Trace, TablesPageAndEvents) {
  const Outcome outcome = trace({"app.kvf", "--html=t.html", "--json=t.json", "--pairs=2"});
  EXPECT_EQ(outcome.status, 1) << "the application's status is not 0";
  for (const char* text :
       {" until the first output, on standard output\n",
        "  launcher: settings, and loading the JVM", "  JVM: its creation ", "  application ",
        "Initialize java.lang classes ", "/probe.jar\n", "From one class initialiser",
        "It ended with status 7.\n", "2 pairs); processor time"})
    EXPECT_TRUE(outcome.has(text));
  EXPECT_FALSE(outcome.has("Picked up"));
  const auto json = nlohmann::json::parse(sandbox_.read("t.json"));
  EXPECT_EQ(json.at("otherData").at("cost").at("pairs"), 2);
  std::map<std::string, std::string> origins;
  for (const auto& event : json.at("traceEvents")) {
    if (event.at("ph") == "i") origins[event.at("name")] = event.at("args").at("origin");
  }
  EXPECT_EQ(origins["probe.Probe"], "jars");
  EXPECT_NE(sandbox_.read("t.html").find(">application, "), std::string::npos);
  fs::create_symlink("t.html", sandbox_.path("link.html"));
  fs::last_write_time(sandbox_.path("t.html"), {});
  EXPECT_EQ(trace({"app.kvf", "--html=link.html", "--pairs=0"}).status, 1);
  EXPECT_TRUE(fs::is_symlink(sandbox_.path("link.html")));
  EXPECT_NE(fs::last_write_time(sandbox_.path("t.html")), fs::file_time_type()) << "is replaced";
}

TEST_F(Trace, StartsThatDifferAreNotCompared) {
  const std::string wrapper = sandbox_.write("wrapper",
                                             "#!/bin/sh\necho >>starts\n"
                                             "[ $(wc -l <starts) != 2 ] || exit 3\n"
                                             "exec " VELOX_WRAPPER " \"$@\"\n",
                                             true);
  const Outcome outcome = trace({"app.kvf", "--pairs=2", "--wrapper=" + wrapper});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(
      outcome.has("What the trace costs is not known: in one of the starts the application "
                  "ended with status 3.\n"));
  EXPECT_FALSE(outcome.has("processor time"));
  EXPECT_EQ(sandbox_.read("starts"), "\n\n\n") << "no others are made";
}

TEST_F(Trace, AServerIsToldToEnd) {
  server();
  const Outcome outcome = trace({"app.kvf", "--pairs=0", "--until=ready"});
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_TRUE(outcome.has(" until \"ready\" was printed\n"));
  EXPECT_TRUE(outcome.has("ready\nhook\n"));
  EXPECT_EQ(trace({"app.kvf", "--pairs=0", "--run-for=3"}).status, 0);
  EXPECT_TRUE(trace({"app.kvf", "--pairs=0", "--run-for=3", "--until=never"})
                  .has(" until it was told to end\n"));
}

TEST_F(Trace, WhatCannotBeTraced) {
  sandbox_.write("old/release", "JAVA_VERSION=\"1.8.0_1\"\n");
  sandbox_.write("old/lib/server/libjvm.so", "");
  sandbox_.write("own.html", "<!DOCTYPE html>\n");
  struct Case {
    std::string more;
    Texts arguments;
    std::string message;
  };
  const Case cases[] = {
      {"java.library=" + sandbox_.path("old/lib/server/libjvm.so") + "\n",
       {},
       "app.kvf: Java 1.8.0_1 has no log of this kind; Java 9 and newer have\n"},
      {"java.library=\n", {}, "is not the library of a JVM"},
      {"velox.env._JAVA_OPTIONS=-Da\nvelox.env.JAVA_TOOL_OPTIONS=-Da\n", {}, "sets both"},
      {"", {"--html=own.html"}, "\"own.html\" is there, and no trace: it stays as it is\n"},
      {"", {"--json=/no/such/t.json"}, "cannot make a folder in /no/such"},
      {"", {"--wrapper=/no/such"}, "/no/such cannot be started: No such file"},
      {"", {"--wrapper=/bin/false"}, "the JVM wrote no log; the launch ended with status 1\n"},
  };
  for (const Case& row : cases) {
    kvf(row.more);
    Texts arguments = {"app.kvf", "--pairs=0"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome outcome = trace(arguments);
    EXPECT_EQ(outcome.status, 2) << outcome.out;
    EXPECT_TRUE(outcome.has(row.message));
  }
  kvf("");
  EXPECT_TRUE(trace({"app.kvf"}, {{"TMPDIR", "/dev/null"}}).has("cannot make a folder in"));
  EXPECT_EQ(sandbox_.read("own.html"), "<!DOCTYPE html>\n");
}

TEST_F(Trace, AFolderForTheLogWithAnyName) {
  const std::string folder = sandbox_.path("a b:c'd");
  fs::create_directory(folder);
  EXPECT_EQ(trace({"app.kvf", "--pairs=0"}, {{"TMPDIR", folder}}).status, 2);
  fs::create_directory(sandbox_.path("a b:c"));
  EXPECT_EQ(trace({"app.kvf", "--pairs=0"}, {{"TMPDIR", sandbox_.path("a b:c")}}).status, 1);
  EXPECT_TRUE(fs::is_empty(sandbox_.path("a b:c")));
}

TEST_F(Trace, AProgramSeesAnEndOfItsReaderAndNoIgnoredSignal) {
  sandbox_.write("noisy", "#!/bin/sh\nexec yes\n", true);
  sandbox_.write("away", "#!/bin/sh\nkill -HUP $PPID\nsleep 0.2\necho went on\n", true);
  const std::string line = VELOX_KVF " trace --pairs=0 app.kvf --wrapper=./";
  EXPECT_TRUE(run({"sh", "-c", line + "noisy | head -n 1"}).has("y\n"));
  EXPECT_TRUE(run({"sh", "-c", "trap '' HUP CHLD; " + line + "away"}).has("went on\n"));
}

TEST_F(Trace, ASignalEndsBoth) {
  server();
  Child child = sandbox_.start({VELOX_KVF, "trace", "--pairs=0", "app.kvf"},
                               {.environment = {jvmInside, {"TMPDIR", sandbox_.path()}}});
  ASSERT_TRUE(child.prints("ready"));
  ::kill(child.id(), SIGTERM);
  EXPECT_EQ(child.wait().status, 128 + SIGTERM);
  EXPECT_EQ(sandbox_.run({"ls", "-A"}).out, "app.kvf\n");
}

}  // namespace
