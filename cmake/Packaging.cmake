# cpack: three Debian packages and an archive of everything. With the preset package-rpm
# the same three for systems with RPM.

# The same from the same commit, wherever, whenever and under whatever umask it is packed. One thing
# still follows the umask: a Debian package is an archive of three files, debian-binary, control.tar and
# data.tar, and records modes of these three, too; nothing reads them.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(
    COMMAND git log -1 --format=%ct
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE velox_commit_time
    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(velox_commit_time)
    set(ENV{SOURCE_DATE_EPOCH} ${velox_commit_time})
  endif()
endif()
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/packaging/cpack.cmake)
file(
  CONFIGURE OUTPUT packaging/cpack.cmake
  CONTENT "if(NOT DEFINED ENV{SOURCE_DATE_EPOCH} AND NOT \"$ENV{SOURCE_DATE_EPOCH}\" STREQUAL \"\")
  set(ENV{SOURCE_DATE_EPOCH} \"$ENV{SOURCE_DATE_EPOCH}\")
endif()
")

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME velox-wrapper)
set(CPACK_PACKAGE_VENDOR "the VELOX Wrapper authors")
set(CPACK_PACKAGE_CONTACT "VELOX Wrapper authors <velox-wrapper@packages.invalid>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_PACKAGE_FILE_NAME
    velox-wrapper-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PackedFolders.cmake)
set(CPACK_COMPONENTS_ALL Runtime Library Development)
set(CPACK_COMPONENTS_GROUPING IGNORE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
if(CMAKE_CROSSCOMPILING AND CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME velox-wrapper)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION java)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS default-jre-headless)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "start Java and native applications from a properties file
The launcher reads a .kvf file, sets the environment, and runs the
application in its own process, so that process ID, exit status and signals
are the application's. The program kvf checks and explains such files.")

set(velox_library_package libvelox-wrapper${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${velox_library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
    "launcher of Java and native applications, for host programs
The launcher of the package velox-wrapper as a shared library, which a host
program brings along.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvelox-wrapper-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "launcher of Java and native applications, development files
Headers for host programs in C and C++ and for native applications, the
static library, and the files for CMake and pkg-config.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Library)

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_RELEASE 1)
set(CPACK_RPM_PACKAGE_LICENSE "LicenseRef-None")
string(TIMESTAMP velox_rpm_date "%a %b %d %Y" UTC)
set(CPACK_RPM_CHANGELOG_FILE ${PROJECT_BINARY_DIR}/packaging/changelog.rpm)
file(CONFIGURE OUTPUT packaging/changelog.rpm
     CONTENT "* @velox_rpm_date@ @CPACK_PACKAGE_CONTACT@ - @PROJECT_VERSION@-1\n- Built.\n")
# Two builds of one commit are the same: no build time, no host, no links that depend on the build.
set(CPACK_RPM_SPEC_MORE_DEFINE
    "%global _build_id_links none
%global use_source_date_epoch_as_buildtime 1
%global clamp_mtime_to_source_date_epoch 1
%global _buildhost localhost")
set(velox_rpm_folders
    include
    lib64/cmake
    lib64/pkgconfig
    share/bash-completion
    share/bash-completion/completions
    share/fish
    share/fish/vendor_completions.d
    share/man
    share/man/man1
    share/man/man5
    share/man/man7
    share/vim
    share/vim/vimfiles
    share/zsh)
list(TRANSFORM velox_rpm_folders PREPEND /usr/)
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION ${velox_rpm_folders})
foreach(component Runtime Library Development)
  string(TOUPPER ${component} name)
  set(CPACK_RPM_${name}_PACKAGE_NAME ${CPACK_DEBIAN_${name}_PACKAGE_NAME})
  set(text "${CPACK_DEBIAN_${name}_DESCRIPTION}")
  string(FIND "${text}" "\n" line_end)
  # Debian's synopsis begins with a small letter.
  string(SUBSTRING "${text}" 0 1 first)
  string(TOUPPER "${first}" first)
  string(SUBSTRING "${text}" 1 ${line_end} rest)
  string(STRIP "${first}${rest}" CPACK_RPM_${name}_PACKAGE_SUMMARY)
  math(EXPR line_end "${line_end} + 1")
  string(SUBSTRING "${text}" ${line_end} -1 CPACK_RPM_${name}_PACKAGE_DESCRIPTION)
endforeach()
set(CPACK_RPM_DEVELOPMENT_PACKAGE_NAME libvelox-wrapper-devel)
set(CPACK_RPM_DEVELOPMENT_PACKAGE_REQUIRES "${velox_library_package} = ${PROJECT_VERSION}")
file(WRITE ${PROJECT_BINARY_DIR}/packaging/ldconfig "/sbin/ldconfig\n")
set(CPACK_RPM_LIBRARY_POST_INSTALL_SCRIPT_FILE ${PROJECT_BINARY_DIR}/packaging/ldconfig)
set(CPACK_RPM_LIBRARY_POST_UNINSTALL_SCRIPT_FILE ${PROJECT_BINARY_DIR}/packaging/ldconfig)

# What Debian wants beside the files; not part of a plain installation.
if(VELOX_DEBIAN_DOCUMENTS)
  find_program(GZIP gzip REQUIRED)
  string(TIMESTAMP velox_package_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  configure_file(packaging/debian/changelog.in packaging/changelog.Debian @ONLY)
  configure_file(CHANGELOG.md packaging/NEWS COPYONLY)
  set(documents)
  foreach(document changelog.Debian NEWS)
    set(output ${PROJECT_BINARY_DIR}/packaging/${document}.gz)
    add_custom_command(
      OUTPUT ${output}
      COMMAND ${GZIP} -9nkf ${PROJECT_BINARY_DIR}/packaging/${document}
      DEPENDS ${PROJECT_BINARY_DIR}/packaging/${document})
    list(APPEND documents ${output})
  endforeach()
  add_custom_target(velox_package_documents ALL DEPENDS ${documents})

  foreach(component Runtime Library Development)
    string(TOUPPER ${component} name)
    set(package ${CPACK_DEBIAN_${name}_PACKAGE_NAME})
    install(FILES packaging/debian/copyright ${PROJECT_BINARY_DIR}/packaging/changelog.Debian.gz
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
    configure_file(packaging/debian/lintian-overrides.in packaging/${package}.overrides @ONLY)
    if(component STREQUAL "Library")
      file(READ packaging/debian/library.lintian-overrides library_overrides)
      file(APPEND ${PROJECT_BINARY_DIR}/packaging/${package}.overrides ${library_overrides})
    endif()
    install(FILES ${PROJECT_BINARY_DIR}/packaging/${package}.overrides
            DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
            COMPONENT ${component})
  endforeach()
  install(FILES ${PROJECT_BINARY_DIR}/packaging/NEWS.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/velox-wrapper COMPONENT Runtime)
endif()

include(CPack)
