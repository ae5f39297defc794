#include "kvf/formats/Manifest.h"

#include <gtest/gtest.h>

#include "kvf/ZipFile.h"
#include "kvf/formats/ClassNames.h"
#include "support/Sandbox.h"

namespace {

TEST(Manifest, MainAttributes) {
  struct Case {
    const char* text;
    const char* value;
  };
  const Case cases[] = {
      {"Main-Class: acme.Main\n", "acme.Main"},
      {"main-class:acme.Main \r\nX: y\r\n", "acme.Main"},
      {"Main-Class: acm\n e.Ma\n in", "acme.Main"},
      {"Main-Class: acm\r\n e.Main\rX: y", "acme.Main"},
      {"no attribute\nMain-Class: acme.Main", "acme.Main"},
      {"Name: x\n\nMain-Class: acme.Main\n", ""},
      {"Main-Class:  \n", ""},
      {"", ""},
  };
  for (const Case& row : cases)
    EXPECT_EQ(attributeOf(parseManifest(row.text), "Main-Class"), row.value) << row.text;
}

TEST(Manifest, NamedFilesAreFollowedOnceAndNotForever) {
  Sandbox sandbox;
  const auto jar = [&](const std::string& name, const std::string& named) {
    std::string lines = "Class-Path:";
    for (std::size_t at = 0; at < named.size(); at += 60)
      lines += " " + named.substr(at, 60) + "\n";
    return writeArchive(sandbox, name, {{manifestEntry, lines}});
  };
  const auto namedBy = [](const Texts& archives) {
    Texts names;
    forEachNamed(archives, [&](std::size_t by, const ManifestElement& element) {
      names.push_back(std::to_string(by) + element.path.filename().native());
      return true;
    });
    return names;
  };
  jar("b.jar", "d.jar a.jar b.jar");
  const Texts circle = {jar("a.jar", "b.jar c.jar"), jar("e.jar", "c.jar f.jar")};
  EXPECT_EQ(namedBy(circle), (Texts{"0b.jar", "0d.jar", "0c.jar", "1f.jar"}));
  std::string many;
  for (int i = 0; i < 5000; ++i) many += std::to_string(i) + ".jar ";
  EXPECT_EQ(namedBy({jar("many.jar", many)}).size(), 1000U);
}

TEST(ClassNames, AreWholeHoweverTheFolderIsWritten) {
  Sandbox sandbox;
  sandbox.write("classes/acme/Main.class", "");
  for (const char* folder : {"classes", "classes/", "classes//"}) {
    Texts names;
    forEachClass(sandbox.path() + "/" + folder, true, [&](std::string_view name) {
      names.emplace_back(name);
      return true;
    });
    EXPECT_EQ(names, Texts{"acme/Main"}) << folder;
  }
}

}  // namespace
