#include "stream/line_scanner.h"

namespace halden {

void LineScanner::Prepare(char decimal, char group, char separator) {
  if (decimal == decimal_ && group == group_ && separator == separator_) return;
  decimal_ = decimal;
  group_ = group;
  separator_ = separator;
  classes_.fill(kOther);
  for (char c = '0'; c <= '9'; ++c) classes_[c] = kDigit;
  classes_['+'] = classes_['-'] = kSign;
  for (char mark : {'.', ','}) classes_[mark] = mark == decimal || mark != group ? kMark : kNumberChar;
  if (separator != kNoSeparator) classes_[static_cast<unsigned char>(separator)] = kSeparator;
  classes_['\r'] = kEnd;
}

/// Behind what stripping removes and a sign; where the field ends first, its end.
const char* LineScanner::SkipLabel(const char* at) const {
  while (ClassOf(*at) == kOther) ++at;
  return ClassOf(*at) == kSign ? at + 1 : at;
}

}  // namespace halden
