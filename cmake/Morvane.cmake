# What every target of this project is built with, and the helpers that the folders use.
include_guard(GLOBAL)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

option(MORVANE_BENCH "Build the benchmarks" OFF)
option(MORVANE_FUZZ "Build the libFuzzer targets (clang only)" OFF)
set(MORVANE_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= takes them")

find_program(MORVANE_CCACHE ccache)
if(MORVANE_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${MORVANE_CCACHE}")
endif()

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

add_library(morvane_options INTERFACE)
target_include_directories(morvane_options INTERFACE "${CMAKE_SOURCE_DIR}/src")
# Floating point must give the same bits everywhere, so no silent contraction to fused operations.
target_compile_options(morvane_options INTERFACE
  -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Wcast-qual -Wimplicit-fallthrough -Werror
  -ffp-contract=off -fno-strict-aliasing
  # g++ 12 sees overlaps in std::string that are not there.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
target_link_libraries(morvane_options INTERFACE Threads::Threads)
if(MORVANE_FUZZ)
  # Every library tells the fuzzer where it has been; the targets alone bring its main.
  target_compile_options(morvane_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(MORVANE_SANITIZE)
  target_compile_options(morvane_options INTERFACE
    -fsanitize=${MORVANE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(morvane_options INTERFACE -fsanitize=${MORVANE_SANITIZE})
endif()

# morvane_library(NAME [SOURCES file...] [DEPS target...] [PRIVATE_DEPS target...])
# One folder, one static library. DEPS are the lower floors that the folder's headers use.
function(morvane_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  if(ARG_SOURCES)
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC morvane_options ${ARG_DEPS} PRIVATE ${ARG_PRIVATE_DEPS})
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE morvane_options ${ARG_DEPS})
  endif()
endfunction()

# morvane_test(NAME SOURCES file... [DEPS target...] [LABELS label] [SERIAL])
# A GoogleTest program, each test a ctest of its own with a private set of folders (tests/support).
# SERIAL is for tests that need real time: they run alone. Each ends after two minutes, or
# MORVANE_TEST_TIMEOUT seconds.
function(morvane_test name)
  cmake_parse_arguments(ARG "SERIAL" "" "SOURCES;DEPS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
  target_link_libraries(${name} PRIVATE test_support GTest::gmock ${ARG_DEPS})
  # What is tested is built as users get it; the tests themselves need not cost as much.
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O1>)
  # tests_LABEL builds just the programs of a label (a sanitizer run needs no others).
  foreach(label IN LISTS ARG_LABELS)
    if(NOT TARGET tests_${label})
      add_custom_target(tests_${label})
    endif()
    add_dependencies(tests_${label} ${name})
  endforeach()
  set(timeout 120)
  if(MORVANE_TEST_TIMEOUT)
    set(timeout ${MORVANE_TEST_TIMEOUT})
  endif()
  set(properties TIMEOUT ${timeout})
  # One label a program: gtest_discover_tests takes a list for several properties.
  list(LENGTH ARG_LABELS labels)
  if(labels GREATER 1)
    message(FATAL_ERROR "${name}: one label, not ${ARG_LABELS}")
  elseif(labels EQUAL 1)
    list(APPEND properties LABELS "${ARG_LABELS}")
  endif()
  if(MORVANE_SANITIZE MATCHES "address")
    # What libraries below us leave behind, by name.
    list(APPEND properties ENVIRONMENT
      "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0")
  endif()
  if(ARG_SERIAL)
    list(APPEND properties RUN_SERIAL TRUE)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES ${properties})
endfunction()
