#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <numeric>

#include "backends/text/fixed_number_rules.h"
#include "host/decimal_text.h"
#include "host/json.h"
#include "host/recording.h"
#include "host/trace.h"
#include "model/ranges.h"
#include "tests/scratch_files.h"

namespace halden::host {
namespace {

TEST(ValueText, EveryCodeOfEveryRangeReadsBackFromItsText) {
  Store store;
  InitRanges(store, FixedNumberRules::Point());
  const auto& [scales, offsets] = std::tie(store.ADCState.UnitScale, store.ADCState.UnitOffset);
  for (std::size_t row = 0; row <= scales.size(); ++row) {
    SCOPED_TRACE("row " + std::to_string(row));
    const bool exists = row < scales.size();
    const float scale = exists ? scales[row] : 0, offset = exists ? offsets[row] : 0;
    const ValueFormat format = FormatOf(scale, offset);
    CodeTexts texts(format, false);
    for (int code = -32768; code <= 32767; ++code) {
      char written[kValueRoom], kept[kValueRoom];
      const auto c = static_cast<std::int16_t>(code);
      const std::string value(written, WriteValue(c, format, written));
      ASSERT_EQ(std::string(kept, texts.Write(c, kept)), value);
      ASSERT_NE(value, "-0") << "code " << code;
      ASSERT_EQ(std::lround((std::stod(value) - offset) * format.scale), code) << "text " << value;
    }
  }
}

/// The bytes of a file, which is removed.
std::string TakeFile(const std::string& path) {
  std::string bytes = FileText(path);
  std::filesystem::remove(path);
  return bytes;
}

TEST(NpySink, FileIsAValidArrayAfterEachTake) {
  const std::string path = testing::TempDir() + "halden.npy", times_path = TimesPath(path);
  const auto sink = NewNpySink(path, {{"Column1", FormatOf(20, 0)}, {"Column2", FormatOf(32768, 0)}},
                               {.time = TimeColumn::kRelative});
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

/// Writes one frame for each time to a file of that name with a column "Column1"; the codes count from 1.
std::string WriteCsv(const std::string& path, const FileOptions& options, std::vector<double> times,
                     const Rotation& rotation = {}) {
  const auto make = [&](int number) {
    return NewCsvSink(rotation.Never() ? path : NumberedPath(path, number), {{"Column1", FormatOf(1, 0)}},
                      options);
  };
  const auto sink = rotation.Never() ? make(1) : NewRotatingSink(rotation, make);
  std::vector<std::int16_t> codes(times.size());
  std::iota(codes.begin(), codes.end(), std::int16_t{1});
  sink->Take({codes, times});
  sink->Finish({});
  return sink->Failure();
}

TEST(CsvSink, ContinuesAFileOfTheSameColumnsFromItsLastWholeLine) {
  const std::string path = testing::TempDir() + "halden.csv";
  std::ofstream(path) << "Column1\n5\n6";
  EXPECT_EQ(WriteCsv(path, {.existing = Existing::kContinue}, {0, 1}), "");
  EXPECT_EQ(TakeFile(path), "Column1\n5\n1\n2\n");
  std::ofstream(path) << "Column2\n5\n6";
  EXPECT_EQ(WriteCsv(path, {.existing = Existing::kContinue}, {0}),
            path + " can't be continued: its columns are \"Column2\", not \"Column1\"");
  EXPECT_EQ(WriteCsv(path, {.existing = Existing::kRefuse}, {0}),
            path + " exists already; --force overwrites it");
  EXPECT_EQ(TakeFile(path), "Column2\n5\n6") << "refused files stay as they are";
}

TEST(CsvSink, FirstColumnIsSecondsOrTheTimeOfDay) {
  const std::string path = testing::TempDir() + "halden.csv";
  WriteCsv(path, {.time = TimeColumn::kRelative}, {0.05, 12.99996});
  EXPECT_EQ(TakeFile(path), "Time,Column1\n0.0500,1\n13.0000,2\n");
  setenv("TZ", "<-0330>3:30", 1);
  // 2027-01-01T01:29:59.5Z: the local year is another one, and a second later the minute too.
  const auto start = std::chrono::system_clock::time_point(std::chrono::milliseconds(1798766999500));
  WriteCsv(path, {.time = TimeColumn::kAbsolute, .start = start}, {0.0019, 0.5});
  unsetenv("TZ");
  EXPECT_EQ(TakeFile(path),
            "Time,Column1\n2026-12-31T21:59:59.501-03:30,1\n2026-12-31T22:00:00.000-03:30,2\n");
}

TEST(RotatingSink, BeginsAFileAtEachMultipleOfTheTimeAndOnceTheSizeIsReached) {
  const std::string path = testing::TempDir() + "halden.csv";
  EXPECT_EQ(WriteCsv(path, {}, {0.2, 0.99, 1, 3.5}, {.seconds = 1}), "");
  EXPECT_EQ(TakeFile(NumberedPath(path, 1)), "Column1\n1\n2\n");
  EXPECT_EQ(TakeFile(NumberedPath(path, 2)), "Column1\n3\n");
  EXPECT_EQ(TakeFile(NumberedPath(path, 3)), "Column1\n4\n");
  const auto sink = NewRotatingSink({.bytes = 12}, [&](int number) {
    return NewCsvSink(NumberedPath(path, number), {{"Column1", FormatOf(1, 0)}}, {});
  });
  const std::int16_t code = 7;
  for (double time = 0; time < 3; ++time) sink->Take({{&code, 1}, {&time, 1}});
  sink->Finish({});
  EXPECT_EQ(sink->Written(), 3);
  EXPECT_EQ(TakeFile(NumberedPath(path, 1)), "Column1\n7\n7\n");
  EXPECT_EQ(TakeFile(NumberedPath(path, 2)), "Column1\n7\n");
}

TEST(NpySink, ContinuesAfterTheRowsThatBothFilesHold) {
  const std::string path = testing::TempDir() + "halden.npy";
  const std::vector<Column> columns = {{"Column1", FormatOf(20, 0)}};
  const std::vector<std::int16_t> codes = {20, 40, 60};
  const std::vector<double> times = {1, 2, 3};
  const auto write = [&](Existing existing, std::vector<Column> of) {
    const auto sink = NewNpySink(path, std::move(of), {.existing = existing, .time = TimeColumn::kRelative});
    sink->Take({codes, times});
    sink->Finish({});
    return sink->Failure();
  };
  write(Existing::kOverwrite, columns);
  std::filesystem::resize_file(TimesPath(path), 128 + 2 * sizeof(double) + 3);
  EXPECT_EQ(write(Existing::kContinue, columns), "");
  EXPECT_NE(write(Existing::kContinue, {columns[0], columns[0]}).find("it isn't a <f4 array of 2 columns"),
            std::string::npos);
  const std::string values = TakeFile(path), stamps = TakeFile(TimesPath(path));
  EXPECT_EQ(values.size(), 128 + 5 * sizeof(float));
  EXPECT_EQ(stamps.size(), 128 + 5 * sizeof(double));
  EXPECT_NE(values.find("'shape': (5, 1)"), std::string::npos);
  EXPECT_NE(stamps.find("'shape': (5,)"), std::string::npos);
}

TEST(Json, EscapesEveryControlCharacterAndReplacesMalformedText) {
  ListedDevice device;
  device.serial = "\x01\x1f\x7f\xc2\x9b\xff\xd0\xb6";
  const std::string json = DevicesJson({device}, {""});
  EXPECT_NE(json.find("\"serial\":\"\\u0001\\u001f\\u007f\\u009b\xEF\xBF\xBD\xd0\xb6\""), std::string::npos)
      << json;
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

TEST(Trace, ASlowDeviceHasNoGaps) {
  Trace trace(1);
  const std::int16_t code = 1;
  for (double time = 0; time < 200; time += 10) trace.Add({{&code, 1}, {&time, 1}});
  for (std::size_t bin = 0; bin < trace.Bins(); ++bin) EXPECT_FALSE(trace.FollowsGap(bin)) << bin;
}

}  // namespace
}  // namespace halden::host
