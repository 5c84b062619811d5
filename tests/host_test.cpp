#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "host/decimal_text.h"
#include "host/recording.h"
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

/// The bytes of a file, which is removed.
std::string TakeFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), {});
  std::filesystem::remove(path);
  return bytes;
}

TEST(CodeTexts, AreThoseOfWriteValueForEveryCodeOfEveryRange) {
  for (const float scale :
       {20.0F, 200.0F, 2000.0F, 20000.0F, 200000.0F, 128.0F, 32768.0F, 255.0F, 65535.0F}) {
    const ValueFormat format = FormatOf(scale, scale == 255 ? 128.0F / 255 : 0);
    CodeTexts texts(format, false);
    for (int code = -32768; code <= 32767; ++code) {
      char made[kValueRoom], direct[kValueRoom];
      const auto c = static_cast<std::int16_t>(code);
      ASSERT_EQ(std::string(made, texts.Write(c, made)), std::string(direct, WriteValue(c, format, direct)))
          << "scale " << scale;
    }
  }
}

TEST(NpySink, IsAWholeArrayAfterEachTake) {
  const std::string path = testing::TempDir() + "halden.npy",
                    times_path = testing::TempDir() + "halden-times.npy";
  const auto sink =
      NewNpySink(path, times_path, {{"Column1", FormatOf(20, 0)}, {"Column2", FormatOf(32768, 0)}});
  const std::vector<std::int16_t> codes = {10, 16384, -32768, -1};
  const std::vector<double> times = {0.25, 0.5};
  sink->Take({codes, times});
  const std::string values = TakeFile(path), stamps = TakeFile(times_path);
  ASSERT_EQ(values.size(), 128 + 4 * sizeof(float));
  EXPECT_EQ(values.substr(0, 10), std::string("\x93NUMPY\x01\x00\x76\x00", 10));
  EXPECT_EQ(values.substr(10, 59), "{'descr': '<f4', 'fortran_order': False, 'shape': (2, 2), }");
  EXPECT_EQ(values[127], '\n');
  std::array<float, 4> read{};
  std::memcpy(read.data(), values.data() + 128, sizeof read);
  EXPECT_EQ(read, (std::array<float, 4>{0.5F, 0.5F, -1638.4F, -1.0F / 32768}));
  ASSERT_EQ(stamps.size(), 128 + 2 * sizeof(double));
  EXPECT_NE(stamps.find("'<f8', 'fortran_order': False, 'shape': (2,), }"), std::string::npos);
  double last = 0;
  std::memcpy(&last, stamps.data() + 128 + sizeof last, sizeof last);
  EXPECT_EQ(last, 0.5);
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
