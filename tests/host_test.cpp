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

TEST(Trace, MergingBinsLosesNoPeak) {
  Trace trace(1);
  const int frames = 5 * static_cast<int>(Trace::kMostBins) + 3;
  for (int i = 0; i < frames; ++i)
    trace.Add(std::vector<std::int16_t>(1, i == 1234 ? 900 : i == 1235 ? -900 : 0));
  ASSERT_EQ(trace.Bins(0).size(), (frames + 7) / 8u);
  EXPECT_EQ(trace.Bins(0)[1234 / 8].high, 900);
  EXPECT_EQ(trace.Bins(0)[1234 / 8].low, -900);
}

}  // namespace
}  // namespace halden::host
