#include "host/csv_writer.h"

namespace halden::host {

CsvWriter::CsvWriter(const std::vector<Column>& columns, bool codes, Output& output)
    : columns_(columns), codes_(codes), output_(output), line_(columns.size() * kValueRoom) {
  for (const Column& column : columns_) {
    output_.Write(column.name);
    output_.Write(&column == &columns_.back() ? "\n" : ",");
  }
}

void CsvWriter::WriteFrames(std::span<const std::int16_t> codes) {
  for (std::size_t start = 0; start + columns_.size() <= codes.size(); start += columns_.size()) {
    char* end = line_.data();
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const std::int16_t code = codes[start + i];
      end = codes_ ? WriteCode(code, end) : WriteValue(code, columns_[i].format, end);
      *end++ = ',';
    }
    end[-1] = '\n';
    output_.Write({line_.data(), end});
  }
}

}  // namespace halden::host
