#pragma once

#include <string>
#include <vector>
#include <windows.h>

namespace halden::com {

// Strings and arrays as the host gets them: each is a new one and the host's. Null without memory for it.

BSTR NewString(const std::string& utf8) noexcept;
SAFEARRAY* NewStringArray(const std::vector<std::string>& texts) noexcept;
SAFEARRAY* NewCodeArray(const std::vector<short>& codes) noexcept;
/// Of zeros, row after row in memory; the first index is the place in a row of `columns`, the second the row.
SAFEARRAY* NewCodeTable(ULONG columns, ULONG rows) noexcept;

/// The codes of the host's array. DISP_E_TYPEMISMATCH unless its elements are 16-bit numbers,
/// DISP_E_BADINDEX unless it has one index and starts at 0, E_INVALIDARG if it is null or has more than 32767
/// elements.
HRESULT ReadCodeArray(SAFEARRAY* array, std::vector<short>* codes) noexcept;

}  // namespace halden::com
