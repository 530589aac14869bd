# Script of the test install.consumer; see CMakeLists.txt for its arguments.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "failed with ${result}: ${command}")
  endif()
endfunction()

set(prefix ${WORK_DIR}/prefix)
set(build ${WORK_DIR}/build)
file(REMOVE_RECURSE ${WORK_DIR})

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --config ${CONFIG})

# Code that links a sanitized library must be sanitized in the same way.
set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=${SANITIZE}")
endif()
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${build} -G ${GENERATOR}
    -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_CXX_FLAGS=${flags}
    -DCMAKE_PREFIX_PATH=${prefix} -DKB_EXPECTED_VERSION=${VERSION})
run(${CMAKE_COMMAND} --build ${build} --config ${CONFIG})
run(${CMAKE_CTEST_COMMAND} --test-dir ${build} --build-config ${CONFIG} --output-on-failure --no-tests=error)
