#pragma once

#include <string>
#include <vector>

namespace halden::bench {

/// What a device sends, in reads of nearly 64 KiB that each end with a whole line.
struct Stream {
  std::string name;
  char separator;
  int columns;
  std::vector<std::string> reads;
  double bytes = 0;
  double lines = 0;
};

/// Four mixed decimal columns, one integer column, sixteen columns with a unit behind each number.
std::vector<Stream> MakeStreams(char decimal_mark);

}  // namespace halden::bench
