#pragma once

#include <string>
#include <string_view>

namespace halden {

/// UTF-8 to the UTF-16 of the system's calls. Each malformed sequence becomes U+FFFD.
std::wstring WideText(std::string_view utf8);
/// UTF-16 to UTF-8. A surrogate without its partner becomes U+FFFD.
std::string Utf8Text(std::wstring_view wide);

}  // namespace halden
