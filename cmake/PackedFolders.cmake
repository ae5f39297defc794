# Read by cpack when all is in its place: modes of folders do not depend on the umask, and times not on
# when the sources came here (what is newer than SOURCE_DATE_EPOCH gets that).
file(GLOB_RECURSE entries LIST_DIRECTORIES ON ${CPACK_TEMPORARY_DIRECTORY}/*)
foreach(entry IN LISTS entries)
  if(IS_SYMLINK "${entry}")
    continue()
  endif()
  if(IS_DIRECTORY "${entry}")
    file(CHMOD "${entry}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                      WORLD_READ WORLD_EXECUTE)
  endif()
  file(TOUCH_NOCREATE "${entry}")
endforeach()
