// Benchmarks of the portable core. Those whose names end with "Floor" are what the one of the same
// name without it is measured against; scripts/bench compares the two.
#include <benchmark/benchmark.h>

#include "tests/fakes/fake_library.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  core_test::Fake().Reset();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
