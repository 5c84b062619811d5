#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "backends/devices/device_options.h"
#include "backends/linux/registry/file_registry.h"
#include "platform/comm_config.h"

struct termios2;

namespace halden {

// Line settings are a port's baud rate, data bits, parity and stop bits. The driver knows them as a Dcb, the
// kernel as a termios2, and a person as a text such as "230400,N,8,1".

/// Sets data bits (7 or 8), stop bits and parity, coded as in Dcb, in the control flags of a tty's settings.
/// False, with nothing changed, for what the kernel can't express: other codes, and 1.5 stop bits.
bool ApplyFormat(std::uint8_t word_length, std::uint8_t stop_bits, std::uint8_t parity,
                 termios2* tty_settings);
/// Reads the line settings from a tty's settings. False if the rate is 0, which means hung up.
bool ReadLineSettings(const termios2& tty_settings, Dcb* settings);

/// The line settings of an opened tty. Remembers those that it finds and can restore them.
class LineSettings {
 public:
  /// Reads the settings and changes nothing. `fd` stays the caller's and must outlive the object.
  explicit LineSettings(int fd);
  ~LineSettings();
  LineSettings(const LineSettings&) = delete;
  LineSettings& operator=(const LineSettings&) = delete;

  /// The line settings as they were found. False if `fd` is no tty.
  bool GetOriginal(Dcb* settings) const;
  /// All settings as they were found; zeros if `fd` is no tty.
  const termios2& Original() const { return *original_; }
  /// Lets bytes pass unchanged in both directions: no echo, no translation, no signals, no flow control, no
  /// time limit for a read. Only for LineEnd::kLf, a received LF becomes a CR, and a CR is dropped. Rate and
  /// format stay. Clears HUPCL, except for a pseudo-terminal; see PortRestorer. False if the kernel refuses.
  bool MakeRaw(LineEnd line_end);
  /// Accepts any rate above 0. False, with the rate as before, if the port's nearest rate is more than 3 %
  /// off.
  bool SetBaudRate(std::uint32_t bits_per_second);
  /// False, with the format as before, for what the kernel or the port can't do. A pseudo-terminal has no
  /// physical line: it accepts every format that the kernel can express.
  bool SetFormat(std::uint8_t word_length, std::uint8_t stop_bits, std::uint8_t parity);
  /// Restores what was found, except for two things. The echo stays off: a device that goes on sending would
  /// receive its own text. HUPCL stays as MakeRaw left it.
  void Restore();

 private:
  bool Get(termios2* tty_settings) const;
  bool Set(const termios2& tty_settings) const;

  int fd_;
  bool is_tty_;
  std::unique_ptr<termios2> original_;
};

/// The line settings that ports have been configured for, by the serial number of the device. They outlast
/// unplugging, and follow the device to whichever tty it gets next time. Kept in a file of their own in the
/// registry's layout, as values such as "FT1A2B3C"="230400,N,8,1".
class StoredLineSettings {
 public:
  /// Doesn't touch the file. Serial numbers are in the code page of `rules`, which must outlive the object.
  StoredLineSettings(const std::string& path, const NumberRules& rules) : registry_(path, rules) {}

  /// nullopt if none are stored for this serial number, or if they are malformed.
  std::optional<Dcb> Find(const std::string& serial);
  /// False if they can't be written, or aren't settings that Find could return; then nothing is changed.
  bool Store(const std::string& serial, const Dcb& settings);
  /// Why they could not be read or stored, and what became of a damaged file; see FileRegistry::TakeNotices.
  std::vector<std::string> TakeNotices() { return registry_.TakeNotices(); }

 private:
  FileRegistry registry_;
};

/// The file of the ports that belongs to a registry file: "registry.reg" -> "registry-ports.reg".
std::string StoredLineSettingsFile(const std::string& registry_file);

}  // namespace halden
