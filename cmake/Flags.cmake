# How our own targets are compiled and linked; they link these privately, so that neither a parent
# project nor a host program gets any of it.

set(CMAKE_CXX_EXTENSIONS OFF)
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

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

# Our programs.
add_library(velox_program_flags INTERFACE)
target_link_libraries(velox_program_flags INTERFACE velox_flags)

if(VELOX_SANITIZERS)
  target_compile_options(velox_flags INTERFACE -fsanitize=${VELOX_SANITIZERS}
                                               -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(velox_flags INTERFACE -fsanitize=${VELOX_SANITIZERS})
else()
  target_compile_options(velox_flags INTERFACE $<$<CONFIG:Release>:-ffunction-sections>
                                               $<$<CONFIG:Release>:-fdata-sections>)
  # A shared libstdc++ about doubles the time from exec to main.
  target_link_options(
    velox_program_flags INTERFACE $<$<CONFIG:Release>:-static-libstdc++>
    $<$<CONFIG:Release>:-static-libgcc> $<$<CONFIG:Release>:-Wl,--gc-sections>)
endif()
