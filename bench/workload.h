#pragma once

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "backends/sim/virtual_clock.h"
#include "backends/text/fixed_number_rules.h"
#include "model/frame_ring.h"
#include "model/ranges.h"
#include "stream/receive_buffer.h"

namespace halden::bench {

/// The bytes of a device, in reads of about 64 KiB that each end with a whole line.
struct Stream {
  std::string name;
  char separator;
  int columns;
  std::vector<std::string> reads;
  double bytes = 0;
  double lines = 0;
};

/// Generates the streams. The bytes are always the same, so the figures of two builds can be compared.
class StreamWriter {
 public:
  explicit StreamWriter(char decimal_mark) : mark_(decimal_mark) {}

  /// `line` appends one line with its CR LF.
  Stream Write(const std::string& name, int columns, std::string (StreamWriter::*line)()) {
    Stream stream{name, ';', columns, {}};
    for (int i = 0; i < kReads; ++i) {
      std::string read;
      while (read.size() < kReadSize) {
        read += (this->*line)();
        ++stream.lines;
      }
      stream.bytes += static_cast<double>(read.size());
      stream.reads.push_back(read);
    }
    return stream;
  }

  std::string MixedLine() {
    return Decimal(1000, 2) + ";" + Decimal(10, 3) + ";" + Decimal(100, 1) + ";" +
           std::to_string(random_() % 1000) + "\r\n";
  }
  std::string IntegerLine() { return std::to_string(random_() % 10000) + "\r\n"; }
  std::string UnitsLine() {
    std::string line;
    for (int i = 0; i < 16; ++i) line += (i ? ";" : "") + Decimal(100, 2) + "mV";
    return line + "\r\n";
  }

 private:
  static constexpr std::size_t kReadSize = 65000;
  static constexpr int kReads = 64;  // too many for the branch predictor to memorise

  std::string Decimal(unsigned bound, int decimals) {
    std::string text = random_() % 2 ? "-" : "";
    text += std::to_string(random_() % bound) + mark_;
    for (int i = 0; i < decimals; ++i) text += static_cast<char>('0' + random_() % 10);
    return text;
  }

  char mark_;
  std::mt19937 random_{1};
};

/// Four mixed decimal columns, one integer column, and sixteen columns with a unit after each number.
inline std::vector<Stream> MakeStreams(char decimal_mark) {
  StreamWriter writer(decimal_mark);
  return {writer.Write("4 decimal columns", 4, &StreamWriter::MixedLine),
          writer.Write("1 integer column", 1, &StreamWriter::IntegerLine),
          writer.Write("16 columns with units", 16, &StreamWriter::UnitsLine)};
}

/// The part of a recording driver that runs in a tick, reading from memory instead of a device.
class Tick : private ByteSource {
 public:
  Tick(const NumberRules& rules, char separator, int columns)
      : parser_(store_, rules, ReceiveBuffer::kSize), rate_(store_, clock_), buffer_(parser_, rate_) {
    InitRanges(store_, rules);
    SetChannelsCount(store_, static_cast<std::int16_t>(columns));
    store_.Separator = separator;
    store_.ColumnsCount = static_cast<std::int16_t>(columns);
    store_.FormatKnown = true;
    std::vector<std::int16_t> channels;
    for (int i = 0; i < columns; ++i) channels.push_back(static_cast<std::int16_t>(i));
    SetInputChannels(store_, channels);
    store_.Busy = ResetBuffer(store_);
    rate_.Start();
    buffer_.Load();
  }

  /// Runs one tick with these bytes, which must fit into the receive buffer. Then drops the frames by moving
  /// the read index, so that the ring never fills.
  void Take(const std::string& read) {
    read_ = &read;
    buffer_.ReadPort(*this, false);
    buffer_.ParseBuffer();
    store_.InputState.BufferEmpty = true;
    store_.InputState.ReadIndex = store_.InputState.WriteIndex % store_.InputState.AllocKadrs + 1;
  }

 private:
  std::int32_t RxQueueCount() override { return static_cast<std::int32_t>(read_->size()); }
  std::int32_t Read(void* buffer, std::int32_t count) override {
    std::memcpy(buffer, read_->data(), count);
    return count;
  }

  const std::string* read_ = nullptr;
  Store store_;
  VirtualClock clock_{1};
  LineParser parser_;
  RateMeter rate_;
  ReceiveBuffer buffer_;
};

}  // namespace halden::bench
