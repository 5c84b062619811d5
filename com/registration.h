#pragma once

#include <windows.h>

namespace halden::com {

/// Enters the class, its ProgID and the type library into the registry of the machine, for the file that the
/// component was loaded from. On failure nothing of it stays there.
HRESULT RegisterComponent() noexcept;

/// Takes all of that out again. It is no failure if it isn't there.
HRESULT UnregisterComponent() noexcept;

}  // namespace halden::com
