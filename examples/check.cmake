# Fails unless the example RUN, given WRAPPER and DIRECTORY, ends with status 0, its output matches
# PATTERN, and no sanitizer complains.
cmake_minimum_required(VERSION 3.25)
execute_process(COMMAND ${RUN} ${WRAPPER} ${DIRECTORY} RESULT_VARIABLE status
                OUTPUT_VARIABLE output ERROR_VARIABLE output)
message("${output}")
if(NOT status STREQUAL "0")
  message(FATAL_ERROR "ended with ${status}")
endif()
if(NOT output MATCHES "${PATTERN}")
  message(FATAL_ERROR "does not match ${PATTERN}")
endif()
if(output MATCHES "Sanitizer|runtime error:")
  message(FATAL_ERROR "a sanitizer complains")
endif()
