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

# ffdrv_version_resource(target DESCRIPTION text): the Windows version
# resource of a DLL or program, from the one version in VERSION.
function(ffdrv_version_resource target)
  if(NOT WIN32)
    return()
  endif()
  cmake_parse_arguments(V "" "DESCRIPTION" "" ${ARGN})
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    set(FFDRV_RC_FILETYPE VFT_DLL)
    set(FFDRV_RC_FILE ${target}.dll)
  else()
    set(FFDRV_RC_FILETYPE VFT_APP)
    set(FFDRV_RC_FILE ${target}.exe)
  endif()
  set(FFDRV_RC_NAME ${target})
  set(FFDRV_RC_DESCRIPTION "${V_DESCRIPTION}")
  set(FFDRV_VERSION_PATCH ${PROJECT_VERSION_PATCH})
  if(NOT FFDRV_VERSION_PATCH)
    set(FFDRV_VERSION_PATCH 0)
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
endfunction()

# ffdrv_layer_check(target LAYER name DIRS dir... ALLOW regex...): every build
# of `target` first checks that the quoted #include lines of its headers and
# sources (tests aside) name only paths matching one of the ALLOW regular
# expressions, and fails otherwise. This is what keeps the layers pointing
# down: a header from a layer the library does not depend on stops the build.
function(ffdrv_layer_check target)
  cmake_parse_arguments(L "" "LAYER" "DIRS;ALLOW" ${ARGN})
  set(files)
  foreach(dir IN LISTS L_DIRS)
    file(GLOB found CONFIGURE_DEPENDS ${dir}/*.h ${dir}/*.cpp)
    list(FILTER found EXCLUDE REGEX "(_test\\.cpp|_test_support\\.h)$")
    list(APPEND files ${found})
  endforeach()
  set(layer_file ${CMAKE_CURRENT_BINARY_DIR}/layers/${target}.cmake)
  set(stamp ${CMAKE_CURRENT_BINARY_DIR}/layers/${target}.stamp)
  # Bracket arguments keep the regular expressions as written.
  list(JOIN L_ALLOW "]=] [=[" allow_text)
  file(CONFIGURE OUTPUT ${layer_file} CONTENT
       "set(LAYER ${L_LAYER})\nset(ALLOWED [=[${allow_text}]=])\nset(SOURCES \"${files}\")\nset(STAMP \"${stamp}\")\n")
  add_custom_command(OUTPUT ${stamp}
                     COMMAND ${CMAKE_COMMAND} -DLAYER_FILE=${layer_file} -P ${PROJECT_SOURCE_DIR}/cmake/check_includes.cmake
                     DEPENDS ${files} ${layer_file} ${PROJECT_SOURCE_DIR}/cmake/check_includes.cmake
                     COMMENT "Checking the includes of layer ${L_LAYER}" VERBATIM)
  add_custom_target(${target}_layer_check DEPENDS ${stamp})
  add_dependencies(${target} ${target}_layer_check)
endfunction()
