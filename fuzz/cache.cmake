pelorin_add_fuzzer(fuzz_cache SOURCES cache_fuzz.cc)
