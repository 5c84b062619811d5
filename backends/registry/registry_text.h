#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "backends/registry/registry_tree.h"

namespace halden {

/// Writes the registry as text in the format of the registry editor's export (REGEDIT4), but in UTF-8. Each
/// key is a section:
///
///     [HKEY_CURRENT_USER\Software]
///     @="text"                       the default value
///     "Port"=dword:00000100          type REG_DWORD, four bytes
///     "Bytes"=hex:01,ff              type REG_BINARY
///     "Other"=hex(7):41,00           any other type, given in hex
///
/// A REG_SZ value is quoted if it holds no control characters (no NUL either); otherwise its bytes are
/// written as "hex(1):". Inside quotes, \\ and \" escape a backslash and a quote, and \xNN a control
/// character in a value's name.
std::string FormatRegistryText(const RegistryTree& tree);

/// Reads that format. Also accepts a byte order mark, CR LF line ends, blank lines, comment lines (";"), hex
/// data continued over several lines (",\"), and sections in any order. If a value is given twice the last
/// one counts. Blank text is an empty registry. nullopt if a line is malformed or the text isn't UTF-8.
std::optional<RegistryTree> ParseRegistryText(std::string_view text);

}  // namespace halden
