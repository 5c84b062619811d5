// Runs a few ticks over each read of the first stream. With "bare" as argument it only makes the streams, so
// the difference between the instruction counts of two runs is the cost of the ticks. Prints the bytes and
// lines of the ticks.

#include <cstdio>
#include <cstring>

#include "bench/workload.h"

int main(int argc, char** argv) {
  using namespace halden::bench;
  constexpr int kRounds = 4;
  const bool bare = argc > 1 && std::strcmp(argv[1], "bare") == 0;
  const auto rules = halden::FixedNumberRules::Point();
  const Stream stream = MakeStreams('.')[0];
  Tick tick(rules, stream.separator, stream.columns);
  for (int round = 0; round < kRounds && !bare; ++round)
    for (const std::string& read : stream.reads) tick.Take(read);
  std::printf("%.0f bytes, %.0f lines\n", kRounds * stream.bytes, kRounds * stream.lines);
}
