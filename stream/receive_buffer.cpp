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
constexpr std::int32_t kLinesToBelieve = 2;
constexpr std::int16_t kMostInt16 = std::numeric_limits<std::int16_t>::max();

}  // namespace

void ReceiveBuffer::Load() {
  RxCount = 0;
  RxBuffer.assign(kSize, 0);
  LastLine.reserve(kSize);  // a tick never has to allocate
}

std::int32_t ReceiveBuffer::ReadPort(ByteSource& source, bool reset) {
  if (reset) RxCount = 0;
  std::int32_t count = source.RxQueueCount();
  if (count <= 0 || RxBuffer.empty()) return 0;
  if (count > kSize - RxCount) RxCount = 0;  // no room: what is held is lost, not what is new
  count = std::min(count, kSize);
  const std::int32_t read = std::min(source.Read(RxBuffer.data() + RxCount, count), count);
  if (read > 0) RxCount += read;
  return read;
}

bool ReceiveBuffer::AnalyzeBuffer(bool remove) {
  MeanLineLength = 0;
  MaxColumns = 0;
  std::int32_t good = 0;
  std::int32_t p = FindCR(0);
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
  const long mean = std::lrint(static_cast<double>(p) / good);
  MeanLineLength = static_cast<std::int16_t>(std::min<long>(mean, kMostInt16));
  if (remove) EraseThrough(p);
  return true;
}

std::int16_t ReceiveBuffer::ParseBuffer() {
  const std::int32_t last = LastCR();
  if (last < 0) return 0;
  std::int32_t read_lines = 0;
  const std::int32_t p = TakeLines(RxBuffer.data() + last, read_lines);
  // A lone CR in front of a part line (p is 0) stays where it is, and so counts as an empty line again.
  if (p > 0 || p >= RxCount - 1) EraseThrough(p);
  return static_cast<std::int16_t>(std::min<std::int32_t>(read_lines, kMostInt16));
}

/// Takes the lines up to this CR and gives the last byte of their end.
std::int32_t ReceiveBuffer::TakeLines(const char* last_cr, std::int32_t& read_lines) {
  const char* const begin = RxBuffer.data();
  parser_.BeginPass();
  const char* line = begin;
  for (;;) {
    const LineScanner::Result taken = parser_.TakeLine(line, last_cr);
    read_lines += taken.read != 0;
    rate_.CountLine();
    if (taken.end == last_cr) break;
    line = taken.end + 1;
    if (*line == kLF) ++line;
  }
  parser_.EndPass();
  // Only the last line of a pass can be seen from outside.
  LastLine.assign(Trim({line, static_cast<std::size_t>(last_cr - line)}));
  return LineEnd(static_cast<std::int32_t>(last_cr - begin));
}

std::int32_t ReceiveBuffer::LastCR() const {
  std::int32_t at = RxCount - 1;
  while (at >= 0 && RxBuffer[at] != kCR) --at;
  return at;
}

std::int32_t ReceiveBuffer::FindCR(std::int32_t start) const {
  if (start >= RxCount) return -1;
  const void* found = std::memchr(RxBuffer.data() + start, kCR, RxCount - start);
  return found ? static_cast<std::int32_t>(static_cast<const char*>(found) - RxBuffer.data()) : -1;
}

std::string_view ReceiveBuffer::GetLine(std::int32_t start, std::int32_t length) const {
  if (start >= RxCount) return {};
  return {RxBuffer.data() + start, static_cast<std::size_t>(std::min(length, RxCount - start))};
}

/// The last byte of the line end that begins with this CR.
std::int32_t ReceiveBuffer::LineEnd(std::int32_t cr) const {
  return cr + 1 < RxCount && RxBuffer[cr + 1] == kLF ? cr + 1 : cr;
}

/// Moves the bytes behind the index `last` to the front.
void ReceiveBuffer::EraseThrough(std::int32_t last) {
  const std::int32_t rest = RxCount - last - 1;
  std::memmove(RxBuffer.data(), RxBuffer.data() + last + 1, rest);
  RxCount = rest;
}

}  // namespace halden
