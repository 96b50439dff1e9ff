# Memory and size measurements, run by scripts/run-benchmarks.sh (see docs/performance.md).
pelorin_add_benchmark(pelorin_footprint SOURCES footprint.cc)
add_executable(pelorin_size_probe size_probe.cc)
pelorin_target_defaults(pelorin_size_probe)
target_link_libraries(pelorin_size_probe PRIVATE pelorin::pelorin)
add_executable(pelorin_size_baseline size_baseline.cc)
pelorin_target_defaults(pelorin_size_baseline)
