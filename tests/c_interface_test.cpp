#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "sdk/c/halden_text.h"
#include "tests/scratch_files.h"

namespace halden {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// A captured file of the lines "0;0", "1;-1" and so on to 999, and then from 0 again, opened by the C
/// interface.
class Capture {
 public:
  explicit Capture(int lines, const std::string& end = "\r\n", double line_rate = 100) {
    std::string text;
    for (int i = 0; i < lines; ++i)
      text += std::to_string(i % 1000) + ";" + std::to_string(-(i % 1000)) + end;
    SetFileText(path_, text);
    const halden_capture capture{sizeof capture, path_.c_str(), HALDEN_LINE_END_CR, line_rate};
    EXPECT_EQ(halden_open_capture(&capture, &adc, nullptr, 0), HALDEN_OK);
  }
  ~Capture() { EXPECT_EQ(halden_close(adc), HALDEN_OK); }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  std::string Error() const {
    const char* text = nullptr;
    EXPECT_EQ(halden_error_text(adc, &text), HALDEN_OK);
    return text;
  }

  halden_adc* adc = nullptr;

 private:
  ScratchDirectory directory_;
  const std::string path_ = directory_ / "capture.txt";
};

struct Frame {
  float first, second;
  double time;
  bool operator==(const Frame&) const = default;
};

/// Reads all frames as values, `room` values at most in each call.
std::vector<Frame> ReadAll(halden_adc* adc, std::size_t room) {
  std::vector<Frame> all;
  std::vector<float> values(room);
  std::vector<double> times(room / 2);
  std::size_t frames = 0;
  while (halden_read_values(adc, values.data(), room, 1, times.data(), &frames, nullptr) == HALDEN_OK)
    for (std::size_t i = 0; i < frames; ++i) all.push_back({values[2 * i], values[2 * i + 1], times[i]});
  return all;
}

TEST(CInterface, ReadsEveryFrameOfACaptureInPiecesOfAnySize) {
  constexpr int kLines = 20000;
  std::vector<Frame> whole;
  for (const std::size_t room : {20000, 3, 256}) {
    const Capture capture(kLines);
    ASSERT_EQ(halden_detect(capture.adc), HALDEN_OK) << capture.Error();
    ASSERT_EQ(halden_start(capture.adc), HALDEN_OK) << capture.Error();
    const auto read = ReadAll(capture.adc, room);
    EXPECT_THAT(capture.Error(), HasSubstr("has ended"));
    if (whole.empty()) whole = read;
    EXPECT_TRUE(read == whole) << "other frames with room for " << room << " values";
  }
  // Detection uses the first lines. The others must all be there, with times from 0 on.
  ASSERT_GT(whole.size(), 19000U);
  for (std::size_t i = 0; i < whole.size(); ++i) {
    const auto number = static_cast<float>((kLines - static_cast<int>(whole.size() - i)) % 1000);
    ASSERT_EQ(whole[i].first, number) << "frame " << i;
    ASSERT_EQ(whole[i].second, -number) << "frame " << i;
    ASSERT_DOUBLE_EQ(whole[i].time, static_cast<double>(i) / 100);
  }
}

TEST(CInterface, ReadsChosenColumnsInTheirRanges) {
  const Capture capture(1000);
  ASSERT_EQ(halden_detect(capture.adc), HALDEN_OK) << capture.Error();
  const std::int16_t columns[] = {1, 0, 1};
  EXPECT_EQ(halden_set_columns(capture.adc, columns, 3), HALDEN_OK);
  EXPECT_EQ(halden_set_channel_range(capture.adc, 0, 9), HALDEN_OK);  // 16-bit counts
  EXPECT_EQ(halden_start(capture.adc), HALDEN_OK);
  std::vector<std::int16_t> codes(3 * 2000);
  std::size_t frames = 0, waiting = 1;
  ASSERT_EQ(halden_read_codes(capture.adc, codes.data(), 3, 1, nullptr, &frames, &waiting), HALDEN_OK);
  EXPECT_EQ(frames, 1U);
  const int first = codes[1];
  EXPECT_THAT(codes[0], testing::Eq(-20 * first)) << "±1000 has 20 codes per unit";
  EXPECT_EQ(codes[2], codes[0]);
  ASSERT_EQ(halden_read_codes(capture.adc, codes.data(), codes.size(), 1, nullptr, &frames, &waiting),
            HALDEN_OK);
  EXPECT_EQ(codes[1], first + 1) << "the frames go on after those read before";
  EXPECT_EQ(waiting, 0U);
  halden_link link{};
  link.struct_size = sizeof link;
  EXPECT_EQ(halden_get_link(capture.adc, &link), HALDEN_OK);
  EXPECT_EQ(link.separator, ';');
}

TEST(CInterface, SaysWhatWasHeardWhenNothingIsRecognised) {
  const Capture capture(500, "\n");
  EXPECT_EQ(halden_detect(capture.adc), HALDEN_NOT_FOUND);
  EXPECT_THAT(capture.Error(), HasSubstr("LF alone"));
  halden_attempt attempt{};
  attempt.struct_size = sizeof attempt;
  std::size_t count = 0;
  ASSERT_EQ(halden_tried(capture.adc, &attempt, 1, &count), HALDEN_OK);
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(attempt.cause, HALDEN_CAUSE_LF_ONLY);
  EXPECT_EQ(std::string(attempt.sample, 4), "0;0\n");
  EXPECT_EQ(halden_start(capture.adc), HALDEN_NOT_DETECTED);
}

TEST(CInterface, ExplainsALineInTheLearnedFormat) {
  const Capture capture(500);
  ASSERT_EQ(halden_detect(capture.adc), HALDEN_OK) << capture.Error();
  halden_field fields[3]{};
  fields[0].struct_size = sizeof fields[0];
  std::size_t count = 0;
  ASSERT_EQ(halden_explain(capture.adc, "T=4.5C;12:34;7", 14, fields, 3, &count), HALDEN_OK);
  ASSERT_EQ(count, 3U);
  EXPECT_EQ(fields[0].value, 4.5F);
  EXPECT_THAT((std::vector{fields[0].reading, fields[1].reading, fields[2].reading}),
              ElementsAre(HALDEN_READING_STRIPPED, HALDEN_READING_NOT_STORED, HALDEN_READING_IGNORED));
}

TEST(CInterface, AnswersBadArgumentsWithAResult) {
  char error[16];
  halden_adc* adc = nullptr;
  EXPECT_EQ(halden_open(nullptr, &adc, error, sizeof error), HALDEN_BAD_ARGUMENT);
  EXPECT_EQ(std::string(error), "a pointer is nu") << "the text is cut to the room for it";
  const char* device = "sim:colums=2";
  halden_options options{};
  options.struct_size = 8;
  options.devices = &device;
  options.device_count = 1;
  EXPECT_EQ(halden_open(&options, &adc, nullptr, 0), HALDEN_BAD_ARGUMENT) << "struct_size";
  options.struct_size = sizeof options;
  EXPECT_EQ(halden_open(&options, &adc, nullptr, 0), HALDEN_BAD_ARGUMENT) << device;
  EXPECT_EQ(adc, nullptr);

  const Capture capture(500);
  ASSERT_EQ(halden_detect(capture.adc), HALDEN_OK);
  EXPECT_EQ(halden_set_channel_range(capture.adc, 2, 0), HALDEN_BAD_ARGUMENT);
  EXPECT_THAT(capture.Error(), HasSubstr("only 0 to 1"));
  EXPECT_EQ(halden_set_channel_range(capture.adc, 0, HALDEN_RANGES), HALDEN_BAD_ARGUMENT);
  float value = 0;
  std::size_t frames = 7;
  EXPECT_EQ(halden_read_values(capture.adc, &value, 2, 1, nullptr, &frames, nullptr), HALDEN_REFUSED);
  EXPECT_EQ(frames, 0U);
  EXPECT_EQ(halden_read_values(capture.adc, &value, 1, 1, nullptr, &frames, nullptr), HALDEN_BAD_ARGUMENT);
  std::int32_t from_thread = HALDEN_OK;
  std::thread([&] { from_thread = halden_detect(capture.adc); }).join();
  EXPECT_EQ(from_thread, HALDEN_WRONG_THREAD);
}

TEST(CInterface, KnowsClosedHandles) {
  halden_adc* closed = nullptr;
  {
    const Capture capture(1);
    closed = capture.adc;
  }
  const Capture next(1);
  EXPECT_EQ(halden_detect(closed), HALDEN_CLOSED) << "not the handle that was opened next";
  EXPECT_EQ(halden_close(closed), HALDEN_CLOSED);
  EXPECT_EQ(halden_close(nullptr), HALDEN_OK);
}

}  // namespace
}  // namespace halden
