#include "stream/receive_buffer.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "model/frame_ring.h"
#include "model/ranges.h"
#include "platform/fixed_number_rules.h"
#include "platform/sim/virtual_clock.h"

namespace halden {
namespace {

struct Memory : ByteSource {
  std::int32_t RxQueueCount() override { return fail_count ? -1 : static_cast<std::int32_t>(bytes.size()); }
  std::int32_t Read(void* buffer, std::int32_t count) override {
    if (fail_read) return -1;
    count = std::min(count, most);
    std::copy_n(bytes.begin(), count, static_cast<char*>(buffer));
    bytes.erase(0, count);
    return count;
  }
  std::string bytes;
  std::int32_t most = 1 << 30;
  bool fail_count = false;
  bool fail_read = false;
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
    buffer.ParseBuffer();
    const KadrTable table = InputData(store);
    std::string lines;
    for (int row = 1; row < table.Rows(); ++row)
      lines += std::to_string(table.At(0, row) / 20) + ";" + std::to_string(table.At(1, row) / 20) + " ";
    return lines;
  }

  Store store;
  const FixedNumberRules rules = FixedNumberRules::Point();
  VirtualClock clock{1};
  Memory source;
  LineParser parser{store, rules, 64};
  RateMeter rate{store, clock};
  ReceiveBuffer buffer{source, parser, rate};
};

TEST_F(Framing, TakesLinesAndKeepsTheRest) {
  EXPECT_EQ(Pass("1;2\r\n3;4\r\n5"), "1;2 3;4 ");
  EXPECT_EQ(buffer.RxCount, 1);
  EXPECT_EQ(buffer.LastLine, "3;4");
  EXPECT_EQ(Pass(";6\r"), "5;6 ");
  EXPECT_EQ(buffer.RxCount, 0);
  EXPECT_EQ(Pass("\n7;8\r\n"), "7;8 ");  // the LF came too late: it is part of the line
  EXPECT_EQ(buffer.LastLine, "\n7;8");
  EXPECT_EQ(Pass("1;2\r3;4\r5"), "1;2 3;4 ");
  EXPECT_EQ(buffer.RxCount, 1);
}

TEST_F(Framing, LinesWithoutCRAreNeverTaken) {
  EXPECT_EQ(Pass("1;2\n3;4\n"), "");
  EXPECT_EQ(buffer.RxCount, 8);
}

TEST_F(Framing, EmptyLinesCountForTheRateAndMakeNoFrame) {
  rate.Start();
  EXPECT_EQ(Pass("1;2\r\r\n  \r3;4\r"), "1;2 3;4 ");
  EXPECT_EQ(rate.RateLines, 4);
  EXPECT_EQ(Pass("\r12"), "");  // a lone CR in front stays, and counts again
  EXPECT_EQ(buffer.RxCount, 3);
  EXPECT_EQ(buffer.LastLine, "");
  EXPECT_EQ(Pass(";5\r"), "12;5 ");
  EXPECT_EQ(rate.RateLines, 7);
  EXPECT_EQ(Pass("\r\n12"), "");
  EXPECT_EQ(buffer.RxCount, 2);
}

/// The rules of framing on a plain string: what one pass takes of the bytes held, line by line, and leaves.
std::vector<std::string> LinesOfPass(std::string& held) {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  for (std::size_t cr; (cr = held.find('\r', begin)) != std::string::npos;) {
    lines.push_back(held.substr(begin, cr - begin));
    begin = cr + 1;
    if (held.compare(begin, 1, "\n") == 0) ++begin;
  }
  if (begin != 1 || held.size() == 1) held.erase(0, begin);
  return lines;
}

TEST_F(Framing, AnySplitIntoReadsTakesTheLinesOfItsPasses) {
  const std::string stream = "1;2\r\n33;44\r\n\r\n5;6\r\r7;8\r\n\n9;9\r\n";
  for (std::size_t first = 0; first <= stream.size(); ++first)
    for (std::size_t second = first; second <= stream.size(); ++second) {
      buffer.Clear();
      std::string held;
      for (const std::string& part :
           {stream.substr(0, first), stream.substr(first, second - first), stream.substr(second)}) {
        held += part;
        std::string expected;
        for (const std::string& line : LinesOfPass(held)) {
          const std::size_t split = line.find(';');
          if (line.empty()) continue;
          expected += split == std::string::npos ? "0;0 " : line.substr(line.find_first_not_of('\n')) + " ";
        }
        EXPECT_EQ(Pass(part), expected) << first << "," << second;
        EXPECT_EQ(buffer.RxCount, static_cast<std::int32_t>(held.size())) << first << "," << second;
      }
    }
}

TEST_F(Framing, FillsToTheLastByteAndDropsAllForOneMore) {
  EXPECT_EQ(Receive(std::string(65535, 'x')), 65535);
  EXPECT_EQ(Receive("y"), 1);
  EXPECT_EQ(buffer.RxCount, 65536);
  EXPECT_EQ(Receive("12"), 2);
  EXPECT_EQ(buffer.RxCount, 2);
  EXPECT_EQ(Pass(";3\r"), "12;3 ");
  EXPECT_EQ(Receive(std::string(70000, 'z')), 65536);
  EXPECT_EQ(source.bytes.size(), 70000u - 65536);
}

TEST_F(Framing, FailedAndShortReadsLoseNothingMore) {
  Receive("1;");
  source.fail_count = true;
  EXPECT_EQ(Receive("2\r"), 0);
  source.fail_count = false;
  source.fail_read = true;
  EXPECT_EQ(Receive(""), -1);
  EXPECT_EQ(buffer.RxCount, 2);
  source.fail_read = false;
  source.most = 1;
  EXPECT_EQ(Receive(""), 1);
  EXPECT_EQ(Pass(""), "1;2 ");
  Receive("5");
  source.fail_read = true;
  EXPECT_EQ(Receive(std::string(65536, 'x')), -1);
  EXPECT_EQ(buffer.RxCount, 0);
  source.fail_read = false;
  source.most = 1 << 30;
  EXPECT_EQ(buffer.ReadPort(true), 65536);
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
  Receive(";9\r");  // behind "55"
  buffer.Clear();
  Receive("1\r2\r3\r4");
  EXPECT_TRUE(buffer.AnalyzeBuffer(false));
  EXPECT_EQ(buffer.RxCount, 7);
}

TEST_F(Framing, ALineThatFillsTheBufferHasAMeanThatFits) {
  Receive("\r1\r" + std::string(65532, '1') + "\r");
  EXPECT_TRUE(buffer.AnalyzeBuffer(true));
  EXPECT_EQ(buffer.MeanLineLength, 32767);
}

struct RateOfLines : Framing {
  void Take(int lines) {
    for (int i = 0; i < lines; ++i) rate.CountLine();
  }
  float Rate() const { return store.InputState.Rate; }
};

TEST_F(RateOfLines, EstimatesFromEveryHundredLines) {
  Take(150);
  EXPECT_EQ(Rate(), 10);  // not started
  rate.Start();
  Take(1);
  clock.Sleep(1000);
  Take(99);
  EXPECT_EQ(Rate(), 10);
  Take(1);
  EXPECT_EQ(Rate(), 100);
  const struct {
    std::uint32_t elapsed;
    float rate;
  } cases[] = {{333, 300},      {47, 1000},  {100, 1000}, {2500, 40},
               {150000, 0.01f}, {100000, 1}, {0, 1},      {333, 300}};
  for (const auto& c : cases) {
    clock.Sleep(c.elapsed);
    Take(100);
    EXPECT_EQ(Rate(), c.rate) << c.elapsed;
  }
}

TEST_F(RateOfLines, BothWrapsOfTheTickCountGiveNoFalseEstimate) {
  const struct {
    std::uint32_t start;
    float first;
  } cases[] = {{0x7FFFFFFF - 100, 10}, {0u - 100, 500}, {0, 10}};
  for (const auto& c : cases) {
    store.InputState.Rate = 10;
    VirtualClock wrapping(c.start);
    RateMeter meter(store, wrapping);
    meter.Start();
    for (int i = 0; i < 101; ++i) {
      if (i == 1) wrapping.Sleep(200);
      meter.CountLine();
    }
    EXPECT_EQ(Rate(), c.first) << c.start;
    wrapping.Sleep(100);
    for (int i = 0; i < 100; ++i) meter.CountLine();
    EXPECT_EQ(Rate(), 1000) << c.start;
  }
}

}  // namespace
}  // namespace halden
