#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/output.h"
#include "host/value_text.h"

namespace halden::host {

/// One column of a recording.
struct Column {
  std::string name;
  ValueFormat format;
};

/// Writes frames as lines of comma-separated values under a line of column names.
class CsvWriter {
 public:
  /// `columns` and `output` must outlive the writer. With `codes` the lines hold raw codes.
  CsvWriter(const std::vector<Column>& columns, bool codes, Output& output);

  /// `codes` are whole frames. Allocates nothing.
  void WriteFrames(std::span<const std::int16_t> codes);

 private:
  const std::vector<Column>& columns_;
  bool codes_;
  Output& output_;
  std::vector<char> line_;
};

}  // namespace halden::host
