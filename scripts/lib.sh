# shellcheck shell=sh
# Shared by the scripts here; sourced, not run.

cd "$(dirname "$0")/.." || exit 1
log=build/scripts.log
mkdir -p build

die() {
  printf '%s\n' "$*" >&2
  exit 1
}

# quietly WHAT COMMAND...: runs the command; its output shows only when it fails.
quietly() {
  what=$1
  shift
  "$@" >"$log" 2>&1 || {
    cat "$log"
    die "Failed: $what"
  }
}

have() { command -v "$1" >/dev/null 2>&1; }

have_jdk() {
  jdk=${JAVA_HOME:-$(dirname "$(dirname "$(readlink -f "$(command -v javac)")")")}
  [ -e "$jdk/include/jni.h" ] && [ -x "$jdk/bin/javac" ]
}

have_header() { echo "#include <$1>" | c++ -E -x c++ - >/dev/null 2>&1; }

# links COMPILER FLAGS...: whether a program with these flags can be linked.
links() { echo 'extern "C" int LLVMFuzzerTestOneInput() { return 0; }' | "$@" -x c++ - -o "$log.probe" >/dev/null 2>&1; }

# missing_packages KIND...: the Debian packages of what is not there; KIND is build, kvf, test, bench
# or check.
missing_packages() {
  for kind in "$@"; do
    case $kind in
      build)
        have c++ || echo g++
        have cmake || echo cmake
        have ninja || echo ninja-build
        have_jdk || echo default-jdk-headless
        ;;
      kvf)
        have pkg-config || echo pkg-config
        [ -e /usr/share/cmake/CLI11/CLI11Config.cmake ] || echo libcli11-dev
        { have pkg-config && pkg-config --exists libzip; } || echo libzip-dev
        { have pkg-config && pkg-config --exists nlohmann_json; } || echo nlohmann-json3-dev
        ;;
      bench)
        { have c++ && have_header benchmark/benchmark.h; } || echo libbenchmark-dev
        ;;
      test)
        { have c++ && have_header gtest/gtest.h; } || echo libgtest-dev
        ;;
      check)
        have git || echo git
        have clang++ || echo clang
        have clang-format || echo clang-format
        have clang-tidy || echo clang-tidy
        have shellcheck || echo shellcheck
        links clang++ -fsanitize=fuzzer || echo libclang-rt-dev
        ;;
    esac
  done
}

# set_up KIND...: installs what is missing.
set_up() {
  packages=$(missing_packages "$@" | tr '\n' ' ')
  [ -n "$packages" ] || return 0
  have apt-get || die "Please install what these Debian packages hold, then try again: $packages"
  as_root=
  if [ "$(id -u)" -ne 0 ]; then
    have sudo || die "Please install these packages as root, then try again: $packages"
    as_root=sudo
  fi
  echo "Installing: $packages"
  quietly "apt-get update" $as_root apt-get update
  # shellcheck disable=SC2086 # a list of packages, and a sudo that may be empty
  quietly "apt-get install" $as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends $packages
  packages=$(missing_packages "$@" | tr '\n' ' ')
  [ -z "$packages" ] || die "Still missing: $packages (JAVA_HOME=${JAVA_HOME-})"
}

# build PRESET [CMAKE ARGUMENTS]: configures and builds.
build() {
  preset=$1
  shift
  quietly "configure $preset" cmake --preset "$preset" "$@"
  quietly "build $preset" cmake --build --preset "$preset"
}
