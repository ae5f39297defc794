#include "support/Jdk.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

struct Jdk {
  std::string home;
  std::string library = VELOX_JVM_LIBRARY;
  std::string java = VELOX_JAVA;
  unsigned release = 0;
};

std::string libraryIn(const fs::path& home) {
  for (const char* folder : {"lib", "jre/lib/amd64", "jre/lib/aarch64"}) {
    fs::path library = home / folder / "server/libjvm.so";
    if (fs::exists(library)) return library;
  }
  std::fprintf(stderr, "JAVA_HOME=%s holds no JVM\n", home.c_str());
  std::exit(1);
}

/// From the line JAVA_VERSION="17.0.15" or "1.8.0_392" of the file "release".
unsigned releaseIn(const fs::path& home) {
  const std::string start = "JAVA_VERSION=\"";
  std::ifstream file(home / "release");
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with(start)) continue;
    const std::string version = line.substr(start.size());
    return static_cast<unsigned>(std::atoi(version.c_str() + (version.starts_with("1.") ? 2 : 0)));
  }
  return 0;
}

Jdk find() {
  Jdk jdk;
  if (const char* home = std::getenv("JAVA_HOME"); home != nullptr && *home != '\0') {
    jdk.library = libraryIn(home);
    jdk.java = fs::path(home) / "bin/java";
  }
  fs::path home = fs::canonical(jdk.java).parent_path().parent_path();
  if (home.filename() == "jre") home = home.parent_path();
  jdk.home = home;
  jdk.release = releaseIn(home);
  return jdk;
}

const Jdk& jdk() {
  static const Jdk found = find();
  return found;
}

}  // namespace

const std::string& javaHome() {
  return jdk().home;
}

const std::string& jvmLibrary() {
  return jdk().library;
}

const std::string& javaProgram() {
  return jdk().java;
}

unsigned javaRelease() {
  return jdk().release;
}

std::string modernJavaHome(const std::string& folder) {
  if (javaRelease() > 8) return javaHome();
  const fs::path home = fs::path(folder) / "jdk";
  if (fs::create_directories(home / "lib")) {
    fs::create_symlink(fs::path(jvmLibrary()).parent_path(), home / "lib/server");
    fs::create_symlink(fs::path(javaHome()) / "bin", home / "bin");
    std::ofstream(home / "release") << "JAVA_VERSION=\"1.8.0\"\n";
  }
  return home;
}
