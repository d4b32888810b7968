# The few shapes that all folders of this project are built from.

# vela_objects(NAME FOLDER INCLUDES dirs...): the sources of one folder as an object library that sees just these
# directories, so that an include which the floors forbid does not compile.
function(vela_objects name folder)
  cmake_parse_arguments(ARG "" "" "INCLUDES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.cpp)
  if(NOT sources)
    file(WRITE ${CMAKE_BINARY_DIR}/empty/${name}.cpp "")
    set(sources ${CMAKE_BINARY_DIR}/empty/${name}.cpp)
  endif()
  add_library(${name} OBJECT ${sources})
  list(TRANSFORM ARG_INCLUDES PREPEND ${CMAKE_SOURCE_DIR}/)
  target_include_directories(${name} PRIVATE ${ARG_INCLUDES})
endfunction()

# vela_shared_library(NAME OBJECTS libs... LINK libs... EXPORTS list): lib<NAME>.so of these objects, and an archive
# <NAME>_inner of the same objects for tests, where hidden names can be called.
function(vela_shared_library name)
  cmake_parse_arguments(ARG "" "EXPORTS" "OBJECTS;LINK" ${ARGN})
  set(objects)
  foreach(library IN LISTS ARG_OBJECTS)
    list(APPEND objects $<TARGET_OBJECTS:${library}>)
  endforeach()
  add_library(${name} SHARED ${objects})
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  target_link_libraries(${name} PRIVATE ${ARG_LINK})
  # Handlers of signals and destructors of thread data point into it, and nothing of its state is ever released.
  target_link_options(${name} PRIVATE -Wl,-z,nodelete)
  # Calls within a library go straight to their function. Data stays where a host may have its copy of it.
  target_link_options(${name} PRIVATE -Wl,-Bsymbolic-functions)
  # The C runtime's own symbols may stay undefined in a sanitized library: the program brings them.
  if(NOT VELA_SANITIZE)
    target_link_options(${name} PRIVATE -Wl,--no-undefined)
  endif()
  target_include_directories(${name} INTERFACE
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include> $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/platform/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velaco>)

  if(ARG_EXPORTS)
    file(STRINGS ${CMAKE_SOURCE_DIR}/${ARG_EXPORTS} rows)
    set(script "{\n  global:\n")
    foreach(row IN LISTS rows)
      string(REGEX REPLACE "^[FD] " "" symbol "${row}")
      string(APPEND script "    ${symbol};\n")
    endforeach()
    string(APPEND script "  local: *;\n};\n")
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/${name}.map CONTENT "${script}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${ARG_EXPORTS})
    target_link_options(${name} PRIVATE -Wl,--version-script=${CMAKE_BINARY_DIR}/${name}.map)
    set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${CMAKE_BINARY_DIR}/${name}.map)
  endif()

  add_library(${name}_inner STATIC ${objects})
  target_link_libraries(${name}_inner PUBLIC ${ARG_LINK})
  target_include_directories(${name}_inner INTERFACE ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR}/include/inner
    ${CMAKE_SOURCE_DIR}/platform/include)
endfunction()

# vela_label_tests(LIST labels...): the labels of discovered tests; LIST is the TEST_LIST of gtest_discover_tests. They cannot
# stand among the properties there: a list as a value comes apart on the way.
function(vela_label_tests tests)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${tests}_labels.cmake)
  file(CONFIGURE OUTPUT ${script} @ONLY CONTENT [=[
if(@tests@)
  set_tests_properties(${@tests@} PROPERTIES LABELS "@ARGN@")
endif()
]=])
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${script})
endfunction()

# vela_tests(NAME FOLDER LINK libs... INCLUDES dirs... [TSAN]): one test program of all *_test.cpp of a folder below
# tests/. CTest runs each test in a process of its own, for the state of this system is process-wide.
# TSAN marks suites that start threads: the label "threads" selects them for the ThreadSanitizer run.
function(vela_tests name folder)
  cmake_parse_arguments(ARG "TSAN" "" "LINK;INCLUDES;DEFINES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${folder}/*_test.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  list(TRANSFORM ARG_INCLUDES PREPEND ${CMAKE_SOURCE_DIR}/)
  target_include_directories(${name} PRIVATE ${ARG_INCLUDES} ${CMAKE_SOURCE_DIR}/tests/support)
  target_link_libraries(${name} PRIVATE ${ARG_LINK} vela_test_support GTest::gtest GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE ${ARG_DEFINES})
  gtest_discover_tests(${name} TEST_PREFIX "${name}." TEST_LIST ${name}_found DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT 300)
  set(labels ${folder})
  if(ARG_TSAN)
    list(APPEND labels threads)
  endif()
  vela_label_tests(${name}_found ${labels})
endfunction()
