#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "kvf/ZipFile.h"
#include "kvf/formats/Archive.h"
#include "kvf/launch/Inspector.h"
#include "kvf/rules/Check.h"
#include "kvf/rules/Keys.h"
#include "kvf/rules/Rule.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace fs = std::filesystem;

namespace {

const std::string& jvm = jvmLibrary();
constexpr const char* probeJar = VELOX_PROBE_JAR;

/// A properties file in three lines, sound as it is.
std::string launch(const std::string& library = jvm, const std::string& classPath = probeJar,
                   const std::string& startClass = "probe.Probe") {
  return "java.library=" + library + "\nvelox.class.path.extended=" + classPath +
         "\njava.start.class=" + startClass + "\n";
}

/// What is found in one launch, without the inspection.
std::vector<Finding> checked(const Inspection& inspection) {
  return check({&inspection, 1}, {});
}

/// "LINE RULE" for each finding.
Texts placesOf(const std::vector<Finding>& findings) {
  Texts places;
  for (const Finding& finding : findings) {
    places.push_back(std::to_string(finding.line()) + " " + finding.rule->id);
  }
  return places;
}

std::string textOf(const std::vector<Finding>& findings) {
  return findings.empty() ? "" : findings.front().text;
}

std::string many(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

/// Four lines, of which the last adds to a class path that nothing expands.
std::string withPlainClassPath(const std::string& element) {
  return "java.library=" + jvm + "\njava.start.class=probe.Probe\n#\njava.class.path=" + probeJar +
         ":" + element + "\n";
}

/// Four lines, of which the last leaves the working directory for the class path.
std::string withoutClassPath(const std::string& startClass) {
  return "java.library=" + jvm + "\njava.start.class=" + startClass +
         "\n# kvf: allow empty-value\njava.class.path=\n";
}

struct Row {
  const char* rule;
  std::size_t line;  ///< of the only finding
  std::string text;  ///< is in it
  std::string file;
};

const Row rows[] = {
    {"unknown-key", 4, "did you mean java.heap.size.max?", launch() + "java.heap.size.mx=1g\n"},
    {"unknown-key", 4, "the launcher sets", launch() + "wrapper.kvf.file=x\n"},
    {"unknown-key", 4, "did you mean java.property.a?", launch() + "java.properties.a=1\n"},
    {"unknown-key", 4, "write velox.env.ACME", launch() + "ACME=1\n"},
    {"option-line", 4, "write java.property.a=b", launch() + "-Da=b\n"},
    {"option-line", 4, "extended.properties=-XX:+UseSerialGC", launch() + "-XX:+UseSerialGC\n"},
    {"option-line", 4, "velox.class.path.extended=a.jar", launch() + "-cp a.jar\n"},
    {"foreign-comment", 4, "begin it with #", launch() + "// nothing\n"},
    {"lost-backslash", 4, "character itself", launch() + "java.property.a=\\u00e4\n"},
    {"lost-backslash", 4, "the value is \"a.b\"", launch() + "java.property.a=a\\.b\n"},
    {"continued-comment", 4, "\"a.b\" is not set", launch() + "# C:\\\na.b=c\n"},
    {"two-sources", 5, "by \"-Da=2\", which counts",
     launch() + "java.property.a=1\njava.extended.properties=-Da=2\n"},
    {"two-sources", 4, "\"-Xmx64m\", which counts",
     launch() + "java.heap.size.max=64m\njava.extended.properties=-XX:MaxHeapSize=32m\n"},
    {"two-sources", 5, "java.library.path=/usr",
     launch() + "java.extended.properties=-Djava.library.path=/opt\njava.library.path=/usr\n"},
    {"without-effect", 4, "nothing calls the stop method",
     launch() + "java.stop.method=shutdown\n"},
    {"without-effect", 4, "is the whole class path", launch() + "java.class.path=/usr\n"},
    {"without-effect", 5, "runs main, not \"other\"",
     launch() + "wrapper.command=--cmdlineJava\njava.start.method=other\n"},
    {"without-effect", 5, "--generateScript runs main",
     launch() + "wrapper.command=--generateScript\njava.start.method=other\n"},
    {"shell-variable", 4, "write %HOME%", launch() + "processID.file.name=~/a.pid\n"},
    {"shell-variable", 4, "$HOME",
     launch() + "java.extended.properties=-XX:ErrorFile=/tmp/Acme$HOME.log\n"},
    {"shell-variable", 4, "$GONE",
     launch() + "velox.env.LD_LIBRARY_PATH=%kvf.file.dir%/d$x:$GONE\n"},
    {"shell-variable", 4, "before the start", launch() + "velox.env.A_DIR=$(pwd)\n"},
    {"shell-variable", 4, "`...`", launch() + "velox.env.A_DIR=`pwd`\n"},
    {"shell-syntax", 4, "\"2>&1\"", launch() + "application.args=a 2>&1\n"},
    {"shell-syntax", 4, "\"'a\"", launch() + "application.args='a b'\n"},
    {"shell-syntax", 4, "\"$@\"", launch() + "application.args=\"$@\"\n"},
    {"shell-syntax", 4, "write %POD%", launch() + "application.args=$(POD)\n"},
    {"shell-syntax", 4, "line of its own", launch() + "application.args=a # b\n"},
    {"argument-quotes", 4, "is not closed", launch() + "application.args=\"a b\n"},
    {"quoted-value", 4, "quotes around \"5\"", launch() + "java.property.a='5'\n"},
    {"quoted-value", 4, "quotes around \"b\"", launch() + "java.property.a='b'\n"},
    {"quoted-value", 4, "quotes around \"64m\"", launch() + "java.property.a=\"64m\"\n"},
    {"trailing-comment", 4, "30 # s", launch() + "velox.env.A=30 # s\n"},
    {"open-reference", 4, "write %JAVA_HOME%", launch() + "java.property.a=%JAVA_HOME/lib\n"},
    {"option-word", 4, "not commas", launch() + "java.extended.properties=-Xint,-Xrs\n"},
    {"option-word", 4, "program java alone", launch() + "java.extended.properties=@a\n"},
    {"blank-before-value", 4, "\": b\" with the colon", launch() + "java.property.a : b\n"},
    {"blank-before-value", 4, "\":80\" with the colon", launch() + "java.property.a\t:80\n"},
    {"control-escape", 4, "becomes a tab", launch() + "java.property.a=a\\tb\n"},
    {"duplicate-key", 7, "in line 6 already",
     launch() + "a=1\njava.property.a=%a%\na=2\na=3\njava.property.b=%a%\n"},
    {"readable-secret", 4, "chmod o-r", launch() + "java.property.a.token=https://u:p@h/\n"},
    {"carriage-return", 4, "continues nothing",
     launch() + "java.property.a=b\\\r\njava.property.b=c\n"},
    {"short-include", 4, "last line", launch() + "velox.include=%kvf.file.dir%/empty.kvf"},
    {"include-depth", 1, "more than 32 MiB of text",
     launch() + many("velox.include.kvf=%kvf.file.dir%/wide.kvf\n", 33)},
    {"not-a-regular-file", 4, "is a folder", launch() + "velox.include.kvf=/usr\n"},
    {"unresolved-reference", 5, "did you mean acme.home?",
     launch() + "acme.home=1\njava.property.a=%acme.hom%%acme.home%\n"},
    {"reference-again", 6, "%b% is found inside",
     launch() + "a=\\\\%b\nb=1\njava.property.a=%a%%b%\n"},
    {"unresolved-reference", 4, "defined only below", launch() + "java.property.a=%b%\nb=1\n"},
    {"unresolved-reference", 1, "write b=%b% above ",
     launch() + "b=1\nvelox.include.kvf=%kvf.file.dir%/parent.kvf\n"},
    {"unresolved-reference", 1, "defined only below",
     launch() + "velox.include.kvf=%kvf.file.dir%/child.kvf\nb=1\n"},
    {"unresolved-reference", 4, "did you mean kvf.file.dir?",
     launch() + "java.property.a=%KVF.FILE.DIR%\n"},
    {"jvm-library", 1, "whichever libjvm.so the loader finds", launch("/gone/libjvm.so")},
    {"jvm-library", 1, ", here " + jvmLibrary() + ":",
     launch("/gone/libjvm.so") +
         "velox.env.LD_LIBRARY_PATH=/gone:" + fs::path(jvm).parent_path().string() + "\n"},
    {"jvm-library", 1, "is not a shared library", launch(probeJar)},
    {"jvm-library", 1, "is for RISC-V with 64 bits", launch("%kvf.file.dir%/riscv.so")},
    {"jvm-library", 1, "is a folder", launch("/usr/bin")},
    {"jvm-library", 1, "lacks JNI_CreateJavaVM", launch(VELOX_NATIVE_DIRECTORY "/libentry3.so")},
    {"jvm-library", 1, "looks for a name without a slash",
     launch("libbare.so") + "application.start.dir=%kvf.file.dir%/bare\n"},
    {"java-program", 4, "no program \"/usr\"",
     launch() + "java.path=/usr\nwrapper.command=--cmdlineJava\n"},
    {"start-class-not-found", 3, "did you mean probe.Probe?", launch(jvm, probeJar, "probe.Prob")},
    {"start-class-not-found", 3, "is probe.Probe, and",
     launch(jvm, "%kvf.file.dir%/classes/probe", "Probe")},
    {"start-class-not-found", 3, "too deep there, as in.probe.Probe",
     launch(jvm, "%kvf.file.dir%/folded")},
    {"start-class-not-found", 3, "is not in the class path", launch(jvm, "%kvf.file.dir%/one.jar")},
    {"start-class-not-found", 2, "the working directory, which an empty class path stands for",
     withoutClassPath("gone.Main")},
    // The nearest of the first archive that has one.
    {"start-class-not-found", 3, "did you mean a.Near?",
     launch(jvm, "%kvf.file.dir%/near/a.jar:%kvf.file.dir%/near/b.jar", "c.Near")},
    {"class-path-versions", 2, "two versions of acme are",
     launch(jvm, std::string(probeJar) + ":%kvf.file.dir%/versions/acme-1.0.jar:" +
                     "%kvf.file.dir%/versions/acme-1.1.jar")},
    {"start-method", 4, "void notStatic(", launch() + "java.start.method=notStatic\n"},
    {"start-method", 3, "void main(String[])\", and", launch(jvm, probeJar, "probe.Probe$Failing")},
    {"start-method", 4, "void gone(",
     launch(jvm, probeJar, "probe.Heir") + "java.start.method=gone\n"},
    {"start-method", 3, "is damaged", launch(jvm, "%kvf.file.dir%/damaged")},
    {"stop-method", 5, "did you mean halt?",
     launch() + "application.stop.signals=TERM\njava.stop.method=stop\n"},
    {"native-library", 1, "\"/gone.so\" is not there", "application.library=/gone.so\n"},
    {"native-library", 1, "for another architecture",
     "application.library=%kvf.file.dir%/riscv.so\n"},
    {"native-library", 1, "is not a shared library", "application.library=" VELOX_PROBE_JAR "\n"},
    {"native-library", 1, "export no AppStop, RegisterWrapperEntryPoints",
     "application.library=" VELOX_NATIVE_DIRECTORY "/libentry1.so\n"},
    {"class-path-star", 4, "write velox.class.path.extended=FOLDER",
     withPlainClassPath("%kvf.file.dir%/lib/*")},
    {"class-path-link", 2, "and 1 more",
     launch(jvm, "%kvf.file.dir%/classes;%kvf.file.dir%/links/**")},
    {"class-path-truncated", 2, "holds 2 archives, of which 1",
     launch(jvm, std::string(probeJar) + ";%kvf.file.dir%/lib") +
         "velox.class.path.extended.max.lib.number=1\n"},
    {"class-path-truncated", 2, "1 archive lies deeper in",
     launch(jvm, std::string(probeJar) + ";%kvf.file.dir%/deep/**") +
         "velox.class.path.extended.search.level=1x\n"},
    {"class-path-limit-range", 4, "from 1 to 8192",
     launch() + "velox.class.path.extended.max.lib.number=none\n"},
    {"class-path-archive", 2, "more than any sound archive",
     launch(jvm, std::string(probeJar) + ";%kvf.file.dir%/vast.jar")},
    {"class-path-archive", 4, "is not a file", withPlainClassPath("/dev/null")},
    {"heap-size", 4, "write 256m", launch() + "java.heap.size.max=256\n"},
    {"heap-size", 4, "\"12q\"", launch() + "java.extended.properties=-Xrs -Xss12q\n"},
    {"heap-size", 4, "\"=1g\"", launch() + "java.extended.properties=-Xmx=1g\n"},
    {"heap-order", 4, "above the maximum of 1g,",
     launch() + "java.extended.properties=-Xmx1g -Xms2g\n"},
    {"heap-order", 4, "above the maximum of 1g (",
     launch() + "java.extended.properties=-Xms2g\njava.heap.size.max=1g\n"},
    {"option-blank", 4, "\"-Xint=\"", launch() + "java.extended.properties=-Xint \\\n -Xrs\n"},
    {"option-blank", 4, "a tab", launch() + "java.extended.properties=-Xint\t-Xrs\n"},
    {"option-word", 4, "of the program java", launch() + "java.extended.properties=-cp x.jar\n"},
    {"option-word", 4, "write --module-path=", launch() + "java.extended.properties=-p x\n"},
    {"option-word", 4, "write --add-modules=", launch() + "java.extended.properties=-m a/b.C\n"},
    {"option-word", 4, "write -Xverify:none", launch() + "java.extended.properties=-noverify\n"},
    {"option-word", 4, "of the program java",
     launch() + "java.extended.properties=-XshowSettings:vm\n"},
    {"option-form", 5, "names no target",
     launch() + "java.extended.properties=-Xint \\\n--add-opens=java.base/java.lang\n"},
    {"option-form", 4, "names no target",
     launch() + "java.extended.properties=--add-opens=java.base/java.lang=\n"},
    {"option-form", 4, "names no package",
     launch() + "java.extended.properties=--add-exports=java.base=ALL-UNNAMED\n"},
    {"option-form", 4, "after \":\"", launch() + "java.extended.properties=-javaagent=a.jar\n"},
    {"option-form", 4, "has a value", launch() + "java.extended.properties=-XX:+MaxHeapSize\n"},
    {"option-path", 4, "there is no \"/a.jar\"",
     launch() + "java.extended.properties=-javaagent:/a.jar=b\n"},
    {"option-path", 4, "starts without the log",
     launch() + "java.extended.properties=-Xloggc:/gone/a.log\n"},
    {"option-path", 4, "silently ignores it",
     launch() + "java.extended.properties=-Xbootclasspath/a:/gone.jar\n"},
    {"option-release", 4, "(did you mean UseG1GC?)",
     launch() + "java.extended.properties=-XX:+UseG1CG\n"},
    {"option-release", 4, "does not know \"-Xlogg:all\"",
     launch() + "java.extended.properties=-Xlogg:all\n"},
    {"option-release", 4, "unless -XX:+UnlockDiagnosticVMOptions comes before it",
     launch() + "java.extended.properties=-XX:+PrintAssembly -XX:+UnlockDiagnosticVMOptions\n"},
    {"option-form", 4, "write -Da=b in one word", launch() + "java.extended.properties=-D a=b\n"},
    {"option-value", 4, "write one such as 75.0",
     launch() + "java.extended.properties=-XX:MaxRAMPercentage=75%\n"},
    {"option-value", 4, "a percentage is ",
     launch() + "java.extended.properties=-XX:MaxRAMPercentage=0xFF\n"},
    {"option-value", 4, "it is 1 or more",
     launch() + "java.extended.properties=-XX:CICompilerCount=0\n"},
    {"log-selection", 4, "\"foo\" is no tag",
     launch() + "java.extended.properties=-Xlog:gc+heap*=debug,gc+foo\n"},
    {"log-selection", 4, "\"\" is no tag", launch() + "java.extended.properties=-Xlog:gc,,os\n"},
    {"log-selection", 4, "\"day\" is no decoration",
     launch() + "java.extended.properties=-Xlog::stderr:time,day\n"},
    {"module-missing", 4, "(did you mean java.base?)",
     launch() + "java.property.jdk.module.main=java.bass\n"},
    {"option-path", 4, "by \":\" alone", launch() + "java.library.path=/tmp;/usr\n"},
    {"option-argument", 4, "not an option of the JVM",
     launch() + "application.args=-Xmx1g server\n"},
    {"option-argument", 4, "\"-Xmx1g\"",
     launch() + "application.args=--verbose -Xmx1g -jvmArgs -Xmx2g -Xrs\n"},
    {"stack-size", 4, "do not start with 2g", launch() + "java.extended.properties=-Xss2g\n"},
    {"stack-size", 4, "write 8192k for kilobytes", launch() + "java.thread.stack.size=8192\n"},
    {"class-path-missing", 2, "not by commas or blanks",
     launch(jvm, std::string(probeJar) + ":" + probeJar + "," + probeJar)},
    {"class-path-star", 2, "FOLDER/** for those below",
     launch(jvm, probeJar + std::string(":/usr**"))},
    {"class-path-missing", 2, "leave out file:", launch(jvm, std::string(probeJar) + ":file:/usr")},
    {"aot-cache", 4, "the JVM does not start",
     launch() + "java.extended.properties=-XX:AOTCache=a -XX:AOTMode=on\n"},
    {"option-word", 4, "reads \"-Xrs=-Da=b c\"",
     launch() + "java.extended.properties=-Xrs \"-Da=b c\"\n"},
    {"option-word", 4, R"(reads nothing of "c")", launch() + "java.extended.properties=-Da b c\n"},
    {"option-word", 4, "reads \"-Da=b\" here", launch() + "java.extended.properties=-Da=\"b\"c\n"},
    {"option-word", 4, "is dropped: \"512m\"", launch() + "java.extended.properties=512m -Xrs\n"},
    {"unknown-command", 4, "\"--cleanInstall\" is not a command",
     launch() + "wrapper.command=--cleanInstall\n"},
    {"windows-command", 4, "on Windows only", launch() + "wrapper.command=--start\n"},
    {"start-directory", 4, "there is no folder", launch() + "application.start.dir=/gone\n"},
    {"process-id-file", 4, "no folder \"/gone\"", launch() + "processID.file.name=/gone/a.pid\n"},
    {"process-id-file", 4, "is relative", launch() + "processID.file.name=a.pid\n"},
    {"environment-name", 4, "not a name that a shell takes", launch() + "velox.env.1A=1\n"},
};

/// What the rows refer to.
void writeSurroundings(Sandbox& sandbox) {
  sandbox.write("empty.kvf", "");
  sandbox.write("a.kvf", "java.property.a=1\n");
  sandbox.write("parent.kvf", "velox.include.kvf=%kvf.file.dir%/child.kvf\n");
  sandbox.write("child.kvf", "java.property.a=%b%\n");
  sandbox.write("wide.kvf", std::string((std::size_t{1} << 20U) - 1, '#'));
  const std::string jar = probeJar;
  for (const char* copy :
       {"lib/a.jar", "lib/b.jar", "deep/below/a.jar", "level/2/3/4/5/a.jar", "my lib/a.jar"}) {
    sandbox.write(copy, "");
    fs::copy_file(jar, sandbox.path(copy), fs::copy_options::overwrite_existing);
  }
  sandbox.write("d$x/a", "");
  sandbox.write("broken.jar", "PK");
  sandbox.write("vast.jar", "PK\5\6" + std::string(11, '\0') + '\x40' + std::string(6, '\0'));
  writeArchive(
      sandbox, "manifest.jar",
      {{"META-INF/MANIFEST.MF", "Manifest-Version: 1.0\nClass-Path: gone.jar lib/\n a.jar\n"}});
  // Its classes are in the archives that it names, by URLs.
  writeArchive(sandbox, "urls.jar",
               {{"META-INF/MANIFEST.MF",
                 "Class-Path: my%20lib/a.jar file:" + sandbox.path("gone.jar") + "\n"}});
  const std::string some = Archive(jar).read("probe/Probe.class").value();
  writeArchive(sandbox, "near/a.jar", {{"a/Near.class", some}});
  writeArchive(sandbox, "near/b.jar", {{"b/Near.class", some}});
  // Only a class that both have is taken from one of them.
  const std::map<std::string, std::string> shared = {{"logback.xml", "<x/>"},
                                                     {"META-INF/versions/9/acme/A.class", some},
                                                     {"acme/package-info.class", some},
                                                     {"module-info.class", some}};
  for (const char* name : {"versions/acme-1.0.jar", "versions/acme-1.1.jar"})
    writeArchive(sandbox, name, {{"acme/A.class", some}});
  for (const char* name : {"1.0", "1.1"}) {
    std::map<std::string, std::string> entries = shared;
    entries[std::string("acme/V") + name[2] + ".class"] = some;
    writeArchive(sandbox, std::string("versions/other-") + name + ".jar", entries);
  }
  std::string cyclic = some;
  const std::string_view object("\0\x10java/lang/Object", 18);
  cyclic.replace(cyclic.find(object), object.size(), std::string("\0\xBprobe/Probe", 13));
  sandbox.write("cyclic/probe/Probe.class", cyclic);
  writeArchive(sandbox, "mixed/a.jar", {{"a/A.class", some}});
  sandbox.write("mixed/b/B.class", some);
  // The class of a release, in an archive for several and in one that is not.
  for (const auto& [name, manifest] : {std::pair("many.jar", "Multi-Release: TRUE\n"),
                                       std::pair("one.jar", "Multi-Release: false\n")})
    writeArchive(
        sandbox, name,
        {{"META-INF/MANIFEST.MF", manifest}, {"META-INF/versions/9/probe/Probe.class", some}});
  writeArchive(sandbox, "verbs.jar",
               {{"probe/Probe.class", some},
                {"probe/Probe$Verbs.class", some + std::string("\1\0\6reload", 9)}});
  sandbox.write("bare/note", "");
  fs::create_symlink(jvm, sandbox.path("bare/libbare.so"));
  sandbox.write("linked/1.2/note", "");
  fs::copy_file(jar, sandbox.path("linked/acme-1.2.jar"));
  fs::copy_file(jar, sandbox.path("linked/1.2/more.jar"));
  fs::create_symlink("acme-1.2.jar", sandbox.path("linked/acme.jar"));
  fs::create_directory_symlink("1.2", sandbox.path("linked/latest"));
  sandbox.write("links/note", "");
  fs::create_symlink(jar, sandbox.path("links/a.jar"));
  fs::create_symlink(sandbox.path("links/note"), sandbox.path("links/other"));
  fs::create_directory_symlink(sandbox.path("lib"), sandbox.path("links/lib"));

  // The header of a 64-bit library for RISC-V, of which nothing else is read.
  std::string header = std::string(
                           "\x7F"
                           "ELF\x02\x01\x01",
                           7) +
                       std::string(57, '\0');
  header[16] = 3;
  header[18] = '\xF3';
  header[20] = 1;
  sandbox.write("riscv.so", header);

  sandbox.write("classes/probe/Probe.class", Archive(jar).read("probe/Probe.class").value());
  sandbox.write("damaged/probe/Probe.class", "\xCA\xFE\xBA\xBE");
  sandbox.write("folded/in/probe/Probe.class", Archive(jar).read("probe/Probe.class").value());
  std::string newer = Archive(jar).read("probe/Probe.class").value();
  newer[7] = 44 + 60;
  sandbox.write("newer/probe/Probe.class", newer);
}

/// Java 8 has neither modules nor that log, and says so of their options.
bool wantsJava9InVain(const std::string& file) {
  constexpr const char* options[] = {"--add-", "--patch-module", "jdk.module.", "-Xlog:"};
  return javaRelease() < 9 &&
         std::any_of(std::begin(options), std::end(options),
                     [&](const char* option) { return file.find(option) != std::string::npos; });
}

TEST(Rules, FindTheirMistakeAndNothingElse) {
  Sandbox sandbox;
  writeSurroundings(sandbox);
  for (const Row& row : rows) {
    if (wantsJava9InVain(row.file)) continue;
    SCOPED_TRACE(row.file);
    const auto findings = checked(inspectFile(sandbox.write("app.kvf", row.file)));
    EXPECT_EQ(placesOf(findings), (Texts{std::to_string(row.line) + " " + row.rule}));
    EXPECT_NE(textOf(findings).find(row.text), std::string::npos) << textOf(findings);
  }
}

/// What looks odd and is right: a finding would waste its reader's time.
const std::string soundFiles[] = {
    launch() +
        "java.extended.properties=-Xlog:disable -Xlog:all=warning:stderr:uptime,tags "
        "-Xlog:GC+Heap*=Debug,safepoint::TIME,l\n",
    launch(),
    launch(jvm, probeJar, "probe/Probe"),
    launch(jvm, probeJar, "probe.Heir"),
    launch() + "java.start.method=other\n",
    launch() +
        "java.extended.properties=-Xint\njava.extended.properties=%java.extended.properties% "
        "-Xrs\n",
    launch() +
        "java.extended.properties=-Xlog:gc*:file=gc.log:time:filecount=5 -Xss2m "
        "-XX:StartFlightRecording -XX:StartFlightRecording:filename=a.jfr,maxage=1h "
        "-XX:HeapDumpPath=/tmp -XX:ErrorFile=/tmp/error.log -XX:MaxHeapSize=64m "
        "--add-opens=java.base/java.lang=ALL-UNNAMED --patch-module=java.base=/tmp "
        "-agentlib:jdwp=address=1 -XX:+IgnoreUnrecognizedVMOptions -XX:+UseFoo -XX:Foo "
        "-XX:-UseSerialGC\n",
    launch() + "java.path=" + javaProgram() + "\nwrapper.command=--cmdlineJava\n",
    launch() + "! a comment = here\n",
    launch() + "java.property.a==b\njava.property.b:=c\n\tjava.property.c \t d\n",
    launch() + "java.property.a=\\ b\\ \n",
    launch() + "velox.env.DISPLAY=:0\njava.property.a= :80\n",
    launch() + "java.property.a=\\t\njava.property.line.separator=\\r\\n\n",
    launch() +
        "java.property.a='NULL'\njava.property.d='NOW()'\njava.property.b='\"'\njava.property.c=\"'"
        "\"\n",
    launch() + "commandline.argv.1=\"yes\"\ncommandline.argv.2=30 # s\n",
    launch() + "a=1\njava.property.a=%a%\na=2\njava.property.b=%a%\n",
    launch() + "application.args=worker -jvmArgs -Xmx2g -Xms1g --java-options -Xrs\n",
    launch() +
        "java.property.a.password=ENC(abcdef)\njava.property.b.credentials=classpath:a.json\n"
        "java.property.c.credentials=https://host/a\njava.property.d.token=env:TOKEN\n",
    launch() +
        "java.extended.properties=-XX:CompileCommand=dontinline,java/util/HashMap$Node.* "
        "-XX:CompileCommand=exclude,*B$C::d -XX:+UnlockDiagnosticVMOptions "
        "-XX:AbortVMOnException=a.B$C "
        "-agentlib:jdwp=address=$HOST\n",
    launch() +
        "java.extended.properties=-Xlog:gc:file=%kvf.file.dir%/d$x/gc.log\n"
        "velox.env.LD_LIBRARY_PATH=%kvf.file.dir%/d$x\n"
        "velox.env.ACME_TEMPLATE_DIR=/srv/${tenant}/x\n",
    launch(jvm, std::string(probeJar) + ":%kvf.file.dir%/d$x"),
    launch() + "java.extended.properties=-XX:MaxRAMPercentage=50.5\n",
    launch() + "java.property.a=C:\\\\temp\\\\new\n# C:\\temp\n",
    launch() + "java.property.a=one\\\ntwo\n",
    launch() + "java.property.empty=\n",
    launch() + "java.property.last=line",
    launch() + "acme.home=/opt\njava.property.a=%acme.home%/x\n",
    launch() + "java.property.a=100\\\\% sure, 5\\\\% unsure, 50%\n",
    launch() + "velox.env.FORMAT=\\\\\\\\%d\\\\\\\\%\n",
    launch() + "velox.env.MODE=fast\njava.property.a=%MODE%\n",
    launch() + "velox.env.PATH=/opt/bin:%PATH%\n",
    launch() + "velox.include.kvf.more=%kvf.file.dir%/empty.kvf\n",
    launch() +
        "velox.include.kvf=%kvf.file.dir%/a.kvf\n"
        "velox.include.kvf=%kvf.file.dir%/a.kvf\n",
    launch() + "java.property.a=%kvf.file.dir%%path.separator%/x\n",
    launch() + "java.heap.size.max=1g\njava.heap.size.initial=1024m\njava.thread.stack.size=512k\n",
    launch() + "java.extended.properties=-Xint -Dgreeting=\"hello world\" -Dempty=\"\"\n",
    launch() + "java.extended.properties=-Xms2g -Xmx1g -Xmx3g\n",
    launch() + "application.args = a \"b c\"  \njava.extended.properties = -Xrs -Da=\" \" \n",
    launch() + "java.extended.properties=--add-modules java.sql -Da b -Xrs \\\n-XX:+UseSerialGC\n",
    launch() +
        "java.extended.properties=-XX:ErrorFile=%kvf.file.dir%/hs\\\\%p.log "
        "-Xlog:gc:%kvf.file.dir%/gc\\\\%p.log\n",
    launch() + "application.start.dir=%kvf.file.dir%/lib\n",
    launch() + "application.start.dir=\n",
    launch("libbare.so") +
        "application.start.dir=%kvf.file.dir%/bare\nvelox.env.LD_LIBRARY_PATH=/gone:.\n",
    launch("libbare.so") +
        "application.start.dir=%kvf.file.dir%/bare\nvelox.env.LD_LIBRARY_PATH=/gone:\n",
    launch() + "java.extended.properties=-Djava.endorsed.dirs= -Djava.ext.dirs=\n",
    launch() + "application.stop.signals=TERM, SIGINT\n",
    launch() + "ntservice.name=acme\nwrapper.command=--run\n",
    launch(jvm, std::string(probeJar) + ";%kvf.file.dir%/lib;%kvf.file.dir%/deep/**;"),
    launch(jvm, "%kvf.file.dir%/classes"),
    launch(jvm, "%kvf.file.dir%/manifest.jar"),
    launch(jvm, "%kvf.file.dir%/urls.jar"),
    launch(jvm, "%kvf.file.dir%/many.jar"),
    launch(jvm, "%kvf.file.dir%/linked/**"),
    // An empty element of a class path is the working directory; an expanded one ends with it.
    withoutClassPath("probe.Probe") + "application.start.dir=%kvf.file.dir%/classes\n",
    launch(jvm, "%kvf.file.dir%/near") + "application.start.dir=%kvf.file.dir%/classes\n",
    // A class that is its own superclass: nobody knows what it has, and the JVM refuses it.
    launch(jvm, "%kvf.file.dir%/cyclic") + "java.start.method=gone\n",
    // It brings classes, too.
    withPlainClassPath("%kvf.file.dir%/mixed"),
    launch(jvm, std::string(probeJar) + ":%kvf.file.dir%/versions/other-1.0.jar:" +
                    "%kvf.file.dir%/versions/other-1.1.jar"),
    launch(jvm, std::string(probeJar) + ";%kvf.file.dir%/level/**") +
        "velox.class.path.extended.search.level=5x\n",
    launch(jvm, "%kvf.file.dir%/lib", "com.sun.tools.javac.Main"),
    launch(jvm, probeJar, "acme.Main") + "java.extended.properties=-Xbootclasspath/a:" + probeJar +
        "\n",
    launch(jvm, probeJar, "acme.Main") +
        "java.extended.properties=--patch-module=acme=/opt/a.jar\n",
    launch(jvm, probeJar, "acme.Main") + "java.extended.properties=-javaagent:" + probeJar + "\n",
    launch(jvm, probeJar, "acme.Main") + "java.extended.properties=-Djava.system.class.loader=A\n",
    std::string("java.library=") + jvm + "\njava.class.path=" + probeJar +
        "\njava.start.class=probe.Probe\n",
    std::string("application.library=") + VELOX_NATIVE_DIRECTORY +
        "/libentry1.so:" + VELOX_NATIVE_DIRECTORY + "/libentry2.so\n",
    "# A file for one platform. kvf: allow no-library\napplication.args=x\n",
    std::string("application.library=libacme.so:") + VELOX_NATIVE_DIRECTORY + "/libentry1.so\n",
};

TEST(Rules, AMissingIncludeIsReportedOnce) {
  Sandbox sandbox;
  const std::string file = sandbox.write(
      "app.kvf",
      "velox.include.kvf=/gone\njava.property.a=%home%\nvelox.adjuster.class.path=a.jar\n"
      "home=/opt\n");
  EXPECT_EQ(placesOf(checked(inspectFile(file))), (Texts{"1 missing-include"}));
}

TEST(Rules, AfterTooManyMistakesNoKeyCountsAsAbsent) {
  Sandbox sandbox;
  const std::string file = sandbox.write("app.kvf", many("velox.include.kvf=/gone\n", 30));
  for (const Finding& finding : checked(inspectFile(file))) {
    EXPECT_STREQ(finding.rule->id, "missing-include");
  }
}

TEST(Rules, SoundFilesHaveNoFinding) {
  // Some logs are relative to it, and every user may write there.
  fs::current_path(fs::temp_directory_path());
  Sandbox sandbox;
  writeSurroundings(sandbox);
  for (const std::string& text : soundFiles) {
    if (wantsJava9InVain(text)) continue;
    const auto findings = checked(inspectFile(sandbox.write("app.kvf", text)));
    EXPECT_EQ(placesOf(findings), Texts{}) << text << textOf(findings);
  }
}

struct LaunchRow {
  const char* rule;
  std::size_t argument;  ///< of the only finding; 0 is the program
  std::string text;      ///< is in it
  Texts arguments;
};

TEST(Rules, FindTheirMistakeOnTheCommandLine) {
  Sandbox sandbox;
  const std::string app = sandbox.write("app.kvf", launch() + "velox.env.PROBE=1\n");
  const std::string recorded =
      sandbox.write("recorded.kvf", launch() + "processID.file.name=/run/acme.pid\n");
  const LaunchRow launchRows[] = {
      {"missing-file",
       2,
       "open properties file : /gone.kvf",
       {"w", "--propFile", "/gone.kvf", "x"}},
      {"unknown-switch", 3, "write --propVar a=b", {"w", "--propFile", app, "--propvar=a=b"}},
      {"unknown-switch",
       3,
       "write --propVar",
       {"w", "--propFile", app, "--propVar=a=/a/long/value"}},
      {"dashed-argument", 3, "\"--cleanInstall\"", {"w", "--propFile", app, "--cleanInstall"}},
      {"switch-value", 3, "takes \"--run\"", {"w", "--propFile", app, "--propVar", "--run"}},
      {"kill-command", 3, "needs processID.file.name", {"w", "--propFile", app, "--kill", "Abort"}},
      {"start-delay", 4, "is negative", {"w", "--propFile", app, "--delayStart", "-1"}},
      {"start-delay", 4, "is not a number", {"w", "--propFile", app, "--delayStart", "soon"}},
      {"kill-command", 3, "not \"Term\"", {"w", "--propFile", recorded, "--kill", "Term"}},
      {"service-verb", 3, "classes have no such word", {"w", "--propFile", app, "reload"}},
  };
  for (const LaunchRow& row : launchRows) {
    SCOPED_TRACE(row.text);
    const auto findings = checked(inspectCommandLine(row.arguments));
    EXPECT_EQ(placesOf(findings), (Texts{std::to_string(row.argument) + " " + row.rule}));
    EXPECT_NE(textOf(findings).find(row.text), std::string::npos) << textOf(findings);
  }
}

TEST(Rules, SoundCommandLinesHaveNoFinding) {
  Sandbox sandbox;
  const std::string app =
      sandbox.write("app.kvf", launch() + "velox.env.PROBE=1\nprocessID.file.name=/run/acme.pid\n");
  Texts full = {"wrapper", "--propFile", app};
  full.resize(1022, "argument");
  // No class-data archive, of which a launch without a JVM asks nothing.
  const std::string archived = sandbox.write(
      "archived.kvf",
      launch() + "java.extended.properties=-XX:SharedArchiveFile=%kvf.file.dir%/app.kvf\n");
  const std::string debugged = sandbox.write(
      "debugged.kvf",
      launch() + "java.extended.properties=-agentlib:jdwp=transport=dt_socket,server=y\n");
  // --propVar comes before the environment, so that nothing of that is used.
  const std::string homely =
      sandbox.write("homely.kvf", launch() + "HOME=/own\njava.property.a=%HOME%\n");
  // Another class of its archive knows the word.
  writeSurroundings(sandbox);
  const std::string verbs = sandbox.write("verbs.kvf", launch(jvm, "%kvf.file.dir%/verbs.jar"));
  const Texts lines[] = {
      full,
      {"w", "--propFile", verbs, "reload"},
      {"w", "--propFile", homely, "--propVar", "HOME=/typed"},
      {"w", "--propFile", app, "--propVar", "WHO=a=b", "--delayStart", "2000", "-x", "y"},
      {"w", "--propFile", app, "--kill", "abort"},
      {"w", "--propFile", app, "--cmdlineJava"},
      {"w", "--debug", "--silent", "--pid", "--run", "--propFile", app},
      {"w", "--version"},
      {"w", "--version", "--propFile", archived},
      {"w", "--version", "--propFile", debugged},
      {"w", "--help"},
  };
  for (const Texts& line : lines) {
    const auto findings = checked(inspectCommandLine(line));
    EXPECT_EQ(placesOf(findings), Texts{}) << line.back() << textOf(findings);
  }
}

TEST(Keys, AFamilyKnowsItsMembers) {
  EXPECT_STREQ(findKey("velox.env.PATH")->name, "velox.env.");
  EXPECT_STREQ(findKey("velox.include.kvf.2")->name, "velox.include.kvf");
  EXPECT_EQ(findKey("java.heap.size.max.x"), nullptr);
  EXPECT_NE(keysAsScdoc().find("*velox.env.*_NAME_\n\tThe environment variable NAME."),
            std::string::npos);
}

}  // namespace
