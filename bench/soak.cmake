# The soak of the demo's journey (a program, not a Google Benchmark): needs the devserver.
if(TARGET pelorin_devserver)
  find_package(CLI11 CONFIG REQUIRED)
  add_executable(pelorin_journey_soak journey_soak.cc ${PROJECT_SOURCE_DIR}/tests/soak/journey_soak.cc
                 ${PROJECT_SOURCE_DIR}/examples/demo/shop_screens.cc)
  pelorin_target_defaults(pelorin_journey_soak)
  target_include_directories(pelorin_journey_soak PRIVATE ${PROJECT_SOURCE_DIR}/src
                             ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/examples/demo)
  target_compile_definitions(pelorin_journey_soak PRIVATE
      PELORIN_DEMO_CONFIG="${PROJECT_SOURCE_DIR}/examples/demo/demo_config.json")
  target_link_libraries(pelorin_journey_soak PRIVATE pelorin::pelorin pelorin_devserver
                        CLI11::CLI11)
endif()
