#include "bench/streams.h"

#include <random>

namespace halden::bench {

namespace {

constexpr std::size_t kReadSize = 65000;
constexpr int kReads = 64;  // different ones, or the branch predictor learns them by heart

std::mt19937 random_number{1};

std::string Decimal(int most, int decimals, char mark) {
  std::string text = random_number() % 2 ? "-" : "";
  text += std::to_string(random_number() % static_cast<unsigned>(most)) + mark;
  for (int i = 0; i < decimals; ++i) text += static_cast<char>('0' + random_number() % 10);
  return text;
}

std::string MixedLine(char mark) {
  return Decimal(1000, 2, mark) + ";" + Decimal(10, 3, mark) + ";" + Decimal(100, 1, mark) + ";" +
         std::to_string(random_number() % 1000) + "\r\n";
}

std::string IntegerLine(char) {
  return std::to_string(random_number() % 10000) + "\r\n";
}

std::string UnitsLine(char mark) {
  std::string line;
  for (int i = 0; i < 16; ++i) line += (i ? ";" : "") + Decimal(100, 2, mark) + "mV";
  return line + "\r\n";
}

Stream Make(const std::string& name, int columns, char mark, std::string (*line)(char)) {
  Stream stream{name, ';', columns, {}};
  for (int i = 0; i < kReads; ++i) {
    std::string read;
    while (read.size() < kReadSize) {
      read += line(mark);
      ++stream.lines;
    }
    stream.bytes += static_cast<double>(read.size());
    stream.reads.push_back(read);
  }
  return stream;
}

}  // namespace

std::vector<Stream> MakeStreams(char decimal_mark) {
  random_number.seed(1);
  return {Make("4 decimal columns", 4, decimal_mark, MixedLine),
          Make("1 integer column", 1, decimal_mark, IntegerLine),
          Make("16 columns with units", 16, decimal_mark, UnitsLine)};
}

}  // namespace halden::bench
