#include <algorithm>
#include <bit>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <utility>

#include "host/output.h"
#include "host/printable_text.h"
#include "host/recording.h"

namespace halden::host {
namespace {

static_assert(std::endian::native == std::endian::little, "arrays are written as they lie in memory");

constexpr std::size_t kHeaderSize = 128;  // numpy wants a multiple of 64

/// A file in numpy's format 1.0 that grows row by row. The header holds the number of rows and has a fixed
/// size, so it can be rewritten after each block. The rows are written first and the header last, so the
/// header never counts rows that aren't in the file.
class NpyFile {
 public:
  /// `type` is numpy's name of the element type. `columns` 0 makes an array of one dimension. The first
  /// `rows` rows of a continued file are there already.
  NpyFile(const std::string& path, const char* type, std::size_t columns, Existing existing, std::size_t rows)
      : type_(type), columns_(columns), output_(path, existing), rows_(rows) {
    if (output_.Size() > 0) return;
    output_.Write(Header());
    output_.Flush();
  }

  template <class Element>
  void Append(std::span<const Element> elements) {
    output_.Write({reinterpret_cast<const char*>(elements.data()), elements.size_bytes()});
    rows_ += elements.size() / std::max<std::size_t>(columns_, 1);
  }
  /// Hands all rows to the system, then the header with their number.
  void Flush() {
    output_.Flush();
    output_.RewriteStart(Header());
  }
  std::size_t Rows() const { return rows_; }
  Output& output() { return output_; }
  const Output& output() const { return output_; }

  /// The number of rows in the file at `path`; nullopt unless this class has written it with this type and
  /// these columns.
  static std::optional<std::size_t> RowsIn(const std::string& path, const char* type, std::size_t columns) {
    std::ifstream file(path, std::ios::binary);
    std::string header(kHeaderSize, '\0');
    if (!file.read(header.data(), kHeaderSize)) return std::nullopt;
    std::size_t rows = 0;
    const auto shape = header.find("'shape': (");
    if (shape == std::string::npos) return std::nullopt;
    std::from_chars(&header[shape + 10], header.data() + header.size(), rows);
    return HeaderOf(type, columns, rows) == header ? std::optional(rows) : std::nullopt;
  }

 private:
  /// The magic bytes, version 1.0, the length of the text in two bytes (low byte first), and the text, padded
  /// with blanks to kHeaderSize.
  static std::string HeaderOf(const char* type, std::size_t columns, std::size_t rows) {
    const std::string shape =
        std::to_string(rows) + "," + (columns == 0 ? "" : " " + std::to_string(columns));
    std::string header("\x93NUMPY\x01\x00", 8);
    header += static_cast<char>(kHeaderSize - 10);
    header += '\0';
    header += std::string("{'descr': '") + type + "', 'fortran_order': False, 'shape': (" + shape + "), }";
    header.resize(kHeaderSize - 1, ' ');
    return header + '\n';
  }
  std::string Header() const { return HeaderOf(type_, columns_, rows_); }

  const char* type_;
  const std::size_t columns_;
  Output output_;
  std::size_t rows_ = 0;
};

class NpySink final : public FrameSink {
 public:
  NpySink(const std::string& path, std::vector<Column> columns, const FileOptions& options)
      : columns_(std::move(columns)) {
    if (options.time == TimeColumn::kAbsolute)
      start_ = std::chrono::duration<double>(options.start.time_since_epoch()).count();
    for (const Column& column : columns_) value_tables_.push_back(TableOf(column));
    const std::string times_path = options.time == TimeColumn::kNone ? "" : TimesPath(path);
    std::size_t rows = 0;
    if (options.existing == Existing::kContinue) rows = MakeContinuable(path, times_path);
    if (!refusal_.empty()) return;
    values_ = std::make_unique<NpyFile>(path, kValues, columns_.size(), options.existing, rows);
    if (!times_path.empty())
      times_ = std::make_unique<NpyFile>(times_path, kTimes, 0, options.existing, rows);
    first_row_ = rows;
  }

  void Take(const Frames& frames) override {
    if (!values_) return;
    const std::size_t width = columns_.size();
    for (std::size_t start = 0; start < frames.codes.size(); start += kBlockFrames * width)
      TakeBlock(frames.codes.subspan(start, std::min(frames.codes.size() - start, kBlockFrames * width)));
    values_->Flush();
    if (times_) TakeTimes(frames.times);
    if (Ok()) written_ = static_cast<std::int64_t>(values_->Rows() - first_row_);
  }

  void Finish(const RecordingSummary&) override {
    if (values_) values_->output().Close();
    if (times_) times_->output().Close();
  }
  void Sync() override {
    if (values_) values_->output().Sync();
    if (times_) times_->output().Sync();
  }
  bool Ok() const override { return values_ && values_->output().Ok() && (!times_ || times_->output().Ok()); }
  const std::string& Failure() const override {
    if (!values_) return refusal_;
    return !times_ || !values_->output().Ok() ? values_->output().Failure() : times_->output().Failure();
  }
  std::int64_t Written() const override { return written_; }
  std::uint64_t Size() const override { return values_ ? values_->output().Size() : 0; }

 private:
  static constexpr char kValues[] = "<f4";  // little-endian float32
  static constexpr char kTimes[] = "<f8";   // little-endian float64
  static constexpr std::size_t kBlockFrames = 256;
  using ValueTable = std::vector<float>;  // a value for each code, from 0 up and then from -32768 up

  /// Cuts both files to the number of rows that each of them has, and returns it. Sets refusal_ if a file has
  /// another shape.
  std::size_t MakeContinuable(const std::string& path, const std::string& times_path) {
    std::size_t rows = CompleteRows(path, kValues, columns_.size(), columns_.size() * sizeof(float));
    if (!times_path.empty()) {
      rows = std::min(rows, CompleteRows(times_path, kTimes, 0, sizeof(double)));
      Cut(times_path, rows * sizeof(double));
    }
    Cut(path, rows * columns_.size() * sizeof(float));
    return rows;
  }

  /// The rows that are complete in a file: after a crash the header may count fewer or more than there are.
  /// 0 if there is no file.
  std::size_t CompleteRows(const std::string& path, const char* type, std::size_t columns,
                           std::size_t row_size) {
    std::error_code missing;
    const std::uintmax_t size = std::filesystem::file_size(path, missing);
    if (missing || size == 0) return 0;
    const auto rows = NpyFile::RowsIn(path, type, columns);
    if (!rows)
      refusal_ = Printable(path) + " can't be continued: it isn't a " + type + " array of " +
                 (columns == 0 ? "one column" : std::to_string(columns) + " columns");
    return rows ? std::min(*rows, static_cast<std::size_t>((size - kHeaderSize) / row_size)) : 0;
  }

  void Cut(const std::string& path, std::size_t bytes) {
    std::error_code missing;
    const std::uintmax_t size = std::filesystem::file_size(path, missing);
    if (!refusal_.empty() || missing || size <= kHeaderSize + bytes) return;
    std::filesystem::resize_file(path, kHeaderSize + bytes, missing);
    if (missing) refusal_ = Printable(path) + " can't be continued: " + missing.message();
  }

  void TakeTimes(std::span<const double> times) {
    if (start_ == 0) {
      times_->Append(times);
    } else {
      absolute_.assign(times.begin(), times.end());
      for (double& time : absolute_) time += start_;
      times_->Append(std::span<const double>(absolute_));
    }
    times_->Flush();
  }

  /// Columns with the same format share their table.
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

  /// Converts column by column, so that each value table stays in the cache.
  void TakeBlock(std::span<const std::int16_t> codes) {
    block_.resize(codes.size());
    const std::size_t width = columns_.size();
    for (std::size_t column = 0; column < width; ++column) {
      const float* const values = value_tables_[column]->data();
      for (std::size_t i = column; i < codes.size(); i += width)
        block_[i] = values[static_cast<std::uint16_t>(codes[i])];
    }
    values_->Append(std::span<const float>(block_));
  }

  const std::vector<Column> columns_;
  std::string refusal_;              ///< why the files can't be continued; empty if they can
  std::unique_ptr<NpyFile> values_;  ///< null after a refusal
  std::unique_ptr<NpyFile> times_;   ///< null if no times are written
  double start_ = 0;                 ///< added to each time; seconds since 1970, or 0 for relative times
  std::size_t first_row_ = 0;        ///< rows that a continued file already had
  std::int64_t written_ = 0;         ///< frames written in this recording
  std::vector<double> absolute_;     ///< buffer for times with start_ added
  std::vector<std::shared_ptr<const ValueTable>> value_tables_;  ///< one per column
  std::vector<float> block_;                                     ///< buffer for the values of one block
};

}  // namespace

std::unique_ptr<FrameSink> NewNpySink(const std::string& path, std::vector<Column> columns,
                                      const FileOptions& options) {
  return std::make_unique<NpySink>(path, std::move(columns), options);
}

}  // namespace halden::host
