#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "kvf/ZipFile.h"
#include "kvf/jvm/JvmChoice.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/text/Text.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

/// Homes that look like JVMs, below a folder of the sandbox.
class Homes {
 public:
  std::string add(const std::string& home, const std::string& version,
                  const std::string& library = "lib/server/libjvm.so") {
    sandbox.write(home + "/" + library, "");
    sandbox.write(home + "/bin/java", "", true);
    if (!version.empty()) {
      sandbox.write(home + "/release", "IMPLEMENTOR=\"Acme\"\nJAVA_VERSION=\"" + version + "\"\n");
    }
    return sandbox.path(home);
  }
  [[nodiscard]] std::string link(const std::string& name, const std::string& target) const {
    fs::create_directory_symlink(target, sandbox.path(name));
    return sandbox.path(name);
  }

  Sandbox sandbox;
};

TEST(JvmSearch, OneJvmByManyWaysIsThereOnceByTheNameThatLasts) {
  Homes homes;
  const std::string real = homes.add("jvm/java-17.0.2", "17.0.2");
  const std::string link = homes.link("jvm/default-java", "java-17.0.2");
  const auto jvms = findJvms({.javaHome = real + "/",
                              .path = "/nowhere::" + real + "/bin",
                              .folders = {homes.sandbox.path("jvm")}});
  ASSERT_EQ(jvms.size(), 1);
  EXPECT_EQ(jvms[0].home, link);
  EXPECT_EQ(jvms[0].library, link + "/lib/server/libjvm.so");
  EXPECT_EQ(jvms[0].java, link + "/bin/java");
  EXPECT_EQ(jvms[0].version, "17.0.2");
  EXPECT_EQ(jvms[0].vendor, "Acme");
  EXPECT_EQ(jvms[0].foundBy, "JAVA_HOME");
  EXPECT_EQ(jvms[0].homes, (std::vector<fs::path>{link, real}));
}

TEST(JvmSearch, ByALinkAmongPrograms) {
  Homes homes;
  const std::string real = homes.add("opt/jdk", "21");
  fs::create_directories(homes.sandbox.path("bin"));
  fs::create_symlink(real + "/bin/java", homes.sandbox.path("bin/java"));
  const auto jvms = findJvms({.javaHome = "", .path = homes.sandbox.path("bin"), .folders = {}});
  ASSERT_EQ(jvms.size(), 1);
  EXPECT_EQ(jvms[0].home, fs::canonical(real));
}

TEST(JvmSearch, NewestFirst) {
  Homes homes;
  homes.add("jvm/a", "9.0.4");
  homes.add("jvm/b", "17.0.10");
  // Of a package that brings no file "release".
  homes.add("jvm/c", "", "jre/lib/amd64/server/libjvm.so");
  writeArchive(homes.sandbox, "jvm/c/jre/lib/rt.jar",
               {{"META-INF/MANIFEST.MF", "Implementation-Version: 1.8.0_392\n"}});
  homes.add("jvm/d", "17.0.9+9-Debian");
  homes.add("jvm/e", "");
  homes.sandbox.write("jvm/f/release", "JAVA_VERSION=\"30\"\n");
  const auto jvms = findJvms({.javaHome = "", .path = "", .folders = {homes.sandbox.path("jvm")}});
  std::string found;
  for (const Jvm& jvm : jvms) found += jvm.home.filename();
  EXPECT_EQ(found, "bdace");
}

TEST(JvmChoice, JavaHomeThenThePathThenTheNewest) {
  Homes homes;
  const std::string old = homes.add("jvm/java-11", "11.0.2");
  const std::string middle = homes.add("jvm/java-17", "17.0.9");
  const std::string newest = homes.add("jvm/java-25", "25");
  const std::string standard = homes.link("jvm/default", "java-17");
  struct Row {
    std::string home, path, releases, chosen;
  };
  const Row rows[] = {
      {"", "", "", newest},
      {"", "/nowhere:" + middle + "/bin:" + old + "/bin", "", standard},
      {old, middle + "/bin", "", old},
      {old, middle + "/bin", "17..", standard},
      {old, "", "12..", newest},
      {old, "", "12..24", standard},
      // The default may be another one tomorrow.
      {"", "", "17", middle},
      {"", "", "..16", old},
      {"", "", "18..21", ""},
  };
  for (const Row& row : rows) {
    const JvmPlaces places = {
        .javaHome = row.home, .path = row.path, .folders = {homes.sandbox.path("jvm")}};
    const auto releases = row.releases.empty() ? JavaReleases() : JavaReleases::of(row.releases);
    const auto jvm = chosenJvm(places, findJvms(places), releases.value());
    EXPECT_EQ(jvm ? jvm->home.native() : "", row.chosen) << row.path << " " << row.releases;
  }
  for (const char* text : {"", "..", "x", "17.", "17...25", "25..17", "-1", "17x"})
    EXPECT_FALSE(JavaReleases::of(text)) << text;
}

TEST(JvmSearch, TheJvmOfALibrary) {
  Homes homes;
  const fs::path jdk = homes.add("jdk8", "1.8.0_392", "jre/lib/amd64/server/libjvm.so");
  const auto jvm = jvmOfLibrary(jdk / "jre/lib/amd64/server/libjvm.so");
  ASSERT_TRUE(jvm);
  EXPECT_EQ(jvm->release, 8);
  EXPECT_EQ(jvm->home, jdk);
  EXPECT_FALSE(jvmOfLibrary(jdk / "release"));
}

TEST(JvmSearch, ToolManagersAreWhereTheirVariablesSayOrInTheHomeFolder) {
  ::setenv("HOME", "/h", 1);
  ::setenv("ASDF_DATA_DIR", "/asdf", 1);
  const std::vector<fs::path> folders = usualJvmPlaces().folders;
  const auto has = [&](const char* folder) {
    return std::find(folders.begin(), folders.end(), folder) != folders.end();
  };
  EXPECT_EQ(folders.front(), "/usr/lib/jvm");
  EXPECT_TRUE(has("/h/.sdkman/candidates/java"));
  EXPECT_TRUE(has("/h/.jdks/"));
  EXPECT_TRUE(has("/asdf/installs/java"));
  EXPECT_FALSE(has("/h/.asdf/installs/java"));
  EXPECT_EQ(std::set(folders.begin(), folders.end()).size(), folders.size());
}

TEST(JavaReleases, AreDescribedAsTheyAreGiven) {
  const struct {
    const char* text;
    std::string description;
  } rows[] = {{"17", " of Java 17"},
              {"17..", " of Java 17 or newer"},
              {"..21", " of Java up to 21"},
              {"17..25", " of Java 17 to 25"}};
  for (const auto& row : rows)
    EXPECT_EQ(JavaReleases::of(row.text)->description(), row.description);
  EXPECT_EQ(JavaReleases().description(), "");
}

TEST(JvmCommand, Lines) {
  Homes homes;
  const std::string home = homes.add("100% j\\vm", "99.1");
  const Start start = {.environment = {{"JAVA_HOME", home}, {"PATH", ""}}};
  const std::string line =
      "java.library=" + spelledInPropertiesFile(home + "/lib/server/libjvm.so") + "\n";
  EXPECT_EQ(homes.sandbox.run({VELOX_KVF, "jvm", "--line", "99"}, start), (Outcome{0, line}));
  EXPECT_EQ(homes.sandbox.run({VELOX_KVF, "jvm", "--line", "100"}, start).status, 1);
  EXPECT_TRUE(homes.sandbox.run({VELOX_KVF, "jvm", "--line", "100"}, start)
                  .has("no JVM of Java 100 found; the newest is 99.1 in " + home));
  EXPECT_TRUE(homes.sandbox.run({VELOX_KVF, "jvm", "--json"}, start).has("\"version\": \"99.1\""));
  EXPECT_TRUE(
      homes.sandbox.run({VELOX_KVF, "jvm", "--line", "--json"}, start).out.starts_with("{"));
  EXPECT_TRUE(homes.sandbox.run({VELOX_KVF, "jvm"}, start)
                  .out.starts_with("99.1  Acme  (found by JAVA_HOME)\n    " + line));
  const Texts write = {VELOX_KVF, "jvm", "--write", homes.sandbox.path("jvm.kvf")};
  for (const char* kept : {"java.library=/old\njava.start.class=Main\n", "# Owner: ops\n",
                           "# C:\\\njava.library=/old\n", "java.library=/old\nword\n"}) {
    homes.sandbox.write("jvm.kvf", kept);
    EXPECT_EQ(homes.sandbox.run(write, start).status, 2);
    EXPECT_EQ(homes.sandbox.read("jvm.kvf"), kept);
  }
  fs::remove(homes.sandbox.path("jvm.kvf"));
  Start secretive = start;
  secretive.inChild = [] { ::umask(077); };
  EXPECT_EQ(homes.sandbox.run(write, secretive), (Outcome{0, ""}));
  EXPECT_EQ(fs::status(homes.sandbox.path("jvm.kvf")).permissions(), fs::perms(0600));
  EXPECT_EQ(homes.sandbox.read("jvm.kvf"), line);
  const std::string noEnd = line.substr(0, line.size() - 1);
  const struct {
    std::string before, after;
  } replaced[] = {
      {"# Owner: ops\n\n# kvf: allow jvm-library\njava.library=/old\n! end\n",
       "# Owner: ops\n\n# kvf: allow jvm-library\n" + line + "! end\n"},
      {"java.library = /old\\\n/jvm\r\n", noEnd + "\r\n"},
      {"java.library=/old", line},
      {"\n \n", line},
  };
  for (const auto& row : replaced) {
    homes.sandbox.write("jvm.kvf", row.before);
    EXPECT_EQ(homes.sandbox.run(write, start), (Outcome{0, ""}));
    EXPECT_EQ(homes.sandbox.read("jvm.kvf"), row.after);
  }
  homes.sandbox.write("jvm.kvf", line);
  EXPECT_EQ(homes.sandbox.run({VELOX_KVF, "jvm", "--write", "gone/jvm.kvf"}, start),
            (Outcome{2, "kvf: cannot make " + homes.sandbox.path("gone/jvm.kvf") +
                            ": No such file or directory\n"}));
  Texts without = write;
  without.insert(without.end(), {"--line", "100.."});
  EXPECT_EQ(homes.sandbox.run(without, start).status, 1);
  EXPECT_EQ(homes.sandbox.read("jvm.kvf"), line);
  fs::remove(home + "/release");
  EXPECT_TRUE(homes.sandbox.run({VELOX_KVF, "jvm"}, start)
                  .has("unknown version  (found by JAVA_HOME)\n    " + line));
}

}  // namespace
