# The launcher for host programs, as a shared and as a static library, made from the objects of
# velox_core. Either shows the functions of include/velox/launch*.h and nothing else, so that a host
# may have a class WString, too. VeloxWrapper::velox_wrapper is the one that BUILD_SHARED_LIBS asks
# for; each also has a name of its own.

set(velox_public_symbols velox_launch _Z13LaunchWrapperiPPcPFiiS0_EPFvvE)

add_library(velox_wrapper_shared SHARED $<TARGET_OBJECTS:velox_core>)
target_link_libraries(velox_wrapper_shared PRIVATE velox_link_flags)
list(JOIN velox_public_symbols "; " symbols)
file(CONFIGURE OUTPUT exports.map
     CONTENT "VELOX_WRAPPER_@PROJECT_VERSION_MAJOR@ { global: @symbols@; local: *; };\n" @ONLY)
target_link_options(velox_wrapper_shared PRIVATE
                    LINKER:--version-script=${CMAKE_CURRENT_BINARY_DIR}/exports.map)
set_target_properties(
  velox_wrapper_shared
  PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS
                                                  ${CMAKE_CURRENT_BINARY_DIR}/exports.map)

# The static one is a single object whose other symbols were made local. A sanitizer's objects cannot
# be joined; a linker or objcopy that knows no better leaves them apart as well.
include(CheckLinkerFlag)
check_linker_flag(CXX LINKER:--force-group-allocation velox_can_join)
if(velox_can_join AND CMAKE_OBJCOPY AND NOT VELOX_SANITIZERS)
  list(JOIN velox_public_symbols "\n" symbols)
  file(CONFIGURE OUTPUT exports.list CONTENT "@symbols@\n" @ONLY)
  set(object ${CMAKE_CURRENT_BINARY_DIR}/velox_wrapper.o)
  add_custom_command(
    OUTPUT ${object}
    COMMAND ${CMAKE_CXX_COMPILER} -r -nostdlib -Wl,--force-group-allocation -o ${object}
            $<TARGET_OBJECTS:velox_core>
    COMMAND ${CMAKE_OBJCOPY} --keep-global-symbols=${CMAKE_CURRENT_BINARY_DIR}/exports.list ${object}
    DEPENDS $<TARGET_OBJECTS:velox_core> ${CMAKE_CURRENT_BINARY_DIR}/exports.list
    COMMAND_EXPAND_LISTS VERBATIM
    COMMENT "Joining the launcher's objects into one")
  set_source_files_properties(${object} PROPERTIES EXTERNAL_OBJECT TRUE GENERATED TRUE)
else()
  set(object $<TARGET_OBJECTS:velox_core>)
endif()
add_library(velox_wrapper_static STATIC ${object})
target_link_libraries(velox_wrapper_static INTERFACE ${CMAKE_DL_LIBS} Threads::Threads)

foreach(kind shared static)
  add_library(VeloxWrapper::velox_wrapper_${kind} ALIAS velox_wrapper_${kind})
  set_target_properties(
    velox_wrapper_${kind}
    PROPERTIES OUTPUT_NAME velox_wrapper EXPORT_NAME velox_wrapper_${kind} LINKER_LANGUAGE CXX)
  target_include_directories(
    velox_wrapper_${kind} INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  if(VELOX_SANITIZERS)
    target_link_options(velox_wrapper_${kind} INTERFACE -fsanitize=${VELOX_SANITIZERS})
  endif()
endforeach()
if(BUILD_SHARED_LIBS)
  add_library(VeloxWrapper::velox_wrapper ALIAS velox_wrapper_shared)
  set(other velox_wrapper_static)
else()
  add_library(VeloxWrapper::velox_wrapper ALIAS velox_wrapper_static)
  set(other velox_wrapper_shared)
endif()
if(NOT PROJECT_IS_TOP_LEVEL)
  set_target_properties(${other} PROPERTIES EXCLUDE_FROM_ALL ON)
endif()
