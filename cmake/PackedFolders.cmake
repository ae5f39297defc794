# Read by cpack when all is in its place: modes of folders do not depend on the umask.
file(GLOB_RECURSE entries LIST_DIRECTORIES ON ${CPACK_TEMPORARY_DIRECTORY}/*)
foreach(entry IN LISTS entries)
  if(IS_DIRECTORY "${entry}" AND NOT IS_SYMLINK "${entry}")
    file(CHMOD "${entry}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                      WORLD_READ WORLD_EXECUTE)
  endif()
endforeach()
