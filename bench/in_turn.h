// A benchmark that measures what runs and its floor in turn.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <utility>
#include <vector>

namespace bench {

using Nanoseconds = std::chrono::duration<double, std::nano>;

// Not empty.
inline double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// `ours` and `floor` each do one round and return the time that it took. The counters "ours" and
// "floor" are the medians of their rounds, in nanoseconds. A round is short, so that both meet the
// same machine, and one in which somebody else ran doesn't count.
template <typename Ours, typename Floor>
void MeasureInTurn(benchmark::State& state, Ours ours, Floor floor) {
  std::vector<double> our_times;
  std::vector<double> floor_times;
  for (auto _ : state) {
    our_times.push_back(Nanoseconds(ours()).count());
    floor_times.push_back(Nanoseconds(floor()).count());
  }
  state.counters["ours"] = Median(std::move(our_times));
  state.counters["floor"] = Median(std::move(floor_times));
}

}  // namespace bench
