// Several ways to do a thing, timed in turns within one run: a machine that changes its pace, or
// gives its processor to somebody else, does so to all of them.
//
//   TakeTurns(state, 64, {{"service", [&] { service.Send(request); }},
//                         {"floor", [&] { empty.Send(request); }}});
//
// Each iteration times `block` calls of each side, and begins with another side than the last one.
// Counters: "service" and "floor" are medians over the iterations, in nanoseconds a call;
// "service/floor" is the median of the ratios of the first side to the other, one an iteration. The
// benchmark must be registered with UseManualTime.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Side {
  std::string name;
  std::function<void()> work;
  std::function<void()> prepare = [] {};  // before each block, out of the time
};

template <typename Work>
double SecondsOf(const Work& work, int times = 1) {
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < times; ++i) {
    work();
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

inline double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

inline void TakeTurns(benchmark::State& state, int block, const std::vector<Side>& sides) {
  std::vector<std::vector<double>> seconds(sides.size());
  std::vector<std::vector<double>> ratios(sides.size());
  size_t first = 0;
  for (auto _ : state) {
    double total = 0;
    for (size_t turn = 0; turn < sides.size(); ++turn) {
      const size_t side = (first + turn) % sides.size();
      sides[side].prepare();
      seconds[side].push_back(SecondsOf(sides[side].work, block));
      total += seconds[side].back();
    }
    for (size_t side = 0; side < sides.size(); ++side) {
      ratios[side].push_back(seconds[0].back() / seconds[side].back());
    }
    state.SetIterationTime(total);
    ++first;
  }
  for (size_t side = 0; side < sides.size(); ++side) {
    state.counters[sides[side].name] = Median(seconds[side]) / block * 1e9;
    state.counters[sides[0].name + "/" + sides[side].name] = Median(ratios[side]);
  }
}

}  // namespace bench
