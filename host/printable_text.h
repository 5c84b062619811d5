#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace halden::host {

/// Makes untrusted text safe for a terminal: valid UTF-8 on one line, without control characters. Texts from
/// devices, files and other processes could otherwise contain escape sequences that change the terminal. All
/// messages for the user go through this function.
///
/// Control characters (below 0x20, 0x7f and C1), marks that change the direction or break the line, and bytes
/// of malformed UTF-8 become escapes: "\x1b", "\u009b". Everything else is kept.
std::string Printable(std::string_view text);

/// Printable text in quotation marks.
std::string Quoted(std::string_view text);

/// The element of `words` that `word` is probably a misspelling of: at most two letters differ, and fewer
/// than half of them. Empty if there is none.
std::string NearestWord(const std::string& word, const std::vector<std::string>& words);

}  // namespace halden::host
