#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

#include "backends/sim/virtual_clock.h"
#include "backends/text/fixed_number_rules.h"
#include "model/frame_ring.h"
#include "model/ranges.h"
#include "stream/number_parsing.h"
#include "stream/receive_buffer.h"

namespace halden {
namespace {

const FixedNumberRules kPoint = FixedNumberRules::Point();

struct Memory : ByteSource {
  std::int32_t RxQueueCount() override { return static_cast<std::int32_t>(bytes.size()); }
  std::int32_t Read(void* buffer, std::int32_t count) override {
    EXPECT_GT(count, 0);
    std::copy_n(bytes.begin(), count, static_cast<char*>(buffer));
    bytes.erase(0, count);
    return count;
  }
  std::string bytes;
};

/// The decoding part of a driver, in the state after detection of a device with this many channels.
struct Decoder {
  explicit Decoder(const NumberRules& rules = kPoint, std::int16_t channels = 3) : parser(store, rules, 64) {
    InitRanges(store, rules);
    SetChannelsCount(store, channels);
    buffer.Load();
  }

  std::int32_t Receive(const std::string& bytes) {
    source.bytes += bytes;
    return buffer.ReadPort(source, false);
  }

  Store store;
  VirtualClock clock{1};
  Memory source;
  LineParser parser;
  RateMeter rate{store, clock};
  ReceiveBuffer buffer{parser, rate};
};

struct Lines : testing::Test, Decoder {};

TEST_F(Lines, FormatAndValuesOfWholeLines) {
  const struct {
    std::string line;
    int columns;
    std::string separator;
    int read;                   ///< numbers that ParseLine reports
    std::vector<float> values;  ///< of the channels, which were 9
  } cases[] = {{.line = "1;2;3", .columns = 3, .separator = ";", .read = 3, .values = {1, 2, 3}},
               {.line = "1;;3", .columns = 3, .separator = ";", .read = 2, .values = {1, 0, 3}},
               {.line = "1;2;", .columns = 2, .separator = ";", .read = 2, .values = {1, 2, 9}},
               {.line = "1;", .columns = 1, .separator = ";", .read = 1, .values = {1, 9, 9}},
               {.line = "1;2;3;4", .columns = 4, .separator = ";", .read = 3, .values = {1, 2, 3}},
               {.line = "1;12:34;3", .columns = 3, .separator = ";", .read = 3, .values = {1, 9, 3}},
               {.line = "1.5  2.5", .columns = 2, .separator = " ", .read = 2, .values = {1.5, 2.5, 0}},
               {.line = "12.5(3.1)", .columns = 2, .separator = "(", .read = 2, .values = {12.5, 3.1f, 0}},
               {.line = "(12", .columns = 2, .separator = "(", .read = 1, .values = {0, 12, 0}},
               {.line = "\t1\t 2", .columns = 3, .separator = "\t", .read = 2, .values = {0, 1, 2}},
               {.line = "1 2;3", .columns = 2, .separator = ";", .read = 2, .values = {9, 3, 0}},
               {.line = "1,2,3", .columns = 1, .separator = "", .read = 1, .values = {123, 9, 9}},
               {.line = " 12", .columns = 1, .separator = " ", .read = 1, .values = {12, 9, 9}},
               {.line = "-", .columns = 1, .separator = "", .read = 0, .values = {0, 9, 9}},
               {.line = "   ", .columns = 0, .separator = " ", .read = 0, .values = {0, 9, 9}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    store.ChannelValues.assign(3, 9);
    std::string left = c.line;
    EXPECT_EQ(parser.DetectColumns(left), c.columns);
    EXPECT_EQ(store.ColumnsCount, c.columns);
    EXPECT_EQ(store.Separator, c.separator);
    EXPECT_EQ(parser.ParseLine(c.line), c.read);
    EXPECT_EQ(store.ChannelValues, c.values);
  }
  std::string empty;
  EXPECT_EQ(parser.DetectColumns(empty), 0);
  EXPECT_EQ(parser.ParseLine(empty), 0);
  EXPECT_EQ(store.Separator, " ") << "as the last line left it";
  SetChannelsCount(store, 0);
  EXPECT_EQ(parser.ParseLine("1"), 0) << "without a channel";
}

TEST(Passes, EachUsesTheCurrentRulesAndFormat) {
  FixedNumberRules rules = kPoint;
  Decoder decoder(rules, 2);
  decoder.store.ColumnsCount = 2;
  const FixedNumberRules comma = FixedNumberRules::Comma(), comma_point(',', '.', CodePage::kWestern);
  const std::tuple<FixedNumberRules, std::string, std::vector<float>> passes[] = {
      {kPoint, ";", {125, 1.5f}},
      {comma, ";", {12.5f, 1.5f}},
      {comma_point, ";", {12.5f, 15}},
      {comma, ";", {12.5f, 1.5f}},
      {comma, "(", {12, 0}}};
  for (const auto& [then, separator, values] : passes) {
    rules = then;
    decoder.store.Separator = separator;
    decoder.Receive("12,5;1.5\r");
    decoder.buffer.ParseBuffer();
    EXPECT_EQ(decoder.store.ChannelValues, values);
  }
}

TEST_F(Lines, CountsOfHostileLinesSaturateInLinearTime) {
  for (const auto& [filling, tail, columns] :
       {std::tuple{'a', "", 32767}, {'a', "1", 1}, {';', "", 32767}, {' ', "1", 1}, {'1', "", 1}}) {
    std::string line = std::string(65535, filling) + tail;
    EXPECT_EQ(parser.DetectColumns(line), columns);
    parser.ParseLine(line);
  }
}

TEST_F(Lines, OversizedReadKeepsWhatFitsIntoTheBuffer) {
  EXPECT_EQ(Receive(std::string(70000, 'z')), 65536);
  EXPECT_EQ(ReceiveBuffer(parser, rate).ReadPort(source, true), 0) << "without storage";
}

TEST_F(Lines, BytesHeldAreDroppedOnlyIfNewOnesDoNotFit) {
  for (const int more : {65535, 65536}) {
    buffer.Clear();
    Receive("7");
    EXPECT_EQ(Receive(std::string(more, '1')), more);
    EXPECT_EQ(buffer.RxCount, 65536) << "after one byte and " << more;
  }
}

TEST_F(Lines, AnalysisLearnsFromWholeLinesOnly) {
  const struct {
    std::string bytes;
    bool good;
    int mean, columns, left;  ///< mean length of a line, most columns, bytes left in the buffer
  } cases[] = {{.bytes = "1;2\r\n3;4\r\n5", .good = false, .mean = 0, .columns = 2, .left = 11},
               {.bytes = "1;2\r\n3;4\r\n5;6\r\n7", .good = true, .mean = 7, .columns = 2, .left = 1},
               {.bytes = "x\r1\r2\r\r", .good = true, .mean = 3, .columns = 1, .left = 0},
               {.bytes = "1;2\n3;4\n", .good = false, .mean = 0, .columns = 0, .left = 8},
               {.bytes = "x\r1;2;3\r\r4\r\n", .good = true, .mean = 6, .columns = 3, .left = 0},
               {.bytes = "\r\n1;2\r\n \r\n3;4\r\n55", .good = true, .mean = 7, .columns = 2, .left = 2}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.bytes);
    buffer.Clear();
    source.bytes.clear();
    Receive(c.bytes);
    EXPECT_EQ(buffer.AnalyzeBuffer(true), c.good);
    EXPECT_EQ(buffer.MeanLineLength, c.mean);
    EXPECT_EQ(buffer.MaxColumns, c.columns);
    EXPECT_EQ(buffer.RxCount, c.left);
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

TEST_F(Lines, TheRateIsEstimatedFromEveryHundredLines) {
  const auto take = [&](int lines) {
    for (int i = 0; i < lines; ++i) rate.CountLine();
  };
  take(150);
  EXPECT_EQ(store.InputState.Rate, 10);  // not started
  rate.Start();
  take(1);
  // The estimate stays when no time has passed, when the tick count becomes negative, and after a tick count
  // of 0, which means that there is no reading yet.
  const std::pair<std::uint32_t, float> estimates[] = {
      {1001, 100},         {1334, 300},        {1381, 1000},        {1481, 1000},  {3981, 40},
      {153981, 0.01f},     {253981, 1},        {253981, 1},         {254314, 300}, {0x7FFFFF9B, 0.01f},
      {0x80000063, 0.01f}, {0x800000C7, 1000}, {0xFFFFFF9C, 0.01f}, {100, 500},    {200, 1000},
      {0, 1000},           {200, 1000},        {400, 500}};
  for (const auto& [now, estimated] : estimates) {
    clock.Sleep(now - clock.GetTickCount());
    const float before = store.InputState.Rate;
    take(99);
    EXPECT_EQ(store.InputState.Rate, before);
    take(1);
    EXPECT_EQ(store.InputState.Rate, estimated) << now;
  }
}

/// Valid, nearly valid and hostile fields and lines.
class RandomText {
 public:
  /// A line with its end.
  std::string Line(char separator) {
    std::string text = Chance(95) ? "" : Piece();
    for (int fields = 1 + Below(5); fields > 0; --fields) {
      text += Chance(94) ? Number() : Piece() + Piece() + Piece();
      if (fields > 1 || Chance(10)) text += Chance(97) ? std::string(1, separator) : Piece();
    }
    return text + (Chance(50) ? "\r" : "\r\n");
  }
  bool Chance(int percent) { return Below(100) < percent; }
  int Below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

 private:
  std::string Number() {
    std::string text = std::to_string(static_cast<std::int32_t>(random_()) >> Below(31));
    // In the middle between two floats, and so close to one that a double can't tell.
    const char* const middles[] = {"16777217.0", "2.88676655292511", "6.71081280708313"};
    if (Chance(3)) text = middles[Below(3)];
    if (Chance(60)) text.insert(1 + Below(static_cast<int>(text.size())), Chance(70) ? "." : ",");
    if (Chance(3)) text += std::to_string(random_());
    return (Chance(90) ? "" : Piece()) + text + (Chance(90) ? "" : Piece());
  }
  std::string Piece() {
    const std::string pieces[] = {
        "",  "T=", " mV", "\xB5\xA0", "%",  "e5", "-",  "+",  ".",   ",", "7",
        " ", ";",  "\t",  "(",        "\n", "0",  "e-", "-.", "1,2", ":", std::string(1, '\0')};
    return pieces[Below(static_cast<int>(std::size(pieces)))];
  }

  std::mt19937 random_{20011};
};

/// The framing rules on a plain string: removes the lines that one pass takes from `held`, and returns them.
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

/// Two decoders in the same state. One gets the bytes as a device sends them, the other line by line by the
/// full rules.
struct Twin {
  Twin(const NumberRules& rules, const std::string& separator, std::int16_t channels)
      : passes(rules, channels), plain(rules, channels) {
    for (Store* store : {&passes.store, &plain.store}) {
      store->Separator = separator;
      store->ColumnsCount = 2;
      store->InputState.InputChannels = {0, 2, 9, 1};
      store->InputState.InputCountChannels = 4;
      store->Busy = ResetBuffer(*store);
    }
  }

  /// Gives both decoders the bytes of one pass.
  void Feed(const std::string& bytes) {
    held += bytes;
    EXPECT_EQ(passes.Receive(bytes), static_cast<std::int32_t>(bytes.size()));
    const std::int16_t read = passes.buffer.ParseBuffer();
    int expected = 0, frames = 0;
    for (const std::string& line : LinesOfPass(held)) {
      expected += plain.parser.ParseLine(Trim(line)) > 0;
      last = Trim(line);
      frames += !last.empty();
      ++taken;
    }
    EXPECT_EQ(read, expected);
    EXPECT_EQ(passes.buffer.RxCount, static_cast<std::int32_t>(held.size()));
    EXPECT_EQ(passes.buffer.LastLine, last);
    const std::vector<float>&values = passes.store.ChannelValues, &others = plain.store.ChannelValues;
    EXPECT_EQ(std::memcmp(values.data(), others.data(), values.size() * sizeof(float)), 0);
    const FrameTable table = InputData(passes.store);
    ASSERT_EQ(table.Rows(), frames + 1) << "and no frame of an earlier pass";
    EXPECT_EQ(table.Codes, InputData(plain.store).Codes);
  }

  Decoder passes, plain;
  std::string held, last;
  int taken = 0;  ///< lines
};

TEST(Framing, AnySplitIntoReadsTakesTheLinesOfItsPasses) {
  const std::string stream = "1;2\r\n33;44\r\n\r\n5;6\r\r7;8\r\n\n9;9\r\n";
  for (std::size_t first = 0; first <= stream.size() && !testing::Test::HasFailure(); ++first)
    for (std::size_t second = first; second <= stream.size() && !testing::Test::HasFailure(); ++second) {
      SCOPED_TRACE(std::to_string(first) + ", " + std::to_string(second));
      Twin twin(kPoint, ";", 2);
      twin.passes.rate.Start();
      twin.Feed(stream.substr(0, first));
      twin.Feed(stream.substr(first, second - first));
      twin.Feed(stream.substr(second));
      EXPECT_EQ(twin.passes.rate.RateLines, twin.taken);
    }
}

TEST(Framing, RandomLinesGiveTheValuesOfTheFullRules) {
  const char* asked = std::getenv("HALDEN_RANDOM_LINES");  // a longer run than each test can afford
  const int lines = asked ? std::atoi(asked) : 2500;
  RandomText random;
  const FixedNumberRules locales[] = {FixedNumberRules::Point(),
                                      FixedNumberRules::Comma(),
                                      FixedNumberRules::C(),
                                      FixedNumberRules(',', '.', CodePage::kWestern),
                                      FixedNumberRules('.', '\'', CodePage::kWestern),
                                      FixedNumberRules('\'', ',', CodePage::kWestern)};
  int ordinary = 0;
  for (const FixedNumberRules& rules : locales)
    for (const std::string separator : {";", " ", "\t", "(", ""}) {
      const auto channels = static_cast<std::int16_t>(1 + random.Below(6));
      Twin twin(rules, separator, channels);
      LineScanner scanner;
      scanner.Prepare(rules.DecimalSeparator() == ',' ? ',' : '.', rules.GroupSeparator(), separator[0]);
      std::string pending;
      for (int i = 0; i < lines && !testing::Test::HasFailure(); ++i) {
        const std::string line = random.Line(separator.empty() ? ':' : separator[0]);
        std::vector<float> unused(channels);
        if (line[0] != ' ' && line[0] != '\r')
          ordinary +=
              scanner.Scan(line.data(), &line[line.find('\r')], unused.data(), channels).end != nullptr;
        SCOPED_TRACE(pending += line);
        const std::size_t part = random.Below(static_cast<int>(pending.size()) + 1);
        twin.Feed(pending.substr(0, part));
        pending.erase(0, part);
      }
    }
  EXPECT_GT(ordinary, lines * 25 / 5) << "the fast way was hardly ever taken";
}

}  // namespace
}  // namespace halden
