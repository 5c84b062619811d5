#include <cmath>
#include <gtest/gtest.h>

#include "host/decimal_text.h"
#include "host/trace.h"

namespace halden::host {
namespace {

TEST(ValueText, EveryCodeOfEveryRangeReadsBackFromItsText) {
  struct Range {
    float scale = 0;
    float offset = 0;
  };
  const Range ranges[] = {{.scale = 20, .offset = 0},
                          {.scale = 200000, .offset = 0},
                          {.scale = 128, .offset = 0},
                          {.scale = 255, .offset = 128.0F / 255},
                          {.scale = 65535, .offset = 32768.0F / 65535},
                          {.scale = 0, .offset = 0}};  // of a channel that doesn't exist
  for (const auto& [scale, offset] : ranges) {
    const ValueFormat format = FormatOf(scale, offset);
    for (int code = -32768; code <= 32767; code += 7) {
      char text[kValueRoom];
      const std::string value(text, WriteValue(static_cast<std::int16_t>(code), format, text));
      ASSERT_EQ(std::lround((std::stod(value) - offset) * format.scale), code)
          << "scale " << scale << ", offset " << offset << ", text " << value;
    }
  }
}

TEST(Trace, MergingBinsLosesNoPeakAndNoGap) {
  Trace trace(1);
  const auto add = [&](double time, std::int16_t code) { trace.Add({{&code, 1}, {&time, 1}}); };
  for (int i = 0; i < 1000; ++i) add(0.01 * i, i == 400 ? 900 : i == 401 ? -900 : 1);
  for (int i = 0; i < 300; ++i) add(14 + 0.01 * i, 2);
  ASSERT_DOUBLE_EQ(trace.SecondsPerBin(), 0.016);
  ASSERT_EQ(trace.Bins(), static_cast<std::size_t>(16.99 / 0.016) + 1);
  EXPECT_EQ(trace.At(0, 250).high, 900);
  EXPECT_EQ(trace.At(0, 250).low, -900);
  std::vector<std::size_t> gaps;
  for (std::size_t bin = 0; bin < trace.Bins(); ++bin)
    if (trace.FollowsGap(bin)) gaps.push_back(bin);
  EXPECT_EQ(gaps, std::vector<std::size_t>{875}) << "the bin at 14 s";
  EXPECT_FALSE(trace.HasFrames(700)) << "at 11.2 s";
  EXPECT_TRUE(trace.HasFrames(500)) << "at 8 s";
}

TEST(Trace, TakesASlowDeviceForNoGaps) {
  Trace trace(1);
  const std::int16_t code = 1;
  for (double time = 0; time < 200; time += 10) trace.Add({{&code, 1}, {&time, 1}});
  for (std::size_t bin = 0; bin < trace.Bins(); ++bin) EXPECT_FALSE(trace.FollowsGap(bin)) << bin;
}

}  // namespace
}  // namespace halden::host
