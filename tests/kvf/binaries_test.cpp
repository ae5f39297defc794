#include <fstream>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "kvf/ZipFile.h"
#include "kvf/formats/Archive.h"
#include "kvf/formats/ClassFile.h"
#include "kvf/formats/ElfFile.h"
#include "kvf/launch/ModulePath.h"
#include "support/Jdk.h"
#include "support/Sandbox.h"

namespace {

std::string bytesOf(const std::string& file) {
  std::ostringstream bytes;
  bytes << std::ifstream(file, std::ios::binary).rdbuf();
  return std::move(bytes).str();
}

std::string probeClass() {
  return Archive(VELOX_PROBE_JAR).read("probe/Probe.class").value();
}

TEST(ClassFile, AClassOfTheCompiler) {
  const std::string bytes = probeClass();
  const auto parsed = parseClassFile(bytes);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->name, "probe/Probe");
  EXPECT_EQ(parsed->superName, "java/lang/Object");
  EXPECT_EQ(javaReleaseOf(parsed->majorVersion), 8);
  ASSERT_NE(parsed->staticMethod("main", "([Ljava/lang/String;)V"), nullptr);
  EXPECT_TRUE(parsed->staticMethod("main", "([Ljava/lang/String;)V")->isPublic());
  EXPECT_EQ(parsed->staticMethod("main", "()V"), nullptr);
  EXPECT_EQ(parsed->staticMethod("<init>", "()V"), nullptr);
}

TEST(ClassFile, NoPartOfAClassIsAClass) {
  const std::string bytes = probeClass();
  // The attributes of the class itself come last and are not read.
  std::size_t longest = 0;
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    if (!parseClassFile(std::string_view(bytes).substr(0, length))) longest = length;
  }
  EXPECT_GT(longest, bytes.size() * 9 / 10);
}

TEST(ClassFile, ConstantsOfEveryKind) {
  const auto fixed = [](int tag, std::size_t bytes) {
    return static_cast<char>(tag) + std::string(bytes, 'x');
  };
  const auto utf8 = [](const std::string& text) {
    return std::string("\1\0", 2) + static_cast<char>(text.size()) + text;
  };
  // Of 8 bytes are long and double, which count twice.
  std::string constants = utf8("A") + std::string("\7\0\1", 3) + fixed(5, 8) + fixed(6, 8);
  for (const int tag : {3, 4, 9, 10, 11, 12, 17, 18}) constants += fixed(tag, 4);
  for (const int tag : {8, 16, 19, 20}) constants += fixed(tag, 2);
  constants += fixed(15, 3) + utf8("main") + utf8("()V");
  const std::string method("\0\x8\0\x14\0\x15\0\0", 8);  // static, names 20 and 21
  const std::string bytes = std::string("\xCA\xFE\xBA\xBE\0\0\0\x34\0\x16", 10) + constants +
                            std::string("\0\0\0\2\0\0\0\0\0\0\0\1", 12) + method +
                            std::string(2, '\0');
  const auto parsed = parseClassFile(bytes);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->name, "A");
  EXPECT_NE(parsed->staticMethod("main", "()V"), nullptr);
}

TEST(ClassFile, AModuleSaysWhatItNeedsAndStarts) {
  const auto u2 = [](std::initializer_list<unsigned> numbers) {
    std::string bytes;
    for (const unsigned number : numbers)
      bytes += {static_cast<char>(number >> 8U), static_cast<char>(number)};
    return bytes;
  };
  const auto utf8 = [&](const std::string& text) {
    return '\1' + u2({static_cast<unsigned>(text.size())}) + text;
  };
  const std::string constants = utf8("module-info") + '\7' + u2({1}) + utf8("Module") +
                                utf8("com.acme") + '\23' + u2({4}) + utf8("java.sql") + '\23' +
                                u2({6}) + utf8("java.rmi") + '\23' + u2({8}) +
                                utf8("ModuleMainClass") + utf8("com/acme/Main") + '\7' + u2({11});
  // com.acme requires java.sql, and java.rmi to compile; it exports, uses and provides something.
  const std::string module =
      u2({5, 0, 0, 2, 7, 0, 0, 9, 0x40, 0, 1, 0, 0, 1, 0, 0, 1, 0, 1, 2, 1, 2});
  const std::string bytes = "\xCA\xFE\xBA\xBE" + u2({0, 53, 13}) + constants +
                            u2({0x8000, 2, 0, 0, 0, 0, 2, 10, 0, 2, 12, 3, 0, 44}) + module;
  const auto parsed = parseClassFile(bytes);
  ASSERT_TRUE(parsed && parsed->module);
  EXPECT_EQ(parsed->module->name, "com.acme");
  EXPECT_EQ(parsed->module->required, std::vector<std::string_view>{"java.sql"});
  EXPECT_TRUE(parsed->module->provides);
  EXPECT_EQ(parsed->module->mainClass, "com/acme/Main");
}

/// A module-info.class that says no more than this.
std::string declaration(const std::string& name, const Texts& required, bool provides) {
  std::size_t count = 0;
  std::string constants;
  const auto u2 = [](std::size_t number) {
    return std::string{static_cast<char>(number >> 8U), static_cast<char>(number)};
  };
  const auto utf8 = [&](const std::string& text) {
    constants += '\1' + u2(text.size()) + text;
    return ++count;
  };
  const auto named = [&](char tag, const std::string& text) {
    const std::size_t at = utf8(text);
    constants += tag + u2(at);
    return ++count;
  };
  const std::size_t self = named('\7', "module-info");
  const std::size_t attribute = utf8("Module");
  std::string module = u2(named('\23', name)) + u2(0) + u2(0) + u2(required.size());
  for (const std::string& one : required) module += u2(named('\23', one)) + u2(0) + u2(0);
  module += u2(0) + u2(0) + u2(0) + u2(provides ? 1 : 0);
  if (provides) module += u2(self) + u2(1) + u2(self);
  return "\xCA\xFE\xBA\xBE" + u2(0) + u2(53) + u2(count + 1) + constants + u2(0x8000) + u2(self) +
         u2(0) + u2(0) + u2(0) + u2(0) + u2(1) + u2(attribute) + u2(0) + u2(module.size()) + module;
}

TEST(ModulePath, AModuleIsResolvedWithThoseThatAskForIt) {
  Sandbox sandbox;
  const auto declare = [&](const std::string& place, const std::string& name, const Texts& required,
                           bool provides = false) {
    if (place.ends_with(".jar")) {
      writeArchive(sandbox, "mods/" + place,
                   {{"module-info.class", declaration(name, required, provides)}});
    } else {
      sandbox.write("mods/" + place + "/module-info.class", declaration(name, required, provides));
    }
  };
  declare("top.jar", "top", {"java.base", "middle"});
  declare("middle", "middle", {"bottom", "top"});
  declare("bottom.jar", "bottom", {"gone"});
  declare("alone.jar", "alone", {"ofAlone"});
  declare("ofAlone.jar", "ofAlone", {});
  declare("service.jar", "service", {"ofService"}, true);
  declare("ofService.jar", "ofService", {});
  declare("user.jar", "user", {"auto.one"});
  writeArchive(sandbox, "mods/auto-one.jar", {{"x", ""}});
  writeArchive(sandbox, "mods/auto.two-1.0.jar", {{"x", ""}});
  writeArchive(sandbox, "mods/notes.zip", {{"x", ""}});
  const struct {
    std::string option;
    std::string resolved;  ///< in the order of the path
  } rows[] = {
      {"-Dacme=1", "ofService service"},
      {"--add-modules=top", "bottom middle ofService service top"},
      {"--add-modules=middle,ofAlone", "bottom middle ofAlone ofService service top"},
      {"--add-modules=bottom", "bottom ofService service"},
      {"--add-modules=gone", "ofService service"},
      {"-Djdk.module.main=alone", "alone ofAlone ofService service"},
      // One automatic module asks for all the others.
      {"--add-modules=user", "auto.one auto.two ofService service user"},
      {"--add-modules=ALL-MODULE-PATH",
       "alone auto.one auto.two bottom middle ofAlone ofService service top user"},
  };
  for (const auto& row : rows) {
    const ModulePath path({"--module-path=gone:mods", row.option}, sandbox.path());
    std::set<std::string> resolved;
    for (const FoundModule& module : path.modules())
      if (path.mayBeResolved(module)) resolved.insert(module.name);
    std::string names;
    for (const std::string& name : resolved) names += (names.empty() ? "" : " ") + name;
    EXPECT_EQ(names, row.resolved) << row.option;
  }
}

TEST(ModulePath, OfTwoModulesWithOneNameTheFirstCounts) {
  Sandbox sandbox;
  for (const char* place : {"b/acme-1.jar", "a/acme-2.jar"})
    writeArchive(sandbox, place, {{"x", ""}});
  const ModulePath path({"--module-path=a", "--module-path=b:a:b/acme-1.jar"}, sandbox.path());
  ASSERT_EQ(path.modules().size(), 1U);
  EXPECT_EQ(path.modules()[0].where, sandbox.path("b/acme-1.jar"));
  EXPECT_EQ(path.moduleAt(sandbox.path("a/acme-2.jar")), nullptr);
  EXPECT_EQ(path.moduleAt(sandbox.path("b/acme-1.jar")), path.find("acme"));
}

TEST(ModulePath, ArchivesWithoutADeclarationAreNamedByTheirFiles) {
  EXPECT_EQ(automaticModuleName("acme-1.jar"), "acme");
  EXPECT_EQ(automaticModuleName("acme-7"), "acme");
  EXPECT_EQ(automaticModuleName("acme-7x.jar"), "acme.7x");
  EXPECT_EQ(automaticModuleName("acme-1.2.jar"), "acme");
  EXPECT_EQ(automaticModuleName("com_acme--lib-2-beta.jar"), "com.acme.lib.2.beta");
  EXPECT_EQ(automaticModuleName("_acme.x-3.jar"), "acme.x");
}

TEST(ClassFile, JavaReleases) {
  EXPECT_EQ(javaReleaseOf(44), 0);
  EXPECT_EQ(javaReleaseOf(45), 1);
  EXPECT_EQ(javaReleaseOf(52), 8);
  EXPECT_EQ(javaReleaseOf(61), 17);
}

TEST(ElfFile, LibrariesAndPrograms) {
  using Kind = ElfFile::Kind;
  const auto jvm = readElfFile(jvmLibrary());
  ASSERT_TRUE(jvm && jvm->exports);
  EXPECT_EQ(jvm->kind, Kind::sharedLibrary);
  EXPECT_TRUE(jvm->exportsName("JNI_CreateJavaVM"));
  EXPECT_FALSE(jvm->exportsName("AppMain"));
  // What it takes from others is not its own.
  EXPECT_FALSE(jvm->exportsName("dlopen"));
  EXPECT_TRUE(jvm->sameArchitecture(ownElfFile()));
  EXPECT_EQ(readElfFile(javaProgram())->kind, Kind::program);
  EXPECT_EQ(ownElfFile().kind, Kind::program);
  EXPECT_FALSE(readElfFile(VELOX_PROBE_JAR));
  EXPECT_FALSE(readElfFile("/"));
  EXPECT_FALSE(readElfFile("/missing"));
}

TEST(ElfFile, AnotherArchitecture) {
  std::string bytes = bytesOf(jvmLibrary());
  bytes[18] = '\xf3';
  const auto otherMachine = parseElfFile(bytes);
  EXPECT_EQ(machineName(otherMachine->machine), "RISC-V");
  EXPECT_FALSE(otherMachine->sameArchitecture(ownElfFile()));
  bytes[4] = 1;
  EXPECT_EQ(parseElfFile(bytes)->bits, 32);
  EXPECT_FALSE(parseElfFile(bytes)->exports);
  bytes.replace(4, 2, "\2\2");  // 64 bits, big-endian
  bytes.replace(16, 4, std::string("\0\2\0\x15", 4));
  EXPECT_EQ(machineName(parseElfFile(bytes)->machine), "PowerPC 64");
  EXPECT_EQ(parseElfFile(bytes)->kind, ElfFile::Kind::program);
  EXPECT_FALSE(parseElfFile(bytes)->sameArchitecture(ownElfFile()));
  EXPECT_EQ(machineName(4660), "machine 4660");
}

TEST(ElfFile, TablesThatClaimTooMuch) {
  const std::string sound = bytesOf(javaProgram());
  struct Case {
    const char* what;
    std::size_t at;  ///< in the header
    std::string bytes;
  };
  const Case cases[] = {
      {"sections past the end", 40, "\xff\xff\xff\xff\xff\xff\xff\x7f"},
      {"sections of another size", 58, std::string("\1\0", 2)},
      {"no sections", 60, std::string("\0\0", 2)},
  };
  for (const Case& row : cases) {
    const auto elf = parseElfFile(std::string(sound).replace(row.at, row.bytes.size(), row.bytes));
    ASSERT_TRUE(elf) << row.what;
    EXPECT_FALSE(elf->exports) << row.what;
  }
  EXPECT_TRUE(parseElfFile(sound)->exports);
}

}  // namespace
