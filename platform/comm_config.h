#pragma once

#include <cstdint>
#include <string>

namespace halden {

/// A port's line settings. The layout is that of Win32's DCB, so a backend on Windows can pass it through.
/// The driver reads BaudRate, ByteSize, Parity and StopBits and leaves the other fields as it found them.
struct Dcb {
  std::uint32_t DCBlength = 28;
  std::uint32_t BaudRate = 0;  ///< bits per second
  std::uint32_t Flags = 0;
  std::uint16_t Reserved = 0;
  std::uint16_t XonLim = 0;
  std::uint16_t XoffLim = 0;
  std::uint8_t ByteSize = 0;  ///< data bits
  std::uint8_t Parity = 0;    ///< 0 none, 1 odd, 2 even, 3 mark, 4 space
  std::uint8_t StopBits = 0;  ///< 0 one, 1 one and a half, 2 two
  char XonChar = 0;
  char XoffChar = 0;
  char ErrorChar = 0;
  char EofChar = 0;
  char EvtChar = 0;
  std::uint16_t Reserved1 = 0;
  bool operator==(const Dcb&) const = default;
};
static_assert(sizeof(Dcb) == 28);

/// A port's configuration, laid out as Win32's COMMCONFIG. Only `dcb` means anything to the driver; the rest
/// is carried from one call to the next unchanged.
struct CommConfig {
  std::uint32_t Size = 52;
  std::uint16_t Version = 1;
  std::uint16_t Reserved = 0;
  Dcb dcb;
  std::uint32_t ProviderSubType = 1;
  std::uint32_t ProviderOffset = 0;
  std::uint32_t ProviderSize = 0;
  std::uint32_t ProviderData = 0;
};
static_assert(sizeof(CommConfig) == 52);

/// Handle of a port opened with CreateFileA. -1: none.
using CommHandle = std::int32_t;

/// The operating system's record of its serial ports. A port is named by "COM" and its number, as in "COM5";
/// calls for a name that the system doesn't know (the empty name too) fail. No call throws. The port need not
/// be open in the device library, and the calls should also work while it is, as far as the system allows.
class CommConfigApi {
 public:
  virtual ~CommConfigApi() = default;

  /// Reads the configuration stored as the port's default. `config` has room for *size bytes. False: the port
  /// has no default, or *size is too small; in that case *size becomes the size needed. Never writes more
  /// than the given size.
  virtual bool GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) = 0;
  /// Stores `config` as the port's default. False: not stored.
  virtual bool SetDefaultCommConfigA(const std::string& name, const void* config, std::uint32_t size) = 0;
  /// Shows the system's modal dialog for `config`, owned by the window `owner` (0: no owner). True: the user
  /// confirmed, and `config` holds the changes; the caller stores them. False: cancelled, or there is nothing
  /// to show a dialog on; `config` is unchanged.
  virtual bool CommConfigDialogA(const std::string& name, std::uintptr_t owner, CommConfig* config) = 0;

  /// Opens a port exclusively. `path` is the port's name after "\\.\". -1 on failure.
  virtual CommHandle CreateFileA(const std::string& path) = 0;
  /// Reads the configuration that the open port is using. `config` and `size` as in GetDefaultCommConfigA.
  virtual bool GetCommConfig(CommHandle port, void* config, std::uint32_t* size) = 0;
  virtual void CloseHandle(CommHandle port) = 0;
};

}  // namespace halden
