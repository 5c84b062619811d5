#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "stream/line_parser.h"
#include "stream/rate_meter.h"

namespace halden {

/// Where the receive buffer gets its bytes from.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  /// The bytes that Read would return without waiting. 0 if there are none, below 0 if they can't be counted.
  virtual std::int32_t RxQueueCount() = 0;
  /// Reads at most `count` bytes into `buffer`, which has room for them. Returns the bytes read, -1 on
  /// failure. May block if `count` exceeds what RxQueueCount has just returned.
  virtual std::int32_t Read(void* buffer, std::int32_t count) = 0;
};

/// The bytes received and not yet decoded. A line ends with CR. An LF directly after the CR belongs to the
/// line end; any other LF is an ordinary byte of its line.
///
/// Bytes are only parsed in whole lines. What follows the last line end moves to the front, and the next read
/// continues it: "1;2" CR LF "3;" is held as "3;" after the pass, and "4" CR then completes the line "3;4".
class ReceiveBuffer {
 public:
  static constexpr std::int32_t kSize = 65536;

  ReceiveBuffer(LineParser& parser, RateMeter& rate) : parser_(parser), rate_(rate) {}

  /// Allocates the storage and empties the buffer. Until the first call ReadPort reads nothing. Throws
  /// std::bad_alloc.
  void Load();

  /// Appends what `source` has. With `reset` the buffer is emptied first. If the new bytes don't fit, all
  /// bytes held are dropped in favour of the new ones; of those, what exceeds kSize stays in the source.
  /// Returns the bytes stored, 0 if there were none, -1 if the read failed.
  std::int32_t ReadPort(ByteSource& source, bool reset);
  /// Learns the format, MeanLineLength and MaxColumns from the whole lines after the first CR. What comes
  /// before it may be the end of a longer line. A line is good if it has columns. Returns whether at least
  /// two are good; with `remove` the bytes up to the last line end are then removed. Throws std::bad_alloc.
  bool AnalyzeBuffer(bool remove);
  /// Parses all whole lines and removes them. The format must be known. Returns the lines in which at least
  /// one field was read, at most 32767. Throws std::bad_alloc with no line taken.
  std::int16_t ParseBuffer();
  /// Drops the bytes held.
  void Clear() { RxCount = 0; }

  std::int32_t RxCount = 0;         ///< bytes held, 0 to kSize
  std::string LastLine;             ///< the last line that ParseBuffer took, trimmed, ANSI
  std::int16_t MeanLineLength = 0;  ///< bytes per good line in the last AnalyzeBuffer; 0: fewer than 2
  std::int16_t MaxColumns = 0;      ///< most columns of one line in the last AnalyzeBuffer

 private:
  /// What one pass has taken.
  struct Pass {
    std::int32_t end = 0;         // index of the last byte of the last line end
    std::int32_t read_lines = 0;  // lines in which at least one field was read
  };

  std::int32_t FindCR(std::int32_t start) const;
  std::int32_t LastCR() const;
  Pass TakeLines(std::int32_t last);
  std::string_view GetLine(std::int32_t start, std::int32_t length) const;
  std::int32_t LineEnd(std::int32_t cr) const;
  void EraseThrough(std::int32_t last);

  LineParser& parser_;
  RateMeter& rate_;
  std::vector<char> RxBuffer;
};

}  // namespace halden
