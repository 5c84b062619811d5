#pragma once

#include <string>
#include <vector>

namespace halden {

/// The rules of framing on a plain string: what one pass takes of the bytes held, line by line, and leaves.
inline std::vector<std::string> LinesOfPass(std::string& held) {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  for (std::size_t cr; (cr = held.find('\r', begin)) != std::string::npos;) {
    lines.push_back(held.substr(begin, cr - begin));
    begin = cr + 1;
    if (held.compare(begin, 1, "\n") == 0) ++begin;
  }
  if (begin != 1 || held.size() == 1) held.erase(0, begin);
  return lines;
}

}  // namespace halden
