# Source collection shared by every folder: a library is the .cpp files of its
# folders, tests are the *_test.cpp files beside them. New files need no edit
# here, which keeps parallel work on separate folders free of merge conflicts.

function(ffdrv_sources out)
  set(result)
  foreach(dir IN LISTS ARGN)
    file(GLOB found CONFIGURE_DEPENDS ${dir}/*.cpp)
    list(FILTER found EXCLUDE REGEX "_test\\.cpp$")
    list(APPEND result ${found})
  endforeach()
  set(${out} ${result} PARENT_SCOPE)
endfunction()

# Tests named *_win32_test.cpp run only in the Windows build (under Wine),
# *_portable_test.cpp only natively; every other test runs on both.
function(ffdrv_test_sources out)
  set(result)
  foreach(dir IN LISTS ARGN)
    file(GLOB found CONFIGURE_DEPENDS ${dir}/*_test.cpp)
    if(WIN32)
      list(FILTER found EXCLUDE REGEX "_portable_test\\.cpp$")
    else()
      list(FILTER found EXCLUDE REGEX "_win32_test\\.cpp$")
    endif()
    list(APPEND result ${found})
  endforeach()
  set(${out} ${result} PARENT_SCOPE)
endfunction()

# ffdrv_add_test(name SOURCES ... LIBS ...): one GoogleTest binary, registered
# with CTest. Cross builds register the binary as a whole (it runs under Wine).
function(ffdrv_add_test name)
  cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
  if(NOT T_SOURCES)
    return()
  endif()
  add_executable(${name} ${T_SOURCES} $<TARGET_OBJECTS:ffdrv_test_env>)
  target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gmock GTest::gtest_main)
  if(CMAKE_CROSSCOMPILING)
    add_test(NAME ${name} COMMAND ${name})
  else()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
  endif()
endfunction()
