#pragma once

#include <string>
#include <string_view>

namespace halden {

/// UTF-8 to the UTF-16 of the system's calls. Each malformed sequence becomes U+FFFD.
std::wstring WideText(std::string_view utf8);
/// UTF-16 to UTF-8. A surrogate without its partner becomes U+FFFD.
std::string Utf8Text(std::wstring_view wide);

/// The code page of the driver's bytes: the ANSI code page of the process. The driver counts on one byte per
/// character, so where that code page is UTF-8 it is the default ANSI code page of the system's locale, and
/// 1252 if that one isn't a single-byte code page either.
unsigned AnsiCodePage();
/// Conversion as the system's own A functions do it, but in AnsiCodePage(). NULs are kept.
std::wstring AnsiToWide(std::string_view ansi);
std::string WideToAnsi(std::wstring_view wide);

}  // namespace halden
