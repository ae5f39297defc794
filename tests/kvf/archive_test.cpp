#include "kvf/formats/Archive.h"

#include <fstream>
#include <functional>

#include <gtest/gtest.h>
#include <unistd.h>

#include "kvf/ZipFile.h"
#include "support/Sandbox.h"

namespace {

const std::map<std::string, std::string> acme = {{"META-INF/MANIFEST.MF", "Main-Class: Acme\n"},
                                                 {"zeros", std::string(100000, '\0')}};

TEST(Archive, NamesAndEntries) {
  Sandbox sandbox;
  const Archive archive(writeArchive(sandbox, "acme.jar", acme));
  EXPECT_EQ(archive.state(), ArchiveState::readable);
  EXPECT_EQ(archive.size(), 2);
  EXPECT_EQ(archive.nameAt(0), "META-INF/MANIFEST.MF");
  EXPECT_EQ(archive.nameAt(2), "");
  EXPECT_TRUE(archive.contains("zeros"));
  EXPECT_FALSE(archive.contains("Zeros"));
  EXPECT_EQ(archive.read("META-INF/MANIFEST.MF"), "Main-Class: Acme\n");
  EXPECT_EQ(archive.read("zeros", 100000)->size(), 100000);
  EXPECT_EQ(archive.read("zeros", 99999), std::nullopt);
  EXPECT_EQ(archive.read("missing"), std::nullopt);
}

TEST(Archive, WithAProgramInFrontOfIt) {
  Sandbox sandbox;
  writeArchive(sandbox, "acme.jar", acme);
  const std::string file =
      sandbox.write("acme", "#!/bin/sh\nexec java -jar \"$0\"\n" + sandbox.read("acme.jar"));
  EXPECT_EQ(Archive(file).read("META-INF/MANIFEST.MF"), "Main-Class: Acme\n");
}

TEST(Archive, RejectsWhatIsNotAnArchive) {
  Sandbox sandbox;
  writeArchive(sandbox, "acme.jar", acme);
  const std::string sound = sandbox.read("acme.jar");
  const std::size_t end = sound.size() - 22;
  const auto changed = [&](std::size_t at, const std::string& bytes) {
    return std::string(sound).replace(at, bytes.size(), bytes);
  };
  struct Case {
    const char* what;
    std::string bytes;
    ArchiveState state;
  };
  const Case cases[] = {
      {"nothing", "", ArchiveState::notAnArchive},
      {"a text", "#!/bin/sh\n", ArchiveState::notAnArchive},
      {"half a file", sound.substr(0, sound.size() / 2), ArchiveState::notAnArchive},
      {"a directory that would begin before the file", changed(end + 18, "\1"),
       ArchiveState::notAnArchive},
      {"1 GiB of directory claimed", changed(end + 12, {'\0', '\0', '\0', '\x40'}),
       ArchiveState::tooLarge},
      {"1 TiB of directory claimed by the record of a large archive",
       std::string(sound).insert(end, std::string(45, '\0') + '\1' + std::string(10, '\0') +
                                          "PK\6\7" + std::string(16, '\0')),
       ArchiveState::tooLarge},
      {"no first entry", changed(sound.find("PK\1\2"), "PK\7\7"), ArchiveState::notAnArchive},
  };
  for (const Case& row : cases) {
    const Archive archive(sandbox.write("x.jar", row.bytes));
    EXPECT_EQ(archive.state(), row.state) << row.what;
    EXPECT_EQ(archive.size(), 0) << row.what;
  }
  EXPECT_EQ(Archive(sandbox.path("missing.jar")).state(), ArchiveState::missing);
  EXPECT_EQ(Archive(sandbox.path()).state(), ArchiveState::notAFile);
  ASSERT_EQ(::mkfifo(sandbox.path("pipe.jar").c_str(), 0600), 0);
  EXPECT_EQ(Archive(sandbox.path("pipe.jar")).state(), ArchiveState::notAFile);
}

TEST(Archive, ADamagedEntryIsNotRead) {
  Sandbox sandbox;
  writeArchive(sandbox, "acme.jar", acme);
  const std::string sound = sandbox.read("acme.jar");
  const std::size_t record = sound.find("PK\1\2");
  for (const std::size_t at : {sound.find("Main-Class"), record + 10, record + 24}) {
    std::string bytes = sound;
    bytes[at] ^= 1;  // in the text, its kind of compression and its size
    EXPECT_EQ(Archive(sandbox.write("x.jar", bytes)).read("META-INF/MANIFEST.MF"), std::nullopt)
        << at;
  }
}

}  // namespace
