pelorin_add_benchmark(bench_tick SOURCES tick_bench.cc)
