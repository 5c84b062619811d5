#pragma once

#include <string>
#include <string_view>

namespace halden {

/// Between UTF-8 and the UTF-16 of the system's calls. What is malformed becomes U+FFFD.
std::wstring WideText(std::string_view utf8);
std::string Utf8Text(std::wstring_view wide);

}  // namespace halden
