# Helpers shared by every target of this project. Warnings, -Werror and sanitizers are
# applied per target and PRIVATE, never pushed onto consumers of the library.

function(pelorin_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE -Wthread-safety)
  endif()
  if(PELORIN_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${PELORIN_SANITIZE}
                                             -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${PELORIN_SANITIZE})
  endif()
endfunction()

# pelorin_add_test(<name> LABEL <label> [TIMEOUT <s>] [COST <n>] [NO_WHOLE | WHOLE_BY_HAND]
#                  SOURCES <files...> [LIBS <libs...>])
# Builds one GoogleTest program and registers each of its tests with CTest, each in a
# process of its own, and the whole program as the test "<name>.Whole" (label "whole"):
# every test of it in one process, shuffled, twice, which fails when a test leaves the
# client, the event bus or other process state behind for the next (`ctest -L whole`).
# NO_WHOLE leaves that out, for a program of one long test. WHOLE_BY_HAND adds the label
# "by-hand", which CI leaves out: for a program whose tests drive child processes in real
# time, so that its whole run takes minutes and has no client of its own to check.
function(pelorin_add_test name)
  cmake_parse_arguments(ARG "NO_WHOLE;WHOLE_BY_HAND" "LABEL;TIMEOUT;COST" "SOURCES;LIBS"
                        ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  pelorin_target_defaults(${name})
  target_link_libraries(${name} PRIVATE pelorin::pelorin pelorin_test_support ${ARG_LIBS}
                                        GTest::gmock GTest::gtest_main)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  # COST: CTest starts costlier tests first, so a long test is not the last one left
  # running on a fresh build that has no timings of earlier runs.
  if(NOT ARG_COST)
    set(ARG_COST 0)
  endif()
  # NO_PRETTY_VALUES: a parameterised test is named by its index, not by its parameter's
  # printed value (a function pointer's address changes from build to build).
  gtest_discover_tests(${name} NO_PRETTY_VALUES
    PROPERTIES LABELS "${ARG_LABEL}" TIMEOUT ${ARG_TIMEOUT} COST ${ARG_COST}
    DISCOVERY_TIMEOUT 60)
  if(NOT ARG_NO_WHOLE)
    # The seed is printed at the top of the output; --gtest_random_seed=<seed> repeats
    # the order.
    add_test(NAME ${name}.Whole COMMAND ${name} --gtest_shuffle --gtest_repeat=2
             WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    math(EXPR whole_timeout "${ARG_TIMEOUT} * 5")
    math(EXPR whole_cost "${ARG_COST} + 100")
    set(whole_labels "${ARG_LABEL};whole")
    if(ARG_WHOLE_BY_HAND)
      list(APPEND whole_labels by-hand)
    endif()
    set_tests_properties(${name}.Whole PROPERTIES LABELS "${whole_labels}"
      TIMEOUT ${whole_timeout} COST ${whole_cost})
  endif()
endfunction()

# pelorin_add_benchmark(<name> SOURCES <files...> [LIBS <libs...>])
function(pelorin_add_benchmark name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  pelorin_target_defaults(${name})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE pelorin::pelorin Boost::json ${ARG_LIBS} benchmark::benchmark)
endfunction()

# pelorin_add_fuzzer(<name> SOURCES <files...> [LIBS <libs...>])
# A libFuzzer target (clang, PELORIN_BUILD_FUZZERS). Its seed corpus lives in
# fuzz/corpus/<name without fuzz_>. In a build with tests instead, the same sources are linked
# with a replay driver and the test "FuzzCorpus.<name without fuzz_>" (label "fuzz-corpus")
# runs every seed input through the target once.
function(pelorin_add_fuzzer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  string(REGEX REPLACE "^fuzz_" "" short ${name})
  if(PELORIN_BUILD_FUZZERS)
    add_executable(${name} ${ARG_SOURCES})
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    add_executable(${name} ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/fuzz/replay_main.cc)
    add_test(NAME FuzzCorpus.${short}
             COMMAND ${name} ${PROJECT_SOURCE_DIR}/fuzz/corpus/${short})
    set_tests_properties(FuzzCorpus.${short} PROPERTIES LABELS fuzz-corpus TIMEOUT 120)
  endif()
  pelorin_target_defaults(${name})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE pelorin::pelorin Boost::json ${ARG_LIBS})
endfunction()
