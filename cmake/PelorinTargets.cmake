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

# pelorin_add_test(<name> LABEL <label> [TIMEOUT <s>] [COST <n>] SOURCES <files...>
#                  [LIBS <libs...>])
# Builds one GoogleTest program and registers each of its tests with CTest, so every
# test runs in a process of its own (the client singleton is fresh in each).
function(pelorin_add_test name)
  cmake_parse_arguments(ARG "" "LABEL;TIMEOUT;COST" "SOURCES;LIBS" ${ARGN})
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
  gtest_discover_tests(${name}
    PROPERTIES LABELS "${ARG_LABEL}" TIMEOUT ${ARG_TIMEOUT} COST ${ARG_COST}
    DISCOVERY_TIMEOUT 60)
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
# A libFuzzer target (clang). Its seed corpus lives in fuzz/corpus/<name without fuzz_>.
function(pelorin_add_fuzzer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  pelorin_target_defaults(${name})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_libraries(${name} PRIVATE pelorin::pelorin Boost::json ${ARG_LIBS})
endfunction()
