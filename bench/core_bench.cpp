// Benchmarks of the portable core. Exits with 1 when one of the limits of limits.cpp is broken.
#include <benchmark/benchmark.h>

#include "bench/limits.h"
#include "tests/fakes/fake_library.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  core_test::Fake().Reset();

  core_bench::ShortestTimes times;
  benchmark::RunSpecifiedBenchmarks(&times);
  return core_bench::CheckLimits(times) ? 0 : 1;
}
