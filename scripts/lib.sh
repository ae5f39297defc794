# shellcheck shell=sh
# Shared by the scripts here; sourced, not run.

# Which letters a range has, and their order, is the locale's.
export LC_ALL=C.UTF-8

cd "$(dirname "$0")/.." || exit 1
log=build/${0##*/}.log
mkdir -p build

die() {
  printf '%s\n' "$*" >&2
  exit 1
}

# quietly WHAT COMMAND...: says what it does and how long that took; the command's output is in $log
# and shows only when it fails. A function ends at its first failure, unless this call is part of a
# condition: the shell then goes on after each, whatever is set here.
quietly() {
  what=$1
  shift
  printf '%s ... ' "$what"
  begin=$(date +%s)
  set +e
  (set -e; "$@") >"$log" 2>&1
  result=$?
  set -e
  [ "$result" -eq 0 ] || {
    echo failed
    cat "$log"
    die "Failed: $what"
  }
  echo "$(($(date +%s) - begin)) s"
}

have() { command -v "$1" >/dev/null 2>&1; }

have_jdk() {
  jdk=${JAVA_HOME:-$(dirname "$(dirname "$(readlink -f "$(command -v javac)")")")}
  [ -e "$jdk/include/jni.h" ] && [ -x "$jdk/bin/javac" ]
}

have_header() { have c++ && echo "#include <$1>" | c++ -E -x c++ - >/dev/null 2>&1; }

# links COMPILER FLAGS...: whether a program with these flags can be linked.
links() { echo 'extern "C" int LLVMFuzzerTestOneInput() { return 0; }' | "$@" -x c++ - -o "$log.probe" >/dev/null 2>&1; }

# missing_packages KIND...: the Debian packages of what is not there; KIND is build, kvf, test,
# bench, check, package, deb, rpm, arm64 (to cross-build), root or emulator (to run what was cross-built).
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
        have_header CLI/CLI.hpp || echo libcli11-dev
        have_header nlohmann/json.hpp || echo nlohmann-json3-dev
        have_header zlib.h || echo zlib1g-dev
        ;;
      bench)
        have_header benchmark/benchmark.h || echo libbenchmark-dev
        have hyperfine || echo hyperfine
        have valgrind || echo valgrind
        have python3 || echo python3
        ;;
      test)
        have_header gtest/gtest.h || echo libgtest-dev
        have_header zip.h || echo libzip-dev
        have pkg-config || echo pkg-config
        have patch || echo patch
        # For the tests of the editors' files and of the completions.
        have vim || echo vim-nox
        have zsh || echo zsh
        have fish || echo fish
        have python3 || echo python3
        ;;
      package)
        have scdoc || echo scdoc
        have fakeroot || echo fakeroot
        ;;
      deb)
        have dpkg-shlibdeps || echo dpkg-dev
        have lintian || echo lintian
        ;;
      rpm)
        have rpmbuild || echo rpm
        have rpmlint || echo rpmlint
        have cpio || echo cpio
        ;;
      check)
        have git || echo git
        have clang++ || echo clang
        have clang-format || echo clang-format
        have clang-tidy || echo clang-tidy
        have shellcheck || echo shellcheck
        links clang++ -fsanitize=fuzzer || echo libclang-rt-dev
        ;;
      arm64)
        have aarch64-linux-gnu-g++ || echo g++-aarch64-linux-gnu
        for library in z:zlib1g gtest:libgtest zip:libzip; do
          ls /usr/lib/aarch64-linux-gnu/lib"${library%:*}".[as]* >/dev/null 2>&1 || echo "${library#*:}-dev:arm64"
        done
        # For the packages' dependencies.
        [ -e /usr/lib/aarch64-linux-gnu/libstdc++.so.6 ] || echo libstdc++6:arm64
        have qemu-aarch64-static || echo qemu-user-static
        ;;
      root) have debootstrap || echo debootstrap ;;
      emulator) have qemu-aarch64-static || echo qemu-user-static ;;
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
  case $packages in *:arm64*) $as_root dpkg --add-architecture arm64 ;; esac
  quietly "apt-get update" $as_root apt-get update
  # shellcheck disable=SC2086 # a list of packages, and a sudo that may be empty
  quietly "apt-get install" $as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends $packages
  packages=$(missing_packages "$@" | tr '\n' ' ')
  [ -z "$packages" ] || die "Still missing: $packages (JAVA_HOME=${JAVA_HOME-})"
}

# configure PRESET [CMAKE ARGUMENTS]: what another place built, before the tree was moved or copied, is
# not used. With VELOX_STRICT set a warning is an error, from then on in that build: for us, who know the
# compilers.
configure() {
  preset=$1
  shift
  cache=build/$preset/CMakeCache.txt
  if [ -e "$cache" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$(pwd -P)" "$cache"; then
    echo "build/$preset was built in another folder and is built afresh."
    rm -rf "build/$preset"
  fi
  quietly "configure $preset" cmake --preset "$preset" \
    ${VELOX_STRICT:+-DCMAKE_COMPILE_WARNING_AS_ERROR=ON} "$@"
}

# build PRESET [CMAKE ARGUMENTS]: configures and builds.
build() {
  configure "$@"
  hint=
  [ -e "build/$1/.ninja_log" ] || hint=" (some minutes the first time)"
  quietly "build $1$hint" cmake --build --preset "$1"
}
