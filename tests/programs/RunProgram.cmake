# Runs one program with the shell and compares what it prints. Started in the folder of the program.
#   KBSH     the shell
#   PROGRAM  file name of the program
get_filename_component(name ${PROGRAM} NAME_WE)
file(READ ${PROGRAM} text LIMIT 500)
set(options "")
set(expected_status 0)
if(text MATCHES "^; kbsh:([^\n]*)")
  set(line "${CMAKE_MATCH_1}")
  if(line MATCHES "status ([0-9]+)")
    set(expected_status ${CMAKE_MATCH_1})
    string(REPLACE "status ${CMAKE_MATCH_1}" "" line "${line}")
  endif()
  separate_arguments(options UNIX_COMMAND "${line}")
endif()

set(input /dev/null)
if(WIN32)
  set(input NUL)
endif()
if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/${name}.in)
  set(input ${CMAKE_CURRENT_LIST_DIR}/${name}.in)
endif()

execute_process(COMMAND ${KBSH} ${PROGRAM} ${options} INPUT_FILE ${input}
                RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE errors)

# expect(<what> <text> <file>): the text must be the content of the file; a file that is missing is empty.
function(expect what text file)
  set(expected "")
  if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/${file})
    file(READ ${CMAKE_CURRENT_LIST_DIR}/${file} expected)
  endif()
  if(NOT text STREQUAL expected)
    message(FATAL_ERROR "${what} of ${PROGRAM} is\n${text}\n-- instead of\n${expected}\n-- stderr:\n${errors}")
  endif()
endfunction()

expect("the output" "${output}" ${name}.out)
expect("standard error" "${errors}" ${name}.err)
if(NOT status EQUAL expected_status)
  message(FATAL_ERROR "${PROGRAM} ended with status ${status} instead of ${expected_status}")
endif()
