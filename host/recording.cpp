#include "host/recording.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <utility>

#include "host/printable_text.h"

namespace halden::host {
namespace {

constexpr std::size_t kBlockCodes = 1 << 16;  // codes that one GetData takes

/// Writes the times of a CSV, as "12.3456," or "2026-11-26T14:03:07.250+01:00,".
class TimeTexts {
 public:
  static constexpr std::size_t kRoom = 40;

  TimeTexts(TimeColumn kind, std::chrono::system_clock::time_point start)
      : kind_(kind),
        start_ms_(std::chrono::duration_cast<std::chrono::milliseconds>(start.time_since_epoch()).count()) {}

  /// Writes the time and a comma to `out`, which has room for kRoom characters; writes nothing if there is no
  /// time column. Returns the end of the text.
  char* Write(double seconds, char* out) {
    if (kind_ == TimeColumn::kNone) return out;
    out = kind_ == TimeColumn::kRelative ? WriteSeconds(seconds, out) : WriteTimeOfDay(seconds, out);
    *out++ = ',';
    return out;
  }

 private:
  /// Writes `fraction` as exactly `digits` decimal digits.
  static char* WriteFraction(std::int64_t fraction, int digits, char* out) {
    for (int i = digits - 1; i >= 0; --i, fraction /= 10) out[i] = static_cast<char>('0' + fraction % 10);
    return out + digits;
  }

  static char* WriteSeconds(double seconds, char* out) {
    const std::int64_t units = std::llround(seconds * 10000);
    out = std::to_chars(out, out + kRoom, units / 10000).ptr;
    *out++ = '.';
    return WriteFraction(units % 10000, 4, out);
  }

  char* WriteTimeOfDay(double seconds, char* out) {
    const std::int64_t ms = start_ms_ + static_cast<std::int64_t>(seconds * 1000);
    if (ms / 1000 != second_) BeginSecond(ms / 1000);
    out = std::ranges::copy(clock_, out).out;
    out = WriteFraction(ms % 1000, 3, out);
    return std::ranges::copy(offset_, out).out;
  }

  /// Makes the texts that all frames of one second share. The UTC offset is computed each time, because
  /// daylight saving time may begin or end during a recording.
  void BeginSecond(std::int64_t second) {
    second_ = second;
    const auto time = static_cast<std::time_t>(second);
    const std::tm utc = *std::gmtime(&time);
    const std::tm local = *std::localtime(&time);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.", &local);
    clock_ = text;
    // Local time and UTC differ by less than a day, so the days differ by -1, 0 or 1, except that tm_yday
    // jumps at the turn of the year.
    int days = local.tm_yday - utc.tm_yday;
    if (std::abs(days) > 1) days = days > 0 ? -1 : 1;
    const int minutes = (days * 24 + local.tm_hour - utc.tm_hour) * 60 + local.tm_min - utc.tm_min;
    std::snprintf(text, sizeof text, "%c%02d:%02d", minutes < 0 ? '-' : '+', std::abs(minutes) / 60,
                  std::abs(minutes) % 60);
    offset_ = text;
  }

  const TimeColumn kind_;
  const std::int64_t start_ms_;  ///< since 1970
  std::int64_t second_ = -1;     ///< since 1970; clock_ and offset_ are its texts
  std::string clock_;
  std::string offset_;
};

/// Removes an incomplete last line of a CSV. Returns why the file can't be continued with frames under this
/// header, or "".
std::string MakeContinuable(const std::string& path, const std::string& header) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const auto size = static_cast<std::int64_t>(file.tellg());
  if (!file || size == 0) return {};
  std::string first(header.size(), '\0');
  file.seekg(0);
  file.read(first.data(), static_cast<std::streamsize>(first.size()));
  if (first != header) {
    file.clear();
    file.seekg(0);
    std::getline(file, first);
    return Printable(path) + " can't be continued: its columns are " + Quoted(first) + ", not " +
           Quoted(header.substr(0, header.size() - 1));
  }
  file.clear();
  std::int64_t end = size;  // end of the last whole line; the header is one, so there is always one
  for (char c = 0; file.seekg(end - 1), file.get(c), c != '\n';) --end;
  file.close();
  std::error_code error;
  if (end < size) std::filesystem::resize_file(path, static_cast<std::uintmax_t>(end), error);
  return error ? Printable(path) + " can't be continued: " + error.message() : "";
}

class CsvSink final : public FrameSink {
 public:
  CsvSink(const std::string& path, std::vector<Column> columns, const FileOptions& options)
      : columns_(std::move(columns)),
        times_(options.time, options.start),
        longest_line_(TimeTexts::kRoom + columns_.size() * (kValueRoom + 1)) {
    for (const Column& column : columns_) texts_.push_back(TextsOf(column, options.raw_codes));
    block_.resize(std::max(kBlockBytes, longest_line_));
    Open(path, options);
  }

  void Take(const Frames& frames) override {
    if (!output_) return;
    const std::size_t width = columns_.size();
    char* end = block_.data();
    for (std::size_t i = 0; i < frames.times.size(); ++i) {
      end = times_.Write(frames.times[i], end);
      end = WriteFrame(frames.codes.subspan(i * width, width), end);
      if (end + longest_line_ > block_.data() + block_.size()) end = WriteBlock(end);
    }
    WriteBlock(end);
    output_->Flush();
    if (!output_->Failure().empty()) output_->CutToWholeLine();
  }

  void Finish(const RecordingSummary&) override {
    constexpr std::chrono::milliseconds kPatience(2000);
    if (output_) output_->Close(kPatience);
  }
  void Sync() override {
    if (output_) output_->Sync();
  }
  bool Ready() const override {
    if (output_ && output_->Waiting()) output_->Flush();
    return !output_ || !output_->Waiting();
  }
  bool Ok() const override { return output_ && output_->Ok(); }
  const std::string& Failure() const override { return output_ ? output_->Failure() : refusal_; }
  std::int64_t Written() const override {
    return output_ ? std::max<std::int64_t>(output_->Lines() - header_lines_, 0) : 0;
  }
  std::uint64_t Size() const override { return output_ ? output_->Size() : 0; }

 private:
  static constexpr std::size_t kBlockBytes = 1 << 15;

  /// Opens the file and writes the header, unless a file with content is continued.
  void Open(const std::string& path, const FileOptions& options) {
    std::string header = options.time == TimeColumn::kNone ? "" : "Time,";
    for (const Column& column : columns_) header += column.name + ",";
    header.back() = '\n';
    if (options.existing == Existing::kContinue) refusal_ = MakeContinuable(path, header);
    if (!refusal_.empty()) return;
    output_ = std::make_unique<Output>(path, options.existing);
    if (output_->Size() > 0) return;
    header_lines_ = 1;
    output_->Write(header);
  }

  /// Columns with the same format share their texts.
  std::shared_ptr<CodeTexts> TextsOf(const Column& column, bool raw_codes) const {
    for (std::size_t i = 0; i < texts_.size(); ++i)
      if (raw_codes || columns_[i].format == column.format) return texts_[i];
    return std::make_shared<CodeTexts>(column.format, raw_codes);
  }

  /// Writes the codes of a frame and a line end at `end`. Returns the new end.
  char* WriteFrame(std::span<const std::int16_t> frame, char* end) {
    for (std::size_t i = 0; i < frame.size(); ++i) {
      end = texts_[i]->Write(frame[i], end);
      *end++ = ',';
    }
    end[-1] = '\n';
    return end;
  }

  /// Passes block_ up to `end` on to the output. Returns the start of the empty block.
  char* WriteBlock(char* end) {
    output_->Write({block_.data(), end});
    return block_.data();
  }

  const std::vector<Column> columns_;
  std::vector<std::shared_ptr<CodeTexts>> texts_;  ///< one per column
  TimeTexts times_;
  const std::size_t longest_line_;  ///< upper limit for the characters of a line
  std::vector<char> block_;         ///< lines not yet passed to output_; always has room for one more line
  std::string refusal_;             ///< why the file can't be continued; empty if it can
  std::unique_ptr<Output> output_;  ///< null after a refusal
  int header_lines_ = 0;            ///< 1 if this recording wrote the header, which Written must not count
};

/// The frames with indexes from `begin` up to but not including `end`.
Frames Part(const Frames& frames, std::size_t begin, std::size_t end) {
  const std::size_t width = frames.codes.size() / frames.times.size();
  return {frames.codes.subspan(begin * width, (end - begin) * width),
          frames.times.subspan(begin, end - begin)};
}

/// Passes frames on to the sink of the current file, and splits a block at the time at which a file ends. A
/// size limit is only checked between blocks, so a file may become larger by one block.
class RotatingSink final : public FrameSink {
 public:
  RotatingSink(const Rotation& rotation, std::function<std::unique_ptr<FrameSink>(int)> open)
      : rotation_(rotation), open_(std::move(open)), sink_(open_(1)) {}

  void Take(const Frames& frames) override {
    std::size_t begin = 0;
    while (begin < frames.times.size() && sink_->Ok()) {
      if (IsFull(frames.times[begin])) Next();
      const std::size_t end = EndOfFile(frames.times, begin);
      sink_->Take(Part(frames, begin, end));
      begin = end;
    }
  }
  void Finish(const RecordingSummary& summary) override { sink_->Finish(summary); }
  void Sync() override { sink_->Sync(); }
  bool Ready() const override { return sink_->Ready(); }
  bool Ok() const override { return sink_->Ok(); }
  const std::string& Failure() const override { return sink_->Failure(); }
  std::int64_t Written() const override { return written_ + sink_->Written(); }
  std::uint64_t Size() const override { return sink_->Size(); }

 private:
  bool IsFull(double time) const {
    return (rotation_.bytes > 0 && sink_->Size() >= rotation_.bytes) ||
           (rotation_.seconds > 0 && time >= EndTime());
  }
  /// The time that ends the current file. Counted from the start of the recording, so that files begin at
  /// regular times.
  double EndTime() const { return rotation_.seconds * static_cast<double>(period_ + 1); }

  /// The index of the first frame after `begin` that belongs to the next file, or the number of frames. Skips
  /// periods without frames.
  std::size_t EndOfFile(std::span<const double> times, std::size_t begin) {
    if (rotation_.seconds == 0) return times.size();
    period_ = std::max(period_, static_cast<std::int64_t>(times[begin] / rotation_.seconds));
    const auto rest = times.subspan(begin);
    const auto end = std::ranges::lower_bound(rest, EndTime());
    return begin + std::max<std::size_t>(static_cast<std::size_t>(end - rest.begin()), 1);
  }

  void Next() {
    sink_->Finish({});
    if (!sink_->Ok()) return;
    written_ += sink_->Written();
    sink_ = open_(++number_);
  }

  const Rotation rotation_;
  const std::function<std::unique_ptr<FrameSink>(int)> open_;
  int number_ = 1;
  std::int64_t period_ = 0;  ///< of the file, in multiples of rotation_.seconds
  std::int64_t written_ = 0;
  std::unique_ptr<FrameSink> sink_;
};

std::string WithSuffix(const std::string& path, const std::string& suffix) {
  const std::filesystem::path whole(path);
  return (whole.parent_path() / (whole.stem().string() + suffix + whole.extension().string())).string();
}

}  // namespace

FrameSource::FrameSource(IADC3& adc, std::size_t width) : adc_(adc), block_(std::max(width, kBlockCodes)) {}

std::span<const std::int16_t> FrameSource::Next() {
  const std::int32_t waiting = adc_.InputCountKadrs();
  if (waiting == 0) return {};
  ring_full_ |= waiting >= adc_.InputSizeKadrs();
  auto size = static_cast<std::int32_t>(block_.size());
  std::int32_t left = 0;
  if (adc_.GetData(block_.data(), size, left) == 0) return {};
  return {block_.data(), static_cast<std::size_t>(size)};
}

std::unique_ptr<FrameSink> NewCsvSink(const std::string& path, std::vector<Column> columns,
                                      const FileOptions& options) {
  return std::make_unique<CsvSink>(path, std::move(columns), options);
}

std::unique_ptr<FrameSink> NewRotatingSink(const Rotation& rotation,
                                           std::function<std::unique_ptr<FrameSink>(int number)> open) {
  return std::make_unique<RotatingSink>(rotation, std::move(open));
}

std::string NumberedPath(const std::string& path, int number) {
  char suffix[16];
  std::snprintf(suffix, sizeof suffix, "-%03d", number);
  return WithSuffix(path, suffix);
}

std::string TimesPath(const std::string& path) {
  return WithSuffix(path, "-time");
}

}  // namespace halden::host
