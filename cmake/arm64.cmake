# Cross-building for 64-bit ARM on Debian, with its packages g++-aarch64-linux-gnu and NAME:arm64. What
# the build itself has to run, such as kvf for its manual page, runs in the emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
find_program(VELOX_EMULATOR qemu-aarch64-static REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${VELOX_EMULATOR})
