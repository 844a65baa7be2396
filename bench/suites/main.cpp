// Runs every suite; --benchmark_filter picks some of them.
#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
