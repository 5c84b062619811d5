#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "host/arguments.h"
#include "host/axis.h"
#include "host/number_text.h"
#include "host/trace.h"

namespace halden::host {
namespace {

std::string Value(int code, float scale, float offset) {
  char text[kValueRoom];
  return {text, WriteValue(static_cast<std::int16_t>(code), FormatOf(scale, offset), text)};
}

TEST(NumberText, ReadsACodeBackAsTheShortestTextThatIsExact) {
  EXPECT_EQ(Value(247, 20, 0), "12.35");
  EXPECT_EQ(Value(20000, 20, 0), "1000");
  EXPECT_EQ(Value(-32768, 20, 0), "-1638.4");
  EXPECT_EQ(Value(0, 20, 0), "0");
  EXPECT_EQ(Value(-1, 20, 0), "-0.05");
  EXPECT_EQ(Value(-32767, 200000, 0), "-0.163835");
  EXPECT_EQ(Value(1, 128, 0), "0.00781");
  EXPECT_EQ(Value(-128, 255, 128.0F / 255), "0");
  EXPECT_EQ(Value(127, 255, 128.0F / 255), "1");
  EXPECT_EQ(Value(-32768, 65535, 32768.0F / 65535), "0");
  EXPECT_EQ(Value(-7, 0, 0), "-7") << "a channel that does not exist has no scale";
}

TEST(NumberText, EveryCodeOfEveryRangeSurvivesTheWayThroughText) {
  const std::pair<float, float> ranges[] = {
      {20.F, 0.F},     {200.F, 0.F},   {2000.F, 0.F},           {20000.F, 0.F},
      {200000.F, 0.F}, {32768.F, 0.F}, {4095.F, 2048.F / 4095}, {65535.F, 32768.F / 65535}};
  for (const auto& [scale, offset] : ranges) {
    for (int code = -32768; code <= 32767; ++code) {
      const double value = std::stod(Value(code, scale, offset));
      ASSERT_EQ(std::lround((value - offset) * scale), code) << "scale " << scale;
    }
  }
}

TEST(Trace, KeepsEveryPeakWhileItsBinsStayBounded) {
  Trace trace(2);
  const std::int64_t frames = 5 * static_cast<std::int64_t>(Trace::kMostBins) + 3;
  for (std::int64_t i = 0; i < frames; ++i) {
    const std::int16_t frame[] = {static_cast<std::int16_t>(i == 1234   ? 900
                                                            : i == 4321 ? -900
                                                                        : 0),
                                  static_cast<std::int16_t>(i)};
    trace.Add(frame);
  }
  EXPECT_EQ(trace.Frames(), frames);
  EXPECT_EQ(trace.FramesPerBin(), 8);
  const auto& bins = trace.Bins(0);
  ASSERT_EQ(bins.size(), static_cast<std::size_t>((frames + 7) / 8));
  EXPECT_EQ(bins[1234 / 8].high, 900);
  EXPECT_EQ(bins[4321 / 8].low, -900);
  EXPECT_EQ(bins[1234 / 8].low, 0);
  for (std::size_t i = 0; i + 1 < bins.size(); ++i) {
    ASSERT_EQ(trace.Bins(1)[i].low, static_cast<std::int16_t>(8 * i));
    ASSERT_EQ(trace.Bins(1)[i].high, static_cast<std::int16_t>(8 * i + 7));
  }
}

TEST(Axis, PutsFewTicksAtRoundNumbersInsideTheSpan) {
  const auto labels = [](double low, double high, int most) {
    const Axis axis = MakeAxis(low, high, most);
    std::string text;
    for (const double tick : axis.ticks) text += axis.Label(tick) + " ";
    return text;
  };
  EXPECT_EQ(labels(0, 5, 11), "0.0 0.5 1.0 1.5 2.0 2.5 3.0 3.5 4.0 4.5 5.0 ");
  EXPECT_EQ(labels(-1038.7, 1040.2, 9), "-1000 -500 0 500 1000 ");
  EXPECT_EQ(labels(0, 3600, 11), "0 500 1000 1500 2000 2500 3000 3500 ");
  EXPECT_EQ(labels(-0.0021, 0.0019, 5), "-0.002 -0.001 0.000 0.001 ");
  EXPECT_EQ(labels(0, 0.9, 2), "0 ");
}

std::optional<Arguments> Parse(std::vector<const char*> words) {
  std::string error;
  auto arguments = ParseArguments(words, &error);
  EXPECT_EQ(error.empty(), arguments.has_value());
  return arguments;
}

TEST(ArgumentsOfTheHost, AreTakenInEveryForm) {
  const auto record =
      Parse({"--device", "sim:rate=9", "record", "--device=linux", "--channels", "0,2,1", "--range",
             "1=4,2=14", "--range=0=3", "--capacity=2048", "--csv", "-", "--codes"});
  ASSERT_TRUE(record);
  EXPECT_EQ(record->command, Command::kRecord);
  EXPECT_EQ(record->machine.devices, (std::vector<std::string>{"sim:rate=9", "linux"}));
  EXPECT_EQ(record->channels, (std::vector<std::int16_t>{0, 2, 1}));
  ASSERT_EQ(record->ranges.size(), 3U);
  EXPECT_EQ(record->ranges[1].channel, 2);
  EXPECT_EQ(record->ranges[1].row, 14);
  EXPECT_EQ(record->capacity, 2048);
  EXPECT_EQ(record->csv, "-");
  const auto watch = Parse({"watch", "--answer", "rate=12.5,channels=3,port=1", "--seconds", "2.5"});
  ASSERT_TRUE(watch);
  EXPECT_EQ(watch->seconds, 2.5);
  EXPECT_EQ(watch->machine.answer->port, 1);
  EXPECT_EQ(watch->machine.answer->channels, 3);
  EXPECT_EQ(watch->machine.answer->rate, "12.5");
}

}  // namespace
}  // namespace halden::host
