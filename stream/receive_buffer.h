#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "stream/line_parser.h"
#include "stream/rate_meter.h"

namespace halden {

/// Where the receive buffer's bytes come from.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  /// Bytes that Read would give at once; not above 0 if there are none or they can't be counted.
  virtual std::int32_t RxQueueCount() = 0;
  /// Reads at most `count` bytes to `buffer`, which has room for them. Gives the bytes read, -1 on failure.
  virtual std::int32_t Read(void* buffer, std::int32_t count) = 0;
};

/// The bytes received and not yet decoded. Lines end with CR; an LF directly behind it belongs to the line
/// end, any other LF is a byte of its line.
class ReceiveBuffer {
 public:
  static constexpr std::int32_t kSize = 65536;

  ReceiveBuffer(LineParser& parser, RateMeter& rate) : parser_(parser), rate_(rate) {}

  /// Makes the storage anew; before it ReadPort reads nothing. Throws std::bad_alloc.
  void Load();

  /// Fetches what `source` holds behind the bytes held; with `reset` the buffer starts empty. Bytes that
  /// don't fit replace all that is held. Gives the bytes stored, 0 if there were none, -1 if the read failed.
  std::int32_t ReadPort(ByteSource& source, bool reset);
  /// Learns the format and MeanLineLength from the lines behind the first CR. True if at least two of them
  /// are good, that is have columns; then, with `remove`, the lines leave the buffer. Throws std::bad_alloc.
  bool AnalyzeBuffer(bool remove);
  /// Takes all complete lines. Gives those in which at least one field was read, saturated at 32767. Throws
  /// std::bad_alloc with no line taken.
  std::int16_t ParseBuffer();
  /// Forgets the bytes held.
  void Clear() { RxCount = 0; }

  std::int32_t RxCount = 0;         ///< bytes held, 0 to kSize
  std::string LastLine;             ///< the line that ParseBuffer took last, trimmed, ANSI
  std::int16_t MeanLineLength = 0;  ///< all bytes per good line, in the last AnalyzeBuffer; 0: fewer than 2
  std::int16_t MaxColumns = 0;      ///< most columns of a line in the last AnalyzeBuffer

 private:
  std::int32_t FindCR(std::int32_t start) const;
  std::int32_t LastCR() const;
  std::int32_t TakeLines(const char* last_cr, std::int32_t& read_lines);
  std::string_view GetLine(std::int32_t start, std::int32_t length) const;
  std::int32_t LineEnd(std::int32_t cr) const;
  void EraseThrough(std::int32_t last);

  LineParser& parser_;
  RateMeter& rate_;
  std::vector<char> RxBuffer;
};

}  // namespace halden
