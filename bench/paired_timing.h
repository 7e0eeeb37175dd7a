// A figure and its floor, timed in turn within one run: a machine that changes its pace, or gives
// its processor to somebody else, does so to both.
//
//   TimeInTurn(state, 64, [&] { service.Send(request); }, [&] { Format(); });
//
// Each iteration times `block` calls of the one and of the other, whose turn is first by turns. The
// run reports medians over its iterations as counters: "service" and "floor" in nanoseconds a call,
// "ratio" of the two. The benchmark must be registered with UseManualTime.
#ifndef NUVREL_BENCH_PAIRED_TIMING_H_
#define NUVREL_BENCH_PAIRED_TIMING_H_

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace bench {

template <typename Work>
double SecondsOf(int calls, Work& work) {
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < calls; ++i) {
    work();
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count() / calls;
}

// Of the upper one of the two in the middle, when there are two. Empty: 0.
inline double Median(std::vector<double> values) {
  if (values.empty()) {
    return 0;
  }
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// As below, with prepare(<whether it is the service's turn>) before each turn, out of the time.
template <typename Prepare, typename Service, typename Floor>
void TimeInTurn(benchmark::State& state, int block, Prepare prepare, Service service, Floor floor) {
  std::vector<double> services;
  std::vector<double> floors;
  std::vector<double> ratios;
  bool serviceFirst = true;
  for (auto _ : state) {
    for (const bool serviceTurn : {serviceFirst, !serviceFirst}) {
      prepare(serviceTurn);
      if (serviceTurn) {
        services.push_back(SecondsOf(block, service));
      } else {
        floors.push_back(SecondsOf(block, floor));
      }
    }
    serviceFirst = !serviceFirst;
    ratios.push_back(services.back() / floors.back());
    state.SetIterationTime(services.back() * block);
  }
  state.counters["service"] = Median(std::move(services)) * 1e9;
  state.counters["floor"] = Median(std::move(floors)) * 1e9;
  state.counters["ratio"] = Median(std::move(ratios));
}

template <typename Service, typename Floor>
void TimeInTurn(benchmark::State& state, int block, Service service, Floor floor) {
  TimeInTurn(
      state, block, [](bool) {}, service, floor);
}

}  // namespace bench

#endif  // NUVREL_BENCH_PAIRED_TIMING_H_
