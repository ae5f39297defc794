# What is installed, by component: Runtime (programs, their manual pages, documents, examples,
# completions and editor files), Library (the shared library), Development (headers, both libraries'
# link names, the files for find_package and pkg-config, what host programs want to read).

include(CMakePackageConfigHelpers)
set(velox_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VeloxWrapper)

set(programs)
foreach(program velox_program velox_kvf)
  if(TARGET ${program})
    list(APPEND programs ${program})
  endif()
endforeach()
if(programs)
  install(TARGETS ${programs} RUNTIME COMPONENT Runtime)
endif()

install(
  TARGETS velox_wrapper_shared velox_wrapper_static
  EXPORT VeloxWrapperTargets
  LIBRARY COMPONENT Library NAMELINK_COMPONENT Development
  ARCHIVE COMPONENT Development)
install(DIRECTORY include/velox TYPE INCLUDE COMPONENT Development)
install(EXPORT VeloxWrapperTargets NAMESPACE VeloxWrapper:: DESTINATION ${velox_cmake_dir}
                                                            COMPONENT Development)
configure_package_config_file(cmake/VeloxWrapperConfig.cmake.in VeloxWrapperConfig.cmake
                              INSTALL_DESTINATION ${velox_cmake_dir}
                              NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(VeloxWrapperConfigVersion.cmake COMPATIBILITY SameMajorVersion)
# Relative, so that an installed tree may be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY
           ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE velox_pc_prefix)
configure_file(cmake/velox-wrapper.pc.in velox-wrapper.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/VeloxWrapperConfig.cmake
              ${PROJECT_BINARY_DIR}/VeloxWrapperConfigVersion.cmake
        DESTINATION ${velox_cmake_dir} COMPONENT Development)
install(FILES ${PROJECT_BINARY_DIR}/velox-wrapper.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT Development)

# Manual pages: man/NAME.SECTION.scd; @PROJECT_VERSION@ in them is replaced. kvf(5) is about the files
# of both programs.
file(GLOB pages CONFIGURE_DEPENDS man/*.scd)
if(NOT TARGET velox_kvf)
  list(FILTER pages EXCLUDE REGEX "/kvf\\.1\\.scd$")
endif()
find_program(SCDOC scdoc)
find_program(GZIP gzip)
if(pages AND SCDOC AND GZIP)
  set(manuals)
  foreach(page IN LISTS pages)
    cmake_path(GET page STEM LAST_ONLY name)
    cmake_path(GET name EXTENSION LAST_ONLY section)
    string(SUBSTRING ${section} 1 -1 section)
    configure_file(${page} man/${name}.scd @ONLY)
    set(manual ${PROJECT_BINARY_DIR}/man/${name})
    set(source ${manual}.scd)
    if(name STREQUAL "kvf.5" AND TARGET velox_kvf)
      # The keys are described once, in the table that kvf itself reads.
      set(source ${manual}.whole.scd)
      file(WRITE ${manual}.sed "/^KEYS/{\nr ${manual}.keys\nd\n}\n")
      add_custom_command(
        OUTPUT ${source}
        COMMAND velox_kvf keys --scd > ${manual}.keys
        COMMAND sed -f ${manual}.sed ${manual}.scd > ${source}
        DEPENDS velox_kvf ${manual}.scd
        COMMENT "Putting the keys into ${name}")
    elseif(name STREQUAL "kvf.5")
      # Without that table there is nothing to introduce.
      set(source ${manual}.whole.scd)
      add_custom_command(
        OUTPUT ${source}
        COMMAND sed "/^The keys follow/,/^KEYS/d" ${manual}.scd > ${source}
        DEPENDS ${manual}.scd
        VERBATIM
        COMMENT "Leaving the keys out of ${name}")
    endif()
    add_custom_command(
      OUTPUT ${manual}.gz
      COMMAND ${SCDOC} < ${source} > ${manual}
      COMMAND ${GZIP} -9nkf ${manual}
      DEPENDS ${source}
      COMMENT "Making the manual page ${name}")
    list(APPEND manuals ${manual}.gz)
    install(FILES ${manual}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT Runtime)
  endforeach()
  add_custom_target(velox_manuals ALL DEPENDS ${manuals})
elseif(pages)
  message(STATUS "No manual pages: scdoc or gzip is missing")
endif()

# Documents and examples, in folders that keep the links between them right; see wrapper(7). Modes do
# not depend on those of the sources.
set(velox_doc_dir ${CMAKE_INSTALL_DATADIR}/doc)
set(program_permissions
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
file(GLOB examples CONFIGURE_DEPENDS LIST_DIRECTORIES ON examples/*)
list(FILTER examples EXCLUDE REGEX "\\.[a-z]+(\\.in)?$|/embedding$")
install(FILES SECURITY.md DESTINATION ${velox_doc_dir}/velox-wrapper COMPONENT Runtime)
install(DIRECTORY docs DESTINATION ${velox_doc_dir}/velox-wrapper COMPONENT Runtime
        PATTERN embedding.md EXCLUDE)
install(FILES docs/embedding.md DESTINATION ${velox_doc_dir}/libvelox-wrapper-dev/docs
        COMPONENT Development)
install(
  DIRECTORY ${examples}
  DESTINATION ${velox_doc_dir}/velox-wrapper/examples
  COMPONENT Runtime
  REGEX "/(run|engine)$" PERMISSIONS ${program_permissions})
install(
  DIRECTORY examples/embedding
  DESTINATION ${velox_doc_dir}/libvelox-wrapper-dev/examples
  COMPONENT Development
  REGEX "/(run|host\\.py)$" PERMISSIONS ${program_permissions})

# Completions, by what each shell looks for: NAME.bash, _NAME (zsh), NAME.fish.
function(install_completions pattern destination)
  file(GLOB_RECURSE files CONFIGURE_DEPENDS completions/${pattern})
  foreach(file IN LISTS files)
    cmake_path(GET file FILENAME name)
    string(REGEX REPLACE "\\.bash$" "" name ${name})
    install(FILES ${file} DESTINATION ${CMAKE_INSTALL_DATADIR}/${destination} RENAME ${name}
            COMPONENT Runtime)
  endforeach()
endfunction()
foreach(program wrapper kvf)
  if(program STREQUAL "wrapper" OR TARGET velox_kvf)
    install_completions(${program}.bash bash-completion/completions)
    install_completions(_${program} zsh/vendor-completions)
    install_completions(${program}.fish fish/vendor_completions.d)
  endif()
endforeach()

# Editors: vim reads its folder by itself, TextMate's grammar is for others to pick up.
if(EXISTS ${PROJECT_SOURCE_DIR}/editors/vim)
  install(DIRECTORY editors/vim/ DESTINATION ${CMAKE_INSTALL_DATADIR}/vim/vimfiles
          COMPONENT Runtime)
endif()
file(GLOB grammars CONFIGURE_DEPENDS editors/textmate/*)
if(grammars)
  install(FILES ${grammars} DESTINATION ${CMAKE_INSTALL_DATADIR}/velox-wrapper/textmate
          COMPONENT Runtime)
endif()

# What makes annotations of kvf's findings in a workflow's log.
if(TARGET velox_kvf)
  install(FILES packaging/ci/problem-matcher.json
          DESTINATION ${CMAKE_INSTALL_DATADIR}/velox-wrapper COMPONENT Runtime)
endif()
