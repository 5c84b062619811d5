#pragma once

#include <cstdint>
#include <string>

namespace halden {

/// The line settings inside a port's configuration, in the layout of the operating system that knows them.
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

/// A port's configuration. It passes between the calls below untouched but for its line settings.
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

/// A handle of an opened port; -1 is none.
using CommHandle = std::int32_t;

/// The operating system's port configuration. Ports are named "COM" and their number; a name that the system
/// doesn't know, the empty one included, is a failure. Nothing here throws or needs the port to be open in
/// the device library, nor does an open there hinder it where the system can help it.
class CommConfigApi {
 public:
  virtual ~CommConfigApi() = default;

  /// The stored default of a port. `config` has room for *size bytes. True: `config` is filled. False: the
  /// port has no default, or *size is too small; then *size says what is needed, and nothing beyond the given
  /// size has been written.
  virtual bool GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) = 0;
  /// Makes `config` the default of the port, which the next read of it gives. False: not stored.
  virtual bool SetDefaultCommConfigA(const std::string& name, const void* config, std::uint32_t size) = 0;
  /// Lets the user change `config` in a modal dialog that belongs to the window `owner` (0: none). True: the
  /// user confirmed and `config` is changed in place; nothing is stored by that. False: cancelled, or there
  /// is nothing to show a dialog on.
  virtual bool CommConfigDialogA(const std::string& name, std::uintptr_t owner, CommConfig* config) = 0;

  /// Opens a port by its path, "\\.\" and its name, for this caller alone. -1 on failure.
  virtual CommHandle CreateFileA(const std::string& path) = 0;
  /// What the port itself is set to. `size` as in GetDefaultCommConfigA.
  virtual bool GetCommConfig(CommHandle port, void* config, std::uint32_t* size) = 0;
  virtual void CloseHandle(CommHandle port) = 0;
};

}  // namespace halden
