// Measures how fast ticks process lines and the host reads frames. Prints a table of medians of interleaved
// repetitions, each with its ratio to a reference measured in the same run.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <map>

#include "bench/other_parsers.h"
#include "bench/workload.h"

namespace halden::bench {
namespace {

using benchmark::State;

/// Reports bytes and lines per second. All reads of a stream are about the same size.
void Rates(State& state, const Stream& stream) {
  const double share = static_cast<double>(state.iterations()) / static_cast<double>(stream.reads.size());
  state.counters["bytes"] = benchmark::Counter(stream.bytes * share, benchmark::Counter::kIsRate);
  state.counters["lines"] = benchmark::Counter(stream.lines * share, benchmark::Counter::kIsRate);
}

/// Runs `take` on the stream's reads in turn.
template <class Take>
void OverReads(State& state, const Stream& stream, Take take) {
  std::size_t i = 0;
  for (auto _ : state) take(stream.reads[i++ % stream.reads.size()]);
  Rates(state, stream);
}

std::vector<std::string> registered;  // in the order of the table

void Register(const std::string& name, std::function<void(State&)> run) {
  registered.push_back(name);
  benchmark::RegisterBenchmark(name.c_str(), std::move(run));
}

/// The whole tick: from the bytes of a read to the frames in the ring.
void RegisterTick(const Stream& stream, const std::string& label, const FixedNumberRules& rules) {
  Register(stream.name + "/" + label, [&stream, rules](State& state) {
    Tick tick(rules, stream.separator, stream.columns);
    OverReads(state, stream, [&](const std::string& read) { tick.Take(read); });
  });
}

/// Other ways to process the same bytes. memchr and memcpy show the cost of just touching them.
void RegisterYardsticks(const Stream& stream) {
  Register(stream.name + "/bare loop", [&stream](State& state) {
    std::vector<std::int16_t> codes(65536);
    OverReads(state, stream, [&](const std::string& read) {
      benchmark::DoNotOptimize(BareLoop(read, codes.data()));
      benchmark::ClobberMemory();
    });
  });
  const auto sum = [&stream](const std::string& name, float (*parse)(const std::string&)) {
    Register(stream.name + "/" + name, [&stream, parse](State& state) {
      OverReads(state, stream, [&](const std::string& read) { benchmark::DoNotOptimize(parse(read)); });
    });
  };
  sum("strtof", SumByStrtof);
  sum("sscanf", SumBySscanf);
  sum("istringstream", SumByIstringstream);
  Register(stream.name + "/memchr alone", [&stream](State& state) {
    OverReads(state, stream, [&](const std::string& read) {
      const char* at = read.data();
      const char* const end = at + read.size();
      while ((at = static_cast<const char*>(std::memchr(at, '\r', end - at)))) benchmark::DoNotOptimize(++at);
    });
  });
  Register(stream.name + "/memcpy alone", [&stream](State& state) {
    std::vector<char> to(65536);
    OverReads(state, stream, [&](const std::string& read) {
      std::memcpy(to.data(), read.data(), read.size());
      benchmark::ClobberMemory();
    });
  });
}

constexpr std::int32_t kRingFrames = 1 << 20;

/// A ring of four channels that is full, with its oldest frame in slot `first`.
struct FullRing {
  explicit FullRing(std::int32_t first) {
    InitRanges(store, FixedNumberRules::Point());
    store.InputState.RequestedSize = kRingFrames;
    SetInputChannels(store, {0, 1, 2, 3});
    ResetBuffer(store);
    std::fill_n(store.InputState.Kadrs.get(), std::size_t{kRingFrames} * 4, std::int16_t{1});
    Fill(first);
  }
  /// Makes the ring full again without storing anything.
  void Fill(std::int32_t first) {
    store.InputState.ReadIndex = first;
    store.InputState.WriteIndex = first > 1 ? first - 1 : kRingFrames;
    store.InputState.BufferEmpty = false;
  }
  Store store;
};

/// Reads of `bytes` bytes by the host, and a memcpy of the same size from the same storage.
void RegisterRead(std::size_t bytes) {
  const std::string name = "read " + std::to_string(bytes >> 10) + " KiB";
  const auto codes = static_cast<std::int32_t>(bytes / sizeof(std::int16_t));
  const auto per_second = [bytes](State& state) {
    const double moved = static_cast<double>(state.iterations()) * static_cast<double>(bytes);
    state.counters["bytes"] = benchmark::Counter(moved, benchmark::Counter::kIsRate);
  };
  const auto get_data = [=](State& state, std::int32_t first, bool wraps) {
    FullRing ring(first);
    std::vector<std::int16_t> to(codes);
    for (auto _ : state) {
      // Refill before a read would wrap by itself. In the wrapped case every read wraps in the middle.
      if (wraps || ring.store.InputState.ReadIndex > kRingFrames - codes / 4) ring.Fill(first);
      std::int32_t room = codes;
      std::int32_t left = 0;
      benchmark::DoNotOptimize(GetData(ring.store, to.data(), room, left));
      benchmark::ClobberMemory();
    }
    per_second(state);
  };
  Register(name + "/GetData", [=](State& state) { get_data(state, 1, false); });
  Register(name + "/GetData, wrapped",
           [=](State& state) { get_data(state, kRingFrames - codes / 8 + 1, true); });
  Register(name + "/memcpy", [=](State& state) {
    FullRing ring(1);
    std::vector<std::int16_t> to(codes);
    std::size_t at = 0;
    for (auto _ : state) {
      std::memcpy(to.data(), ring.store.InputState.Kadrs.get() + at, bytes);
      benchmark::ClobberMemory();
      at = at + 2 * codes > std::size_t{kRingFrames} * 4 ? 0 : at + codes;
    }
    per_second(state);
  });
  Register(name + "/InputData", [=](State& state) {
    FullRing ring(1);
    for (auto _ : state) {
      ring.store.InputState.ReadIndex = 1;
      ring.store.InputState.WriteIndex = codes / 4;
      ring.store.InputState.BufferEmpty = false;
      benchmark::DoNotOptimize(InputData(ring.store));
    }
    per_second(state);
  });
}

/// Collects every repetition, and prints the medians by group in the order of registration. A benchmark's
/// name is "group/name".
class Table : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string& name = run.run_name.function_name;
      bytes_[name].push_back(run.counters.at("bytes"));
      const auto lines = run.counters.find("lines");
      if (lines != run.counters.end()) lines_[name].push_back(lines->second);
    }
  }
  void Finalize() override {
    std::string group;
    for (const std::string& name : registered) {
      if (!bytes_.count(name)) continue;
      if (Group(name) != group) {
        group = Group(name);
        std::printf("\n%-30s %8s %12s   ratio to the %s\n", group.c_str(), "MB/s", "lines/s",
                    Unit(group).c_str());
      }
      const double unit = Median(bytes_[group + "/" + Unit(group)]);
      std::printf("  %-28s %8.0f %12.0f   %.2f\n", name.substr(group.size() + 1).c_str(),
                  Median(bytes_[name]) / 1e6, Median(lines_[name]), Median(bytes_[name]) / unit);
    }
  }

 private:
  static std::string Group(const std::string& name) { return name.substr(0, name.find('/')); }
  /// The reference of a group, to which its ratios refer.
  static std::string Unit(const std::string& group) {
    return group.starts_with("read") ? "memcpy" : "bare loop";
  }
  static double Median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
  }

  std::map<std::string, std::vector<double>> bytes_;
  std::map<std::string, std::vector<double>> lines_;
};

}  // namespace
}  // namespace halden::bench

int main(int argc, char** argv) {
  using namespace halden;
  using namespace halden::bench;
  std::vector<char*> arguments(argv, argv + argc);
  char repetitions[] = "--benchmark_repetitions=15";
  char interleaved[] = "--benchmark_enable_random_interleaving=true";
  char min_time[] = "--benchmark_min_time=0.02";
  arguments.insert(arguments.begin() + 1, {repetitions, interleaved, min_time});
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
  const std::vector<Stream> point = MakeStreams('.');
  const std::vector<Stream> comma = MakeStreams(',');
  for (std::size_t i = 0; i < point.size(); ++i) {
    RegisterTick(point[i], "tick, decimal point", FixedNumberRules::Point());
    RegisterTick(comma[i], "tick, decimal comma", FixedNumberRules::Comma());
    RegisterTick(point[i], "tick, point sent, comma set", FixedNumberRules::Comma());
    RegisterYardsticks(point[i]);
  }
  for (std::size_t kib : {1, 4, 16, 64, 256, 1024, 4096}) RegisterRead(kib << 10);
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
}
