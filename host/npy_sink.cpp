#include <algorithm>
#include <bit>
#include <utility>

#include "host/output.h"
#include "host/recording.h"

namespace halden::host {
namespace {

static_assert(std::endian::native == std::endian::little, "arrays are written as they lie in memory");

/// A file in numpy's format 1.0 that grows row by row. Its header counts the rows. It has a fixed size, so
/// that it can be written again after each block: the rows first, then the count, so that the file never
/// promises rows that aren't there.
class NpyFile {
 public:
  /// `type` is numpy's name of the element type. `columns` 0 makes an array of one dimension.
  NpyFile(const std::string& path, const char* type, std::size_t columns)
      : type_(type), columns_(columns), output_(path) {
    output_.Write(Header());
    output_.Flush();
  }

  template <class Element>
  void Append(std::span<const Element> elements) {
    output_.Write({reinterpret_cast<const char*>(elements.data()), elements.size_bytes()});
    rows_ += elements.size() / std::max<std::size_t>(columns_, 1);
  }
  /// Hands all rows so far to the system, and their count.
  void Flush() {
    output_.Flush();
    output_.RewriteStart(Header());
  }
  Output& output() { return output_; }
  const Output& output() const { return output_; }

 private:
  std::string Header() const {
    constexpr std::size_t kSize = 128;  // numpy wants a multiple of 64
    const std::string shape =
        columns_ == 0 ? std::to_string(rows_) + "," : std::to_string(rows_) + ", " + std::to_string(columns_);
    std::string header("\x93NUMPY\x01\x00", 8);
    header += static_cast<char>(kSize - 10);
    header += '\0';
    header += std::string("{'descr': '") + type_ + "', 'fortran_order': False, 'shape': (" + shape + "), }";
    header.resize(kSize - 1, ' ');
    return header + '\n';
  }

  const char* type_;
  const std::size_t columns_;
  Output output_;
  std::size_t rows_ = 0;
};

class NpySink final : public FrameSink {
 public:
  NpySink(const std::string& path, const std::string& times_path, std::vector<Column> columns)
      : columns_(std::move(columns)), values_(path, "<f4", columns_.size()) {
    if (!times_path.empty()) times_ = std::make_unique<NpyFile>(times_path, "<f8", 0);
    for (const Column& column : columns_) value_tables_.push_back(TableOf(column));
  }

  void Take(const Frames& frames) override {
    const std::size_t width = columns_.size();
    for (std::size_t start = 0; start < frames.codes.size(); start += kBlockFrames * width)
      TakeBlock(frames.codes.subspan(start, std::min(frames.codes.size() - start, kBlockFrames * width)));
    values_.Flush();
    if (!times_) return;
    times_->Append(frames.times);
    times_->Flush();
  }

  void Finish(const RecordingSummary&) override {
    values_.output().Close();
    if (times_) times_->output().Close();
  }
  bool Ok() const override { return values_.output().Ok() && (!times_ || times_->output().Ok()); }
  const std::string& Failure() const override {
    return !times_ || values_.output().Ok() ? values_.output().Failure() : times_->output().Failure();
  }

 private:
  static constexpr std::size_t kBlockFrames = 256;
  using ValueTable = std::vector<float>;  // a value for each code, from 0 up and then from -32768 up

  /// Columns of one format share their table.
  std::shared_ptr<const ValueTable> TableOf(const Column& column) const {
    for (std::size_t i = 0; i < value_tables_.size(); ++i)
      if (columns_[i].format == column.format) return value_tables_[i];
    auto table = std::make_shared<ValueTable>(65536);
    for (std::size_t i = 0; i < table->size(); ++i) {
      const auto code = static_cast<std::int16_t>(static_cast<std::uint16_t>(i));
      (*table)[i] = static_cast<float>(ValueOf(code, column.format));
    }
    return table;
  }

  void TakeBlock(std::span<const std::int16_t> codes) {
    block_.resize(codes.size());
    const std::size_t width = columns_.size();
    for (std::size_t column = 0; column < width; ++column) {
      const float* const values = value_tables_[column]->data();
      for (std::size_t i = column; i < codes.size(); i += width)
        block_[i] = values[static_cast<std::uint16_t>(codes[i])];
    }
    values_.Append(std::span<const float>(block_));
  }

  const std::vector<Column> columns_;
  NpyFile values_;
  std::unique_ptr<NpyFile> times_;
  std::vector<std::shared_ptr<const ValueTable>> value_tables_;  ///< of each column
  std::vector<float> block_;
};

}  // namespace

std::unique_ptr<FrameSink> NewNpySink(const std::string& path, const std::string& times_path,
                                      std::vector<Column> columns) {
  return std::make_unique<NpySink>(path, times_path, std::move(columns));
}

}  // namespace halden::host
