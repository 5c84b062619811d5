#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "backends/registry/registry_tree.h"

namespace halden {

/// The registry as text in the layout of the registry editor's export (REGEDIT4), in UTF-8, one section a
/// key. Values in quotes are texts without control characters and without a NUL at the end, "dword:" four
/// bytes, "hex:" and "hex(n):" the bytes of every other value. In quotes a backslash stands before a
/// backslash, before a quote and, as \xNN, for a control character in a value's name. Reading takes the same
/// and, besides, a byte order mark, lines that end in CR LF, blank lines, comment lines (";"), hex data over
/// several lines and sections in any order; a value given twice has the last one's data. Text with nothing
/// but blanks is an empty registry.
std::string FormatRegistryText(const RegistryTree& tree);

/// Nothing if any line is not as told above, or the text is not UTF-8.
std::optional<RegistryTree> ParseRegistryText(std::string_view text);

}  // namespace halden
