#include "stream/receive_buffer.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "model/frame_ring.h"
#include "model/ranges.h"
#include "platform/fixed_number_rules.h"
#include "platform/sim/virtual_clock.h"
#include "tests/framing_model.h"

namespace halden {
namespace {

struct Memory : ByteSource {
  std::int32_t RxQueueCount() override { return fails ? -1 : static_cast<std::int32_t>(bytes.size()); }
  std::int32_t Read(void* buffer, std::int32_t count) override {
    EXPECT_GT(count, 0);
    std::copy_n(bytes.begin(), count, static_cast<char*>(buffer));
    bytes.erase(0, count);
    return count;
  }
  std::string bytes;
  bool fails = false;
};

struct Framing : testing::Test {
  Framing() {
    InitRanges(store, rules);
    SetChannelsCount(store, 2);
    std::string line = "1;2";
    parser.DetectColumns(line);
    buffer.Load();
    store.InputState.InputChannels = {0, 1};
    store.InputState.InputCountChannels = 2;
    store.Busy = ResetBuffer(store);
  }

  std::int32_t Receive(std::string bytes) {
    source.bytes += bytes;
    return buffer.ReadPort(false);
  }

  /// Takes the lines of one pass: their first two values, joined.
  std::string Pass(std::string bytes) {
    Receive(bytes);
    numbers = buffer.ParseBuffer();
    const KadrTable table = InputData(store);
    std::string lines;
    for (int row = 1; row < table.Rows(); ++row)
      lines += std::to_string(table.At(0, row) / 20) + ";" + std::to_string(table.At(1, row) / 20) + " ";
    return lines;
  }

  std::int16_t numbers = 0;  ///< lines of the last pass that held one
  Store store;
  const FixedNumberRules rules = FixedNumberRules::Point();
  VirtualClock clock{1};
  Memory source;
  LineParser parser{store, rules, 64};
  RateMeter rate{store, clock};
  ReceiveBuffer buffer{source, parser, rate};
};

TEST_F(Framing, AnySplitIntoReadsTakesTheLinesOfItsPasses) {
  const std::string stream = "1;2\r\n33;44\r\n\r\n5;6\r\r7;8\r\n\n9;9\r\n";
  for (std::size_t first = 0; first <= stream.size(); ++first)
    for (std::size_t second = first; second <= stream.size(); ++second) {
      buffer.Clear();
      rate.Start();
      std::string held;
      std::int32_t counted = 0;
      for (const std::string& part :
           {stream.substr(0, first), stream.substr(first, second - first), stream.substr(second)}) {
        SCOPED_TRACE(std::to_string(first) + ", " + std::to_string(second));
        held += part;
        const std::vector<std::string> lines = LinesOfPass(held);
        std::string expected;
        for (const std::string& line : lines)
          if (!line.empty())
            expected += line.size() < 3 ? "0;0 " : line.substr(line.find_first_not_of('\n')) + " ";
        EXPECT_EQ(Pass(part), expected);
        EXPECT_EQ(numbers,
                  std::count_if(lines.begin(), lines.end(), [](auto& line) { return line.size() > 2; }));
        EXPECT_EQ(buffer.RxCount, static_cast<std::int32_t>(held.size()));
        EXPECT_EQ(rate.RateLines, counted += static_cast<std::int32_t>(lines.size()));
        EXPECT_EQ(buffer.LastLine, lines.empty() ? buffer.LastLine : lines.back());
      }
    }
}

TEST_F(Framing, FillsToTheLastByteAndDropsAllForOneMore) {
  EXPECT_EQ(Receive(std::string(65535, 'x')), 65535);
  EXPECT_EQ(Receive("y"), 1);
  EXPECT_EQ(buffer.RxCount, 65536);
  EXPECT_EQ(Receive("12"), 2);
  EXPECT_EQ(Pass(";3\r"), "12;3 ");
  EXPECT_EQ(Receive(std::string(70000, 'z')), 65536);
  EXPECT_EQ(buffer.ReadPort(true), 70000 - 65536);
  source.fails = true;
  EXPECT_EQ(Receive("1"), 0);
  EXPECT_EQ(buffer.RxCount, 70000 - 65536);
}

TEST_F(Framing, AnalysisLearnsFromWholeLinesAlone) {
  const struct {
    const char* bytes;
    bool good;
    int mean, columns, left;
  } cases[] = {
      {"1;2\r\n3;4\r\n5", false, 0, 2, 11},
      {"1;2\r\n3;4\r\n5;6\r\n7", true, 7, 2, 1},
      {"1\r2\r3\r", true, 2, 1, 0},
      {"1;2\n3;4\n", false, 0, 0, 8},
      {"", false, 0, 0, 0},
      {"x\r1;2;3\r\r4\r\n", true, 6, 3, 0},
      {"\r\n1;2\r\n \r\n3;4\r\n55", true, 7, 2, 2},
  };
  for (const auto& c : cases) {
    buffer.Clear();
    source.bytes.clear();
    Receive(c.bytes);
    EXPECT_EQ(buffer.AnalyzeBuffer(true), c.good) << c.bytes;
    EXPECT_EQ(buffer.MeanLineLength, c.mean) << c.bytes;
    EXPECT_EQ(buffer.MaxColumns, c.columns) << c.bytes;
    EXPECT_EQ(buffer.RxCount, c.left) << c.bytes;
  }
  buffer.Clear();
  Receive("1\r2\r3\r4");
  EXPECT_TRUE(buffer.AnalyzeBuffer(false));
  EXPECT_EQ(buffer.RxCount, 7);
  buffer.Clear();
  Receive("\r1\r" + std::string(65532, '1') + "\r");
  EXPECT_TRUE(buffer.AnalyzeBuffer(true));
  EXPECT_EQ(buffer.MeanLineLength, 32767);
}

TEST_F(Framing, TheRateIsEstimatedFromEveryHundredLines) {
  const auto take = [&](int lines) {
    for (int i = 0; i < lines; ++i) rate.CountLine();
  };
  take(150);
  EXPECT_EQ(store.InputState.Rate, 10);  // not started
  rate.Start();
  take(1);
  const struct {
    std::uint32_t now;
    float rate;
  } estimates[] = {
      {1001, 100},
      {1334, 300},
      {1381, 1000},
      {1481, 1000},
      {3981, 40},
      {153981, 0.01f},
      {253981, 1},
      {253981, 1},  // no time has gone by
      {254314, 300},
      {0x7FFFFF9B, 0.01f},
      {0x80000063, 0.01f},  // from the highest tick count to the
                            // lowest: left out
      {0x800000C7, 1000},
      {0xFFFFFF9C, 0.01f},
      {100, 500},
      {200, 1000},
      {0, 1000},
      {200, 1000},  // a tick count of 0 is none to count from
      {400, 500},
  };
  for (const auto& estimate : estimates) {
    clock.Sleep(estimate.now - clock.GetTickCount());
    const float before = store.InputState.Rate;
    take(99);
    EXPECT_EQ(store.InputState.Rate, before);
    take(1);
    EXPECT_EQ(store.InputState.Rate, estimate.rate) << estimate.now;
  }
}

}  // namespace
}  // namespace halden
