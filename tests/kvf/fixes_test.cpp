#include "kvf/fix/Fixes.h"

#include <filesystem>
#include <iterator>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvf/launch/Inspector.h"
#include "kvf/rules/Check.h"
#include "kvf/text/UnifiedDiff.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

const std::string& sound() {
  static const std::string text = "java.library=" + jvmLibrary() +
                                  "\nvelox.class.path.extended=" VELOX_PROBE_JAR
                                  "\njava.start.class=probe.Probe\n";
  return text;
}

/// The lines below a sound launch, with all fixes applied.
std::string fixed(const std::string& lines) {
  const std::string path = "/acme/app.kvf";
  Fixes fixes;
  for (int round = 0; round < 9; ++round) {
    GivenTexts texts = fixes.texts();
    texts.try_emplace(path, sound() + lines);
    const Inspection inspection = inspectFile(path, {}, texts);
    if (!fixes.apply(check({&inspection, 1}, {}))) return texts[path].substr(sound().size());
  }
  return "no end of it";
}

TEST(Fixes, ChangeWhatLeavesNothingToDecide) {
  struct Row {
    std::string lines;
    std::string fixed;
  };
  const Row rows[] = {
      {"java.property.a = b\n", "java.property.a=b\n"},
      {"java.property.a \t=\t b\n", "java.property.a=b\n"},
      {"java.property.a : b\n", "java.property.a=b\n"},
      {"java.property.a=b  \r\n", "java.property.a=b\r\n"},
      {"velox.env.A=b", "velox.env.A=b\n"},
      {"java.property.a=C:\\data\\.x\n", "java.property.a=C:\\\\data\\\\.x\n"},
      {"java.property.a=b,\\\r\n c\r\n", "java.property.a=b,\\\n c\r\n"},
      {"java.heap.size.mx=64m\n", "java.heap.size.max=64m\n"},
      {"java.properties.a=1\n", "java.property.a=1\n"},
      {"-Xmx64m\n-Da=b\n-Xrs\n",
       "java.heap.size.max=64m\njava.property.a=b\njava.extended.properties=-Xrs\n"},
      {"// a\n;b\n", "# a\n#b\n"},
      {"java.property.-Da=b\n", "java.property.a=b\n"},
      {"application.args=50% a, 5% b\n", "application.args=50\\\\% a, 5\\\\% b\n"},
      {"velox.env.A=50% a, 5% b\n", "velox.env.A=50\\\\\\\\% a, 5\\\\\\\\% b\n"},
      {"java.property.a=\xC3\xA4%kvf.file.dir/x\n", "java.property.a=\xC3\xA4%kvf.file.dir%/x\n"},
      {"java.extended.properties=-Xint  -Xrs\t-Xbatch  \n",
       "java.extended.properties=-Xint -Xrs -Xbatch\n"},
      {"java.extended.properties=-Da=\"b  c\" \\\n  -Xrs\n",
       "java.extended.properties=-Da=\"b  c\" \\\n-Xrs\n"},
      {"java.extended.properties=-Xmx 64m\n", "java.extended.properties=-Xmx64m\n"},
      {"java.extended.properties=-Xint,-Xrs\n", "java.extended.properties=-Xint -Xrs\n"},
      {"velox.env.A_PATH=$PATH:/a\n", "velox.env.A_PATH=%PATH%:/a\n"},
      {"java.heap.size.max=\"64m\"\n", "java.heap.size.max=64m\n"},
      {"application.start.dir='/usr'\n", "application.start.dir=/usr\n"},
      {"java.heap.size.max=64m # half\n", "# half\njava.heap.size.max=64m\n"},
      {"application.start.dir=/usr # here\n", "# here\napplication.start.dir=/usr\n"},
      {"# C:\\\njava.property.a=b\n", "# C:\njava.property.a=b\n"},
      // What one fix uncovers.
      {"java.heap.size.max = 64m # s \n", "# s\njava.heap.size.max=64m\n"},
      // Percent signs of a variable need four backslashes, those of other keys two.
      {"velox.evn.A=50% a, 5% b\n", "velox.env.A=50\\\\\\\\% a, 5\\\\\\\\% b\n"},
  };
  for (const Row& row : rows) EXPECT_EQ(fixed(row.lines), row.fixed);
}

TEST(Fixes, LeaveWhatMayBeMeantDifferently) {
  const std::string lines[] = {
      "java.property.a :8080\n",
      "java.property.a = = b\n",
      "java.property.a=a\\.b\n",
      "java.property.a=\\u00e4\n",
      "java.property.a=C:\\\r\njava.property.b=c\r\n",
      "java.heap.size.mx=64m\njava.heap.size.max=32m\n",
      "java.heap.size.maximum=64m\n",
      "-Xrs\n-Xint\n",
      "application.args=50% of %PATH%\n",
      "application.args=%JAVA HOME%\n",
      "velox.env.A_DIR=$GONE_FOR_GOOD/a\n",
      // Signs in what may be any text.
      "java.property.a='b c'\n",
      "velox.env.A=\"b\"\n",
      "velox.env.A_DIR=\"/usr\"\n",
      "java.property.a=30 # seconds\n",
      "velox.env.A=/a/b # c\n",
      "velox.env.A_HOME=$HOME/a\n",
      "application.start.dir=\"/gone\"\n",
      "b=50% of a, 5% b\njava.property.a=%b%\n",
      // Lines that were parked, and values that the key does not take.
      "_java.heap.size.max=64m\n",
      "xjava.heap.size.max=64m\n",
      "java.heap.size.max2=64m\n",
      "java.heap2.size.max=64m\n",
      "java.paths=/usr/bin/java\n",
      "xvelox.env.A=b\n",
      "velox.env2.A=b\n",
      "java.heap.size.mx=\n",
      "java.heap.size.mx=much\n",
      "java.heap.size.mx=64m\njava.heap.size.amx=32m\n",
      "java.properties.a=1\njava.propertys.a=2\n",
      "java.library.pth=/gone\n",
      "velox.includ.kvf=/gone\n",
      // A comment above would be one inside another entry.
      "java.property.a=x \\\n y\rjava.heap.size.max=64m # c\r\n",
  };
  for (const std::string& one : lines) EXPECT_EQ(fixed(one), one);
}

/// Random files of lines with mistakes, with a sound line between any two of them.
class OddFiles {
 public:
  static constexpr std::size_t most = 6;

  static std::string sentinel(std::size_t number) {
    return "java.property.sentinel" + std::to_string(number);
  }
  std::string next() {
    static const std::string pieces[] = {"java.property.a = b",
                                         "java.property.b : c ",
                                         "velox.env.A=b  ",
                                         "java.property.c=C:\\data\\.x",
                                         "java.property.d=x,\\",
                                         "java.property.e=x \\\n  y \\",
                                         "java.heap.size.mx=64m",
                                         "java.properties.f=1",
                                         "-Xmx64m",
                                         "-Da=%b",
                                         "// a",
                                         ";b \\",
                                         "java.property.-Dg=b",
                                         "application.args=50% a, 5% b 'c",
                                         "velox.env.B=50% a, 5% b",
                                         "java.property.h=\xC3\xA4%kvf.file.dir/x",
                                         "java.extended.properties=-Xint  -Xrs\t-Xbatch  ",
                                         "java.extended.properties=-Da=\"b  c\" \\\n  -Xmx 64m",
                                         "java.extended.properties=-Xint,-Xrs",
                                         "velox.env.C_PATH=$PATH:/a",
                                         "java.property.i='b c'",
                                         "java.property.j=30 # seconds",
                                         "# C:\\",
                                         "word",
                                         "",
                                         " \t",
                                         "=",
                                         "%kvf.file.dir%=%",
                                         "java.property.k=\xFF\xF0\x9F \\"};
    std::string text;
    for (std::size_t i = 0; i < most; ++i) {
      const char* const end = random_() % 4 == 0 ? "\r\n" : "\n";
      text += pieces[random_() % std::size(pieces)] + end + sentinel(i) + "=" + std::to_string(i);
      if (i + 1 < most || random_() % 2 == 0) text += "\n";
    }
    return text;
  }

 private:
  std::mt19937 random_{17};
};

TEST(Fixes, EndAndLeaveEverythingElseAsItIs) {
  OddFiles files;
  const std::string path = "/acme/app.kvf";
  for (int round = 0; round < 40; ++round) {
    const std::string lines = files.next();
    SCOPED_TRACE(lines);
    const std::string once = fixed(lines);
    ASSERT_NE(once, "no end of it");
    EXPECT_EQ(fixed(once), once);
    const Inspection before = inspectFile(path, {}, {{path, sound() + lines}});
    const Inspection after = inspectFile(path, {}, {{path, sound() + once}});
    EXPECT_LE(after.failures().size(), before.failures().size());
    for (std::size_t i = 0; i < OddFiles::most; ++i) {
      const std::string key = OddFiles::sentinel(i);
      if (before.valueOf(key.c_str()) == std::to_string(i)) {
        EXPECT_EQ(after.valueOf(key.c_str()), std::to_string(i));
      }
    }
  }
}

TEST(Fixes, OfTheSamePlaceOneIsTaken) {
  const std::string path = "/acme/app.kvf";
  const Inspection inspection = inspectFile(path, {}, {{path, "abc\ndef\n"}});
  const auto finding = [&](std::vector<Edit> fix) {
    Finding found;
    found.inspection = &inspection;
    found.fix = std::move(fix);
    return found;
  };
  const Edit first = {{0, 1, 1, 1, 3}, "x"};
  const Edit crossing = {{0, 1, 2, 1, 4}, "y"};
  const Edit other = {{0, 2, 1, 2, 1}, "z"};
  Fixes fixes;
  EXPECT_TRUE(fixes.apply({{finding({first}), finding({other, crossing}), finding({first})}}));
  EXPECT_EQ(fixes.files().at(path).after, "xc\ndef\n");
  EXPECT_EQ(fixes.files().at(path).fixes, 1U);
}

class FixTest : public testing::Test {
 protected:
  [[nodiscard]] Outcome kvf(Texts arguments, const Start& start = {}) const {
    arguments.insert(arguments.begin(), {VELOX_KVF, "check"});
    return sandbox_.run(arguments, start);
  }

  Sandbox sandbox_;
};

const std::string misspelt = "java.heap.size.mx=64m\n";
const std::string spelt = "java.heap.size.max=64m\n";

TEST_F(FixTest, ReplacesFilesAtTheEndOfLinksWithTheirModes) {
  const std::string part = sandbox_.write("conf/part.kvf", misspelt);
  fs::create_symlink("conf/part.kvf", sandbox_.path("link.kvf"));
  const std::string app =
      sandbox_.write("app.kvf", sound() + "velox.include.kvf=link.kvf\njava.property.a=b \nx\n");
  ::chmod(part.c_str(), 0604);
  const Outcome outcome = kvf({"--fix", "--format", "gcc", "app.kvf"});
  EXPECT_EQ(sandbox_.read("app.kvf"),
            sound() + "velox.include.kvf=link.kvf\njava.property.a=b\nx\n");
  EXPECT_EQ(sandbox_.read("conf/part.kvf"), spelt);
  EXPECT_TRUE(fs::is_symlink(sandbox_.path("link.kvf")));
  struct stat status = {};
  ::stat(part.c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777U, 0604U);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(outcome.has("app.kvf:6:1: error: ")) << outcome.out;
  EXPECT_EQ(kvf({"--diff", "app.kvf"}), (Outcome{0, ""}));
}

TEST_F(FixTest, PrintsAPatchAndWritesNothing) {
  const std::string before = sound() + misspelt + "#\n#\n#\n#\n#\n#\n#\n#\nvelox.env.A=b";
  sandbox_.write("app.kvf", before);
  const Outcome outcome = kvf({"--diff", "app.kvf"});
  EXPECT_EQ(outcome, (Outcome{1, "--- app.kvf\n+++ app.kvf\n@@ -1,7 +1,7 @@\n " +
                                     std::string("java.library=") + jvmLibrary() +
                                     "\n velox.class.path.extended=" VELOX_PROBE_JAR
                                     "\n java.start.class=probe.Probe\n-" +
                                     misspelt + "+" + spelt +
                                     " #\n #\n #\n@@ -10,4 +10,4 @@\n #\n #\n #\n-velox.env.A=b\n"
                                     "\\ No newline at end of file\n+velox.env.A=b\n"}));
  EXPECT_EQ(sandbox_.read("app.kvf"), before);
}

TEST_F(FixTest, StandardInputBecomesStandardOutput) {
  const std::string text = sandbox_.write("in", misspelt + "x\n");
  const auto pipe = [&](const std::string& rest) {
    return sandbox_.run({"sh", "-c", VELOX_KVF " check --fix --stdin-name a.kvf - <in " + rest});
  };
  EXPECT_EQ(pipe("2>/dev/null").out, spelt + "x\n");
  EXPECT_TRUE(pipe("2>&1 >/dev/null").has("a.kvf:2: error: "));
  EXPECT_FALSE(fs::exists(sandbox_.path("a.kvf")));
}

TEST_F(FixTest, ALongValueTakesTimeInProportion) {
  std::string text = sound() + "java.property.a=";
  std::string mended = text;
  for (int i = 0; i < 200000; ++i) {
    text += "\\d";
    mended += "\\\\d";
  }
  sandbox_.write("app.kvf", text + "\n");
  EXPECT_EQ(sandbox_.run({"timeout", "20", VELOX_KVF, "check", "--fix", "app.kvf"}),
            (Outcome{0, "kvf: app.kvf: 1 mistake fixed\n"}));
  EXPECT_EQ(sandbox_.read("app.kvf"), mended + "\n");
}

TEST_F(FixTest, LeavesWhatItCannotReplaceWithoutALoss) {
  struct Row {
    const char* what;
    std::string complaint;
    std::function<void(const std::string& file)> prepare;
  };
  const Row rows[] = {
      {"hard link", "has 2 names",
       [&](const std::string& file) { fs::create_hard_link(file, file + ".2"); }},
      {"read-only folder", "cannot write",
       [&](const std::string& file) { ::chmod(fs::path(file).parent_path().c_str(), 0555); }},
      {"another owner", "belongs to another user",
       [&](const std::string& file) {
         EXPECT_EQ(::chown(file.c_str(), 0, static_cast<gid_t>(-1)), 0);
       }},
      {"no room", "cannot write", [](const std::string&) {}},
  };
  const bool isRoot = ::geteuid() == 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const Sandbox sandbox;
    fs::permissions(fs::path(sandbox.path()).parent_path(), fs::perms(0755));
    const std::string file = const_cast<Sandbox&>(sandbox).write("own/app.kvf", misspelt);
    if (isRoot) {
      for (const std::string& name : {fs::path(file).parent_path().string(), file})
        ASSERT_EQ(::chown(name.c_str(), 65534, static_cast<gid_t>(-1)), 0);
    } else if (row.what == std::string("another owner")) {
      continue;
    }
    row.prepare(file);
    const std::string limit = row.what == std::string("no room") ? "ulimit -f 0; " : "";
    const Outcome outcome =
        sandbox.run({"sh", "-c", limit + VELOX_KVF " check --fix own/app.kvf"}, {.asNobody = true});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(outcome.has(row.complaint)) << outcome.out;
    EXPECT_EQ(sandbox.read("own/app.kvf"), misspelt);
    const auto names = fs::directory_iterator(sandbox.path("own"));
    EXPECT_EQ(std::distance(begin(names), end(names)),
              row.what == std::string("hard link") ? 2 : 1);
  }
}

TEST(UnifiedDiff, IsWhatPatchTakes) {
  const std::string texts[] = {
      "",        "a\n", "a", "a\nb\nc\nd\ne\nf\ng\nh\ni\nj\n", "b\nc\nd\nx\ne\nf\ng\nh\ni\ny\nj",
      "a\r\nb\n"};
  for (const std::string& before : texts) {
    for (const std::string& after : texts) {
      Sandbox sandbox;
      const std::string file = sandbox.write("a file", before);
      sandbox.write("diff", unifiedDiff("a file", before, after));
      const Outcome outcome = sandbox.run({"patch", "--binary", "-s", "-p0", "-i", "diff"});
      const std::string result = fs::exists(file) ? sandbox.read("a file") : "";
      EXPECT_EQ(result, after) << before << testing::PrintToString(outcome);
    }
  }
}

}  // namespace
