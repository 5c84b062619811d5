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
      : columns_(std::move(columns)), output_(path), longest_line_(columns_.size() * (kValueRoom + 1)) {
    for (const Column& column : columns_) {
      texts_.push_back(TextsOf(column, raw_codes));
      output_.Write(column.name);
      output_.Write(&column == &columns_.back() ? "\n" : ",");
    }
    block_.resize(std::max(kBlockBytes, longest_line_));
  }

  void Take(const Frames& frames) override {
    const std::size_t width = columns_.size();
    char* end = block_.data();
    for (std::size_t start = 0; start + width <= frames.codes.size(); start += width) {
      end = WriteFrame(frames.codes.subspan(start, width), end);
      if (end + longest_line_ > block_.data() + block_.size()) end = WriteBlock(end);
    }
    WriteBlock(end);
    output_.Flush();
  }

  void Finish(const RecordingSummary&) override { output_.Close(); }
  bool Ok() const override { return output_.Ok(); }
  const std::string& Failure() const override { return output_.Failure(); }

 private:
  static constexpr std::size_t kBlockBytes = 1 << 15;

  /// Columns of one format share their texts.
  std::shared_ptr<CodeTexts> TextsOf(const Column& column, bool raw_codes) const {
    for (std::size_t i = 0; i < texts_.size(); ++i)
      if (raw_codes || columns_[i].format == column.format) return texts_[i];
    return std::make_shared<CodeTexts>(column.format, raw_codes);
  }

  char* WriteFrame(std::span<const std::int16_t> frame, char* end) {
    for (std::size_t i = 0; i < frame.size(); ++i) {
      end = texts_[i]->Write(frame[i], end);
      *end++ = ',';
    }
    end[-1] = '\n';
    return end;
  }

  char* WriteBlock(char* end) {
    output_.Write({block_.data(), end});
    return block_.data();
  }

  const std::vector<Column> columns_;
  std::vector<std::shared_ptr<CodeTexts>> texts_;  ///< of each column
  Output output_;
  const std::size_t longest_line_;  ///< characters
  std::vector<char> block_;
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
