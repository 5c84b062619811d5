#include "backends/linux/serial/line_settings.h"

#include <asm/termbits.h>
#include <cstdlib>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace halden {
namespace {

constexpr tcflag_t kFormatFlags = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB;

bool Near(std::uint32_t actual, std::uint32_t wanted) {
  constexpr std::int64_t kPercentOff = 3;
  const std::int64_t off = std::int64_t{actual} - std::int64_t{wanted};
  return std::abs(off) * 100 <= kPercentOff * std::int64_t{wanted};
}

}  // namespace

bool PutFormat(std::uint8_t word_length, std::uint8_t stop_bits, std::uint8_t parity, termios2* settings) {
  constexpr tcflag_t kParity[] = {0, PARENB | PARODD, PARENB, PARENB | CMSPAR | PARODD, PARENB | CMSPAR};
  if (word_length != 7 && word_length != 8) return false;
  if (stop_bits != 0 && stop_bits != 2) return false;
  if (parity >= std::size(kParity)) return false;
  const tcflag_t format = (word_length == 7 ? CS7 : CS8) | kParity[parity] | (stop_bits == 2 ? CSTOPB : 0);
  settings->c_cflag = (settings->c_cflag & ~kFormatFlags) | format;
  return true;
}

bool LineOf(const termios2& settings, Dcb* line) {
  if (settings.c_ospeed == 0) return false;
  const tcflag_t flags = settings.c_cflag;
  const bool odd = flags & PARODD;
  line->BaudRate = settings.c_ospeed;
  line->ByteSize = static_cast<std::uint8_t>(5 + (flags & CSIZE) / CS6);
  line->StopBits = flags & CSTOPB ? 2 : 0;
  line->Parity = !(flags & PARENB) ? 0 : flags & CMSPAR ? (odd ? 3 : 4) : (odd ? 1 : 2);
  return true;
}

LineSettings::LineSettings(int fd) : fd_(fd), before_(std::make_unique<termios2>()) {
  found_ = Get(before_.get());
}

LineSettings::~LineSettings() = default;

bool LineSettings::Found(Dcb* line) const {
  return found_ && LineOf(*before_, line);
}

bool LineSettings::MakeRaw() {
  if (!found_) return false;
  termios2 settings = *before_;
  settings.c_iflag = 0;
  settings.c_oflag = 0;
  settings.c_lflag = 0;
  settings.c_cflag &= ~CRTSCTS;
  settings.c_cflag |= CREAD | CLOCAL;
  // With a minimum of one byte, and an fd that doesn't block, a read of 0 bytes means that the line is gone.
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  return Set(settings);
}

bool LineSettings::SetBaudRate(std::uint32_t bits_per_second) {
  termios2 before{};
  if (bits_per_second == 0 || !Get(&before)) return false;
  termios2 settings = before;
  settings.c_cflag &= ~(CBAUD | CIBAUD);
  settings.c_cflag |= BOTHER | (BOTHER << IBSHIFT);
  settings.c_ispeed = bits_per_second;
  settings.c_ospeed = bits_per_second;
  if (!Set(settings) || !Get(&settings)) return false;
  if (Near(settings.c_ospeed, bits_per_second)) return true;
  Set(before);
  return false;
}

bool LineSettings::SetFormat(std::uint8_t word_length, std::uint8_t stop_bits, std::uint8_t parity) {
  termios2 before{};
  if (!Get(&before)) return false;
  termios2 wanted = before;
  termios2 actual{};
  if (!PutFormat(word_length, stop_bits, parity, &wanted) || !Set(wanted) || !Get(&actual)) return false;
  if ((actual.c_cflag & kFormatFlags) == (wanted.c_cflag & kFormatFlags) || IsPseudoTerminal()) return true;
  Set(before);
  return false;
}

void LineSettings::PutBack() {
  termios2 settings = *before_;
  settings.c_lflag &= ~(ECHO | ECHONL);
  if (found_) Set(settings);
}

bool LineSettings::Get(termios2* settings) const {
  return ioctl(fd_, TCGETS2, settings) == 0;
}

bool LineSettings::Set(const termios2& settings) const {
  return ioctl(fd_, TCSETS2, &settings) == 0;
}

bool LineSettings::IsPseudoTerminal() const {
  constexpr unsigned kFirstMajor = 136;
  constexpr unsigned kLastMajor = 143;
  struct stat status {};
  if (fstat(fd_, &status) != 0) return false;
  return major(status.st_rdev) >= kFirstMajor && major(status.st_rdev) <= kLastMajor;
}

}  // namespace halden
