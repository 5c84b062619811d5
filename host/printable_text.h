#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace halden::host {

/// Makes text from outside fit for a terminal: UTF-8 without control characters, on one line. Devices,
/// files and other processes choose such texts, and a raw escape sequence in them would change the user's
/// terminal. Everything printed for people goes through here.
///
/// Control characters (below 0x20, 0x7f and C1), marks that change the direction or the line of what
/// follows, and the bytes of malformed UTF-8 are replaced by escapes: "\x1b", "\u009b". All else is kept.
std::string Printable(std::string_view text);

/// The same between quotation marks, for messages that repeat a word.
std::string Quoted(std::string_view text);

/// The one of `words` that `word` was probably meant to be: it differs in at most two letters, and in less
/// than half of them. Empty if there is none.
std::string NearestWord(const std::string& word, const std::vector<std::string>& words);

}  // namespace halden::host
