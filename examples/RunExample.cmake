# Runs one example, shows what it prints and compares it with what it must print. Started in the folder of the example.
#   COMMAND  the program and its arguments, a list
#   INPUT    file for standard input; none if empty
#   OUTPUT   file with the expected output
set(input /dev/null)
if(WIN32)
  set(input NUL)
endif()
if(INPUT)
  set(input ${INPUT})
endif()

execute_process(COMMAND ${COMMAND} INPUT_FILE ${input} RESULT_VARIABLE status OUTPUT_VARIABLE output
                ERROR_VARIABLE errors)
message("${output}")
if(NOT status EQUAL 0)
  message(FATAL_ERROR "status ${status}\n${errors}")
endif()

file(READ ${CMAKE_CURRENT_BINARY_DIR}/${OUTPUT} expected)
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "the output is not that of ${OUTPUT}")
endif()
if(errors)
  message(FATAL_ERROR "standard error: ${errors}")
endif()
