#include "host/recording.h"

#include <algorithm>
#include <utility>

#include "host/output.h"

namespace halden::host {
namespace {

constexpr std::size_t kBlockCodes = 1 << 16;

class CsvSink final : public FrameSink {
 public:
  CsvSink(const std::string& path, std::vector<Column> columns, bool raw_codes)
      : columns_(std::move(columns)),
        raw_codes_(raw_codes),
        output_(path),
        line_(columns_.size() * (kValueRoom + 1)) {
    for (const Column& column : columns_) {
      output_.Write(column.name);
      output_.Write(&column == &columns_.back() ? "\n" : ",");
    }
  }

  void Take(const Frames& frames) override {
    const std::size_t width = columns_.size();
    for (std::size_t start = 0; start + width <= frames.codes.size(); start += width)
      WriteFrame(frames.codes.subspan(start, width));
    output_.Flush();
  }

  void Finish(const RecordingSummary&) override { output_.Close(); }
  bool Ok() const override { return output_.Ok(); }
  const std::string& Failure() const override { return output_.Failure(); }

 private:
  void WriteFrame(std::span<const std::int16_t> frame) {
    char* end = line_.data();
    for (std::size_t i = 0; i < frame.size(); ++i) {
      end = raw_codes_ ? WriteCode(frame[i], end) : WriteValue(frame[i], columns_[i].format, end);
      *end++ = ',';
    }
    end[-1] = '\n';
    output_.Write({line_.data(), end});
  }

  const std::vector<Column> columns_;
  const bool raw_codes_;
  Output output_;
  std::vector<char> line_;  ///< room for one line
};

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

std::unique_ptr<FrameSink> NewCsvSink(const std::string& path, std::vector<Column> columns, bool raw_codes) {
  return std::make_unique<CsvSink>(path, std::move(columns), raw_codes);
}

}  // namespace halden::host
