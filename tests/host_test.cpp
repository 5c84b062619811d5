#include <cmath>
#include <gtest/gtest.h>

#include "host/trace.h"
#include "host/value_text.h"

namespace halden::host {
namespace {

TEST(NumberText, GivesEveryCodeOfEveryRangeATextThatReadsBackAsIt) {
  const std::pair<float, float> ranges[] = {
      {20, 0}, {200000, 0}, {128, 0}, {255, 128.0F / 255}, {65535, 32768.0F / 65535}, {0, 0}};
  for (const auto& [scale, offset] : ranges) {
    const ValueFormat format = FormatOf(scale, offset);
    for (int code = -32768; code <= 32767; code += 7) {
      char text[kValueRoom];
      const std::string value(text, WriteValue(static_cast<std::int16_t>(code), format, text));
      ASSERT_EQ(std::lround((std::stod(value) - offset) * format.scale), code) << scale;
    }
  }
}

TEST(Trace, KeepsEveryPeakWhileItsBinsStayBounded) {
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
