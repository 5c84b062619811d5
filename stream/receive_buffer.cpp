#include "stream/receive_buffer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "stream/number_parsing.h"

namespace halden {

namespace {

constexpr char kCR = '\r';
constexpr char kLF = '\n';
constexpr std::int32_t kLinesToBelieve = 2;  // a single good line may be chance
constexpr std::int16_t kMostInt16 = std::numeric_limits<std::int16_t>::max();

}  // namespace

void ReceiveBuffer::Load() {
  RxCount = 0;
  RxBuffer.assign(kSize, 0);
  LastLine.reserve(kSize);  // so that ParseBuffer never allocates
}

std::int32_t ReceiveBuffer::ReadPort(ByteSource& source, bool reset) {
  if (reset) RxCount = 0;
  std::int32_t count = source.RxQueueCount();
  if (count <= 0 || RxBuffer.empty()) return 0;
  // Without room for the new bytes the old ones are dropped: what is new is worth more. A buffer that is
  // filled to the last byte has not overflowed.
  if (count > kSize - RxCount) RxCount = 0;
  count = std::min(count, kSize);
  // A source that reports more than was asked for isn't believed.
  const std::int32_t read = std::min(source.Read(RxBuffer.data() + RxCount, count), count);
  if (read > 0) RxCount += read;
  return read;
}

bool ReceiveBuffer::AnalyzeBuffer(bool remove) {
  MeanLineLength = 0;
  MaxColumns = 0;
  std::int32_t good = 0;
  std::int32_t p = FindCR(0);  // from here on the last byte of a line end
  if (p < 0) return false;
  for (;;) {
    p = LineEnd(p);
    const std::int32_t q = FindCR(p + 1);
    if (q < 0) break;
    const std::int16_t columns = parser_.DetectColumns(GetLine(p + 1, q - p - 1));
    MaxColumns = std::max(MaxColumns, columns);
    if (columns > 0) ++good;
    p = q;
  }
  if (good < kLinesToBelieve) return false;
  // p spans all bytes up to the last line end, also those of the first part line and of lines that aren't
  // good, so the mean tends to be high. It only serves to limit the rate.
  const long mean = std::lrint(static_cast<double>(p) / good);
  MeanLineLength = static_cast<std::int16_t>(std::min<long>(mean, kMostInt16));
  if (remove) EraseThrough(p);
  return true;
}

std::int16_t ReceiveBuffer::ParseBuffer() {
  const std::int32_t last = LastCR();
  if (last < 0) return 0;
  const Pass pass = TakeLines(last);
  // With end 0 the buffer began with a lone CR. If a part line follows, both stay on purpose: the next pass
  // counts the empty line again, and the rate is defined by that count.
  if (pass.end > 0 || pass.end >= RxCount - 1) EraseThrough(pass.end);
  return static_cast<std::int16_t>(std::min<std::int32_t>(pass.read_lines, kMostInt16));
}

/// Parses the lines up to the CR at the index `last`, which must be the last CR held.
ReceiveBuffer::Pass ReceiveBuffer::TakeLines(std::int32_t last) {
  Pass pass;
  const char* line = RxBuffer.data();
  const char* const last_cr = line + last;
  parser_.BeginPass();
  for (;;) {
    const LineScanner::Result taken = parser_.TakeLine(line, last_cr);
    pass.read_lines += taken.read != 0;
    rate_.CountLine();
    if (taken.end == last_cr) break;
    line = taken.end + 1;
    if (*line == kLF) ++line;  // there is a byte to look at: another CR follows
  }
  parser_.EndPass();
  // Nothing outside can look at LastLine during a pass, so it is only set for the last line.
  LastLine.assign(Trim({line, static_cast<std::size_t>(last_cr - line)}));
  pass.end = LineEnd(last);
  return pass;
}

/// The index of the last CR held; -1 if there is none.
std::int32_t ReceiveBuffer::LastCR() const {
  std::int32_t at = RxCount - 1;
  while (at >= 0 && RxBuffer[at] != kCR) --at;
  return at;
}

/// The index of the first CR at `start` or after; -1 if there is none.
std::int32_t ReceiveBuffer::FindCR(std::int32_t start) const {
  if (start >= RxCount) return -1;
  const void* found = std::memchr(RxBuffer.data() + start, kCR, RxCount - start);
  return found ? static_cast<std::int32_t>(static_cast<const char*>(found) - RxBuffer.data()) : -1;
}

/// The bytes from `start` on, at most `length` of them and not beyond those held.
std::string_view ReceiveBuffer::GetLine(std::int32_t start, std::int32_t length) const {
  if (start >= RxCount) return {};
  return {RxBuffer.data() + start, static_cast<std::size_t>(std::min(length, RxCount - start))};
}

/// The index of the last byte of the line end whose CR is at `cr`. An LF that hasn't arrived yet isn't known:
/// it becomes the first byte of the next line, where ParseValue strips it.
std::int32_t ReceiveBuffer::LineEnd(std::int32_t cr) const {
  return cr + 1 < RxCount && RxBuffer[cr + 1] == kLF ? cr + 1 : cr;
}

/// Removes the bytes up to the index `last` and moves the others to the front.
void ReceiveBuffer::EraseThrough(std::int32_t last) {
  const std::int32_t rest = RxCount - last - 1;
  std::memmove(RxBuffer.data(), RxBuffer.data() + last + 1, rest);
  RxCount = rest;
}

}  // namespace halden
