#include <cmath>
#include <gtest/gtest.h>
#include <random>

#include "backends/sim/sim_platform.h"
#include "model/ranges.h"
#include "sdk/arrival_times.h"
#include "sdk/heard.h"
#include "sdk/line_watch.h"
#include "stream/line_parser.h"
#include "stream/number_parsing.h"

namespace halden::sdk {
namespace {

TEST(WhyNotRecognised, NamesTheFirstCauseThatApplies) {
  struct Row {
    const char* name;
    bool opened;
    std::string sent;
    Silence expected;
  };
  const Row rows[] = {
      {.name = "not opened", .opened = false, .sent = "", .expected = Silence::kNotOpened},
      {.name = "silent", .opened = true, .sent = "", .expected = Silence::kNothing},
      {.name = "noise with a CR",
       .opened = true,
       .sent = "\xF8\x80\r\xFE\x01"
               "1",
       .expected = Silence::kUnprintable},
      {.name = "degree signs",
       .opened = true,
       .sent = "21\xB0\r22\xB0\r23\xB0\r",
       .expected = Silence::kRecognisable},
      {.name = "LF only", .opened = true, .sent = "1\n2\n3\n", .expected = Silence::kFeedsOnly},
      {.name = "one endless line", .opened = true, .sent = "1 2 3 4", .expected = Silence::kNoLineEnd},
      {.name = "two CRs", .opened = true, .sent = "1\r\n2\r\n", .expected = Silence::kFewLines},
      {.name = "empty lines", .opened = true, .sent = "\r\n\r\n\r\n", .expected = Silence::kEmptyLines},
      {.name = "lines", .opened = true, .sent = "1\r2\r3\r", .expected = Silence::kRecognisable},
  };
  for (const Row& row : rows) {
    Heard heard{.opened = row.opened};
    heard.Add(row.sent);
    EXPECT_EQ(static_cast<int>(WhyNotRecognised(heard)), static_cast<int>(row.expected)) << row.name;
  }
}

TEST(Heard, CountsEveryByteAtEveryPlace) {
  for (int value = 0; value < 256; ++value) {
    for (std::size_t place = 0; place < 12; ++place) {  // a word of eight bytes, and a rest
      const char c = static_cast<char>(value);
      std::string sent(12, ' ');
      sent[place] = c;
      Heard heard;
      heard.Add(sent);
      const bool end = c == '\r' || c == '\n';
      const bool printable = (value >= 0x20 && value <= 0x7e) || end || c == '\t';
      SCOPED_TRACE("byte " + std::to_string(value) + " at " + std::to_string(place));
      ASSERT_EQ(heard.returns, c == '\r' ? 1u : 0u);
      ASSERT_EQ(heard.feeds, c == '\n' ? 1u : 0u);
      ASSERT_EQ(heard.unprintable, printable ? 0u : 1u);
      ASSERT_EQ(heard.text, end ? 11u : 12u);
    }
  }
}

TEST(ListeningTap, CountsWhatEachDeviceSentSinceItsRateWasSet) {
  SimPlatform sim({"sim:silent", "sim:silent"});
  ListeningTap tap(sim.library());
  std::string listened;
  tap.SetListener([&](std::string_view received) { listened += received; });
  std::int32_t count = 0;
  tap.FT_CreateDeviceInfoList(&count);
  FT_HANDLE handle = -1;
  const auto read = [&](const std::string& sent) {
    char bytes[100];
    std::uint32_t got = 0;
    sim.device(1).Feed(sent);
    tap.FT_Read(handle, bytes, static_cast<std::uint32_t>(sent.size()), &got);
  };
  ASSERT_EQ(tap.FT_Open(1, &handle), FT_OK);
  read("garbage\r");
  tap.FT_SetBaudRate(handle, 9600);
  read("1;2\r\n");
  read(std::string(80, '3'));
  EXPECT_EQ(tap.At(1).baud, 9600u);
  EXPECT_EQ(tap.At(1).bytes, 85u);
  EXPECT_EQ(tap.At(1).returns, 1u);
  EXPECT_EQ(tap.At(1).sample, "1;2\r\n" + std::string(55, '3'));
  EXPECT_EQ(listened, "garbage\r1;2\r\n" + std::string(80, '3'));
  EXPECT_FALSE(tap.At(0).opened);
  EXPECT_FALSE(tap.Lost());
  sim.device(1).Unplug();
  std::uint32_t queued = 0;
  tap.FT_GetQueueStatus(handle, &queued);
  EXPECT_TRUE(tap.Lost());
}

/// Polls every tick, each up to 4 ms late, for frames whose true times are known. Frames of [pause, resume)
/// never come.
struct Arrivals {
  double rate = 100;  // frames per second
  double pause = 1e9;
  double resume = 1e9;
  double worst_error = 0;  // seconds between true and given time
  double longest_gap = 0;  // between two given times
  int backward = 0;        // times below the one before
  int ahead = 0;           // times above that of their poll

  void Run(double seconds, double settled) {
    ArrivalTimes arrivals;
    std::mt19937 random(1);
    std::uniform_real_distribution<> late(0, 0.004);
    std::vector<double> true_times, times;
    double last = 0;
    for (int tick = 1, next = 1; tick * 0.05 < seconds; ++tick) {
      true_times.clear();
      for (; next / rate <= tick * 0.05; ++next) {
        if (next / rate < pause || next / rate >= resume) true_times.push_back(next / rate);
      }
      const double now = tick * 0.05 + late(random);
      times.resize(true_times.size());
      arrivals.Poll(now, times);
      for (std::size_t i = 0; i < times.size(); ++i) {
        backward += times[i] < last;
        ahead += times[i] > now;
        if (now > settled) worst_error = std::max(worst_error, std::abs(times[i] - true_times[i]));
        if (now > settled) longest_gap = std::max(longest_gap, times[i] - last);
        last = times[i];
      }
    }
  }
};

TEST(ArrivalTimes, FollowARegularDeviceSmoothly) {
  for (const double rate : {3.0, 9.7, 100.0, 317.0, 2000.0}) {
    Arrivals device{.rate = rate};
    device.Run(60, 10);
    EXPECT_EQ(device.backward, 0) << rate << " frames per second";
    EXPECT_EQ(device.ahead, 0) << rate << " frames per second";
    EXPECT_LT(device.worst_error, 0.02) << rate << " frames per second";
    EXPECT_LT(device.longest_gap, 1 / rate + 0.006) << rate << " frames per second";
  }
}

TEST(ArrivalTimes, KeepAPauseAsAGapOfItsLength) {
  for (const double rate : {9.7, 100.0, 2000.0}) {
    Arrivals device{.rate = rate, .pause = 20, .resume = 27};
    device.Run(40, 10);
    EXPECT_EQ(device.backward, 0) << rate << " frames per second";
    EXPECT_NEAR(device.longest_gap, 7, 0.05 + 1 / rate) << rate << " frames per second";
    EXPECT_LT(device.worst_error, 0.06) << rate << " frames per second";
  }
}

TEST(LineExplanation, NamesTheStepThatGaveTheNumber) {
  struct Row {
    FixedNumberRules rules;
    std::string line;
    std::vector<FieldReading> readings;
    std::vector<float> values;  // 9 where a channel keeps what it had
  };
  using enum FieldReading;
  const FixedNumberRules point = FixedNumberRules::Point(), comma = FixedNumberRules::Comma();
  const Row rows[] = {
      {point, "1;-2.5;+3", {kNumber, kNumber, kNumber}, {1, -2.5, 3}},
      {point, "T=23.45C;H=41%;x", {kStripped, kStripped, kNoNumber}, {23.45F, 41, 0}},
      {comma, "T=23.45C;1.5;1,5", {kMarkReplaced, kMarkReplaced, kNumber}, {23.45F, 1.5, 1.5}},
      {point, "1.2.3;12:34;", {kFrontOnly, kNotStored, kNothingLeft}, {1.2F, 9, 9}},
      {point, "1;2", {kNumber, kNumber, kMissing}, {1, 2, 0}},
      {point, "1;;3;4", {kNumber, kNoNumber, kNumber, kIgnored}, {1, 0, 3}},
      {point, "", {}, {9, 9, 9}},
  };
  for (const Row& row : rows) {
    std::vector<float> values(3, 9);
    std::vector<FieldReading> readings;
    for (const auto& field :
         ExplainLine(row.rules, {.separator = ';', .columns = 3, .channels = 3}, row.line, values))
      readings.push_back(field.reading);
    EXPECT_EQ(readings, row.readings) << row.line;
    EXPECT_EQ(values, row.values) << row.line;
  }
}

TEST(LineExplanation, GivesTheValuesOfTheDriver) {
  const std::string pieces[] = {"1", "12.5", "-3", "1,5",   ";",     ";", " ", "\t",
                                "(", "V",    "T=", "1.2.3", "12:34", "-", "."};
  std::mt19937 random(7);
  for (int run = 0; run < 3000; ++run) {
    const FixedNumberRules rules = run % 2 == 0 ? FixedNumberRules::Point() : FixedNumberRules::Comma();
    const auto line_of = [&](std::size_t parts) {
      std::string line;
      for (std::size_t i = 0; i < parts; ++i) line += pieces[random() % std::size(pieces)];
      return line;
    };
    Store store;
    LineParser parser(store, rules, 100);
    const std::string learnt = line_of(1 + random() % 6), line = line_of(random() % 8);
    parser.DetectColumns(learnt);
    SetChannelsCount(store, static_cast<std::int16_t>(1 + random() % 4));
    store.ChannelValues.assign(store.ChannelValues.size(), 9);
    std::vector<float> values = store.ChannelValues;
    const LineFormat format{.separator = store.Separator.empty() ? '\0' : store.Separator[0],
                            .columns = store.ColumnsCount,
                            .channels = store.ADCState.ChannelsCount};
    ExplainLine(rules, format, line, values);
    parser.ParseLine(line);
    ASSERT_EQ(values, store.ChannelValues)
        << "run " << run << ": \"" << line << "\" after \"" << learnt << '"';
  }
}

TEST(LineWatch, ReportsEachOddityOnce) {
  struct Row {
    std::string line;
    LineFormat format;
    Observation::Kind kind;
    std::int16_t channel;
    std::int16_t row = -1;
    int fields = 0;
    FixedNumberRules rules = FixedNumberRules::C();
  };
  const LineFormat one{.columns = 1, .channels = 1}, two{.separator = ';', .columns = 2, .channels = 2};
  const Row rows[] = {
      {.line = "1.5,2.5,3.5", .format = one, .kind = Observation::kCommas, .channel = -1},
      {.line = "12,5",
       .format = one,
       .kind = Observation::kCommas,
       .channel = -1,
       .rules = FixedNumberRules::Point()},
      {.line = "1;0x1A", .format = two, .kind = Observation::kHexadecimal, .channel = 1},
      {.line = "12:34:01;2", .format = two, .kind = Observation::kTimeOfDay, .channel = 0},
      {.line = "1;2;3", .format = two, .kind = Observation::kFieldCount, .channel = -1, .fields = 3},
      {.line = "1", .format = two, .kind = Observation::kFieldCount, .channel = -1, .fields = 1},
      {.line = "101325;1", .format = two, .kind = Observation::kSaturated, .channel = 0, .row = -1},
      {.line = "40000;1", .format = two, .kind = Observation::kSaturated, .channel = 0, .row = 14},
      {.line = "1;-1700", .format = two, .kind = Observation::kSaturated, .channel = 1, .row = 9},
      {.line = "1;ERR", .format = two, .kind = Observation::kNeverNumber, .channel = 1},
      {.line = "1;0.0123", .format = two, .kind = Observation::kCoarse, .channel = 1, .row = 4},
  };
  for (const Row& row : rows) {
    LineWatch watch(row.rules, row.format);
    int reports = 0;
    for (int i = 0; i < 3 * LineWatch::kEnoughLines; ++i) {
      for (const Observation& seen : watch.Add(row.line)) {
        if (seen.kind != row.kind) continue;
        ++reports;
        EXPECT_EQ(seen.channel, row.channel) << row.line;
        EXPECT_EQ(seen.row, row.row) << row.line;
        EXPECT_EQ(seen.fields, row.fields) << row.line;
      }
    }
    EXPECT_EQ(reports, 1) << row.line;
  }
}

TEST(LineWatch, ReportsNothingForOrdinaryLines) {
  struct Row {
    std::string line;
    LineFormat format;
  };
  const Row rows[] = {
      {.line = "1;0", .format = {.separator = ';', .columns = 2, .channels = 2}},  // flags lose nothing
      {.line = "12,5", .format = {.columns = 1, .channels = 1}},                   // a decimal comma
      {.line = "1;-1638.35", .format = {.separator = ';', .columns = 2, .channels = 2}},  // the highest code
      {.line = "1;2;", .format = {.separator = ';', .columns = 2, .channels = 2}},
  };
  for (const Row& row : rows) {
    const FixedNumberRules rules = FixedNumberRules::C();
    LineWatch watch(rules, row.format);
    for (int i = 0; i < 3 * LineWatch::kEnoughLines; ++i)
      for (const Observation& seen : watch.Add(row.line)) ADD_FAILURE() << row.line << ": kind " << seen.kind;
  }
}

TEST(LineCutter, EndsALineAtEachCr) {
  LineCutter cutter;
  std::vector<std::string> lines;
  for (const char* part : {"1\r\n2", "\r", "\n\n3\r\r4"})
    cutter.Add(part, [&](std::string_view line) { lines.emplace_back(line); });
  EXPECT_EQ(lines, (std::vector<std::string>{"1", "2", "\n3", ""}));
}

}  // namespace
}  // namespace halden::sdk
