# GoogleTest, from the system or else fetched, and the helper kb_test.
find_package(GTest QUIET)
if(NOT TARGET GTest::gmock)
  include(FetchContent)
  set(INSTALL_GTEST OFF)
  FetchContent_Declare(googletest
    URL https://github.com/google/googletest/archive/refs/tags/v1.14.0.tar.gz
    DOWNLOAD_EXTRACT_TIMESTAMP ON)
  FetchContent_MakeAvailable(googletest)
endif()
include(GoogleTest)

# kb_add_test_area(<folder>): builds tests/<folder> when it is there and KB_FOLDERS does not leave it out.
function(kb_add_test_area area)
  if(KB_FOLDERS AND NOT area IN_LIST KB_FOLDERS)
    return()
  endif()
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${area}/CMakeLists.txt)
    add_subdirectory(${area})
  endif()
endfunction()

# kb_test(<area> <file>...): the test program kb_tests_<area>. Its cases appear in ctest as <area>.<Suite>.<Case>,
# with the label <area>. Tests find the source tree through the macro KB_SOURCE_DIR.
function(kb_test area)
  set(target kb_tests_${area})
  add_executable(${target} ${ARGN})
  target_link_libraries(${target} PRIVATE kb::kb kb_warnings GTest::gmock GTest::gtest GTest::gtest_main)
  target_compile_definitions(${target} PRIVATE KB_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  # Most of the time goes into the headers, which a batch reads once. The library's sources compile one by one.
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
  gtest_discover_tests(${target} TEST_PREFIX ${area}. DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                       PROPERTIES LABELS ${area} TIMEOUT 300)
endfunction()
