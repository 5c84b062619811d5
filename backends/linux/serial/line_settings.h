#pragma once

#include <cstdint>
#include <memory>

#include "platform/comm_config.h"

struct termios2;

namespace halden {

/// Puts data bits (7 or 8), parity and stop bits, coded as in Dcb, into the control flags of a terminal.
/// False, with nothing changed, for what the system can't express: other codes, and 1.5 stop bits.
bool PutFormat(std::uint8_t word_length, std::uint8_t stop_bits, std::uint8_t parity, termios2* settings);
/// The line settings among the settings of a terminal; false if these hang the line up.
bool LineOf(const termios2& settings, Dcb* line);

/// The line settings of an opened tty. It keeps those that it found and can put them back.
class LineSettings {
 public:
  /// Does not own `fd`, which must outlive it. Changes nothing.
  explicit LineSettings(int fd);
  ~LineSettings();
  LineSettings(const LineSettings&) = delete;
  LineSettings& operator=(const LineSettings&) = delete;

  /// The line settings that were found; false if `fd` is no tty.
  bool Found(Dcb* line) const;
  /// Bytes come and go unchanged, no signal stops or ends them, no read waits for a time of its own; rate and
  /// format stay.
  bool MakeRaw();
  /// Any rate above 0. False, with the rate as it was, if the port's own is more than 3 % off.
  bool SetBaudRate(std::uint32_t bits_per_second);
  /// False, with the format as it was, for what system or port can't do. A pseudo-terminal has no line that
  /// could be of another format: it takes all.
  bool SetFormat(std::uint8_t word_length, std::uint8_t stop_bits, std::uint8_t parity);
  /// Sets what was found, but for the echo, by which a device that goes on speaking would hear itself.
  void PutBack();

 private:
  bool Get(termios2* settings) const;
  bool Set(const termios2& settings) const;
  bool IsPseudoTerminal() const;

  int fd_;
  bool found_;
  std::unique_ptr<termios2> before_;
};

}  // namespace halden
