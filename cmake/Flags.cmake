# How our own targets are compiled and linked; they link these privately, so that neither a parent
# project nor a host program gets any of it.

include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# All of our targets.
add_library(velox_flags INTERFACE)
target_compile_features(velox_flags INTERFACE cxx_std_20)
target_compile_options(
  velox_flags
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            -Wsign-conversion
            -Wformat=2
            -Wno-format-nonliteral
            $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
            $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
target_compile_definitions(velox_flags INTERFACE _GLIBCXX_ASSERTIONS)

check_cxx_compiler_flag(-fno-gnu-unique velox_has_no-gnu-unique)
if(velox_has_no-gnu-unique)
  # A unique symbol cannot be made local; cmake/HostLibraries.cmake does that.
  target_compile_options(velox_flags INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
endif()

# Our programs and shared libraries.
add_library(velox_link_flags INTERFACE)
target_link_libraries(velox_link_flags INTERFACE velox_flags)

# Our programs.
add_library(velox_program_flags INTERFACE)
target_link_libraries(velox_program_flags INTERFACE velox_link_flags)

if(VELOX_SANITIZERS)
  target_compile_options(velox_flags INTERFACE -fsanitize=${VELOX_SANITIZERS}
                                               -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(velox_flags INTERFACE -fsanitize=${VELOX_SANITIZERS})
else()
  set(optimized $<NOT:$<CONFIG:Debug>>)
  target_compile_options(
    velox_flags
    INTERFACE -fstack-protector-strong "$<${optimized}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>"
              "$<${optimized}:-ffunction-sections;-fdata-sections>")
  # What not every compiler and processor has. Clang takes one of another processor, with a warning.
  set(protections fstack-clash-protection fcf-protection)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    set(protections fstack-clash-protection mbranch-protection=standard)
  endif()
  foreach(flag IN LISTS protections)
    string(MAKE_C_IDENTIFIER velox_has_${flag} velox_has_flag)
    check_cxx_compiler_flag(-${flag} ${velox_has_flag})
    if(${velox_has_flag})
      target_compile_options(velox_flags INTERFACE -${flag})
    endif()
  endforeach()
  target_link_options(velox_link_flags INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack
                      $<${optimized}:LINKER:--gc-sections>)
  # A shared libstdc++ about doubles the time from exec to main.
  target_link_options(velox_program_flags INTERFACE
                      "$<${optimized}:-static-libstdc++;-static-libgcc>")
endif()
