#include "backends/linux/serial/line_settings.h"

#include <algorithm>
#include <asm/termbits.h>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <sys/ioctl.h>
#include <system_error>

#include "backends/linux/process/port_restorer.h"

namespace halden {
namespace {

constexpr tcflag_t kFormatFlags = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB;

/// Whether a receiver set to `wanted` can read a line at `actual`. With 3 % off, the error over the ten bits
/// of a byte is still less than half a bit.
bool IsNear(std::uint32_t actual, std::uint32_t wanted) {
  constexpr std::int64_t kPercentOff = 3;
  const std::int64_t off = std::int64_t{actual} - std::int64_t{wanted};
  return std::abs(off) * 100 <= kPercentOff * std::int64_t{wanted};
}

// The text form, in the order of the codes in Dcb.
constexpr char kPortsKey[] = "Ports";
constexpr std::string_view kParities = "NOEMS";
constexpr std::string_view kStopBits[] = {"1", "1.5", "2"};

std::string FormatLineSettings(const Dcb& settings) {
  return std::to_string(settings.BaudRate) + "," + kParities[settings.Parity] + "," +
         std::to_string(settings.ByteSize) + "," + std::string(kStopBits[settings.StopBits]);
}

/// Whether the settings have a text form.
bool IsStorable(const Dcb& settings) {
  return settings.BaudRate > 0 && settings.Parity < kParities.size() &&
         settings.StopBits < std::size(kStopBits) && settings.ByteSize >= 4 && settings.ByteSize <= 8;
}

/// Reads a text like "230400,N,8,1". Strict, because a user may have edited it.
std::optional<Dcb> ParseLineSettings(std::string_view text) {
  Dcb settings;
  const char* const end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, settings.BaudRate);
  text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
  // What is left is like ",N,8,1".
  if (failure != std::errc() || text.size() < 6 || text[0] != ',' || text[2] != ',' || text[4] != ',')
    return std::nullopt;
  const auto stop = std::find(std::begin(kStopBits), std::end(kStopBits), text.substr(5));
  // Unknown words get codes that IsStorable refuses.
  settings.Parity = static_cast<std::uint8_t>(std::min(kParities.find(text[1]), kParities.size()));
  settings.ByteSize = static_cast<std::uint8_t>(text[3] - '0');
  settings.StopBits = static_cast<std::uint8_t>(stop - std::begin(kStopBits));
  if (!IsStorable(settings)) return std::nullopt;
  return settings;
}

}  // namespace

bool ApplyFormat(std::uint8_t word_length, std::uint8_t stop_bits, std::uint8_t parity,
                 termios2* tty_settings) {
  constexpr tcflag_t kParity[] = {0, PARENB | PARODD, PARENB, PARENB | CMSPAR | PARODD, PARENB | CMSPAR};
  if (word_length != 7 && word_length != 8) return false;
  if (stop_bits != 0 && stop_bits != 2) return false;
  if (parity >= std::size(kParity)) return false;
  const tcflag_t format = (word_length == 7 ? CS7 : CS8) | kParity[parity] | (stop_bits == 2 ? CSTOPB : 0);
  tty_settings->c_cflag = (tty_settings->c_cflag & ~kFormatFlags) | format;
  return true;
}

bool ReadLineSettings(const termios2& tty_settings, Dcb* settings) {
  if (tty_settings.c_ospeed == 0) return false;
  const tcflag_t flags = tty_settings.c_cflag;
  const bool odd = flags & PARODD;
  settings->BaudRate = tty_settings.c_ospeed;
  settings->ByteSize = static_cast<std::uint8_t>(5 + (flags & CSIZE) / CS6);  // CS5 is 0, CS6 the lowest bit
  settings->StopBits = flags & CSTOPB ? 2 : 0;
  settings->Parity = !(flags & PARENB) ? 0 : flags & CMSPAR ? (odd ? 3 : 4) : (odd ? 1 : 2);
  return true;
}

LineSettings::LineSettings(int fd) : fd_(fd), original_(std::make_unique<termios2>()) {
  is_tty_ = Get(original_.get());
}

LineSettings::~LineSettings() = default;

bool LineSettings::GetOriginal(Dcb* settings) const {
  return is_tty_ && ReadLineSettings(*original_, settings);
}

bool LineSettings::MakeRaw(LineEnd line_end) {
  if (!is_tty_) return false;
  termios2 settings = *original_;
  settings.c_iflag = line_end == LineEnd::kLf ? INLCR | IGNCR : 0;
  settings.c_oflag = 0;
  settings.c_lflag = 0;
  settings.c_cflag &= ~CRTSCTS;
  settings.c_cflag |= CREAD | CLOCAL;
  if (!IsPseudoTerminal(fd_)) settings.c_cflag &= ~HUPCL;
  // With VMIN = 1 a non-blocking read fails with EAGAIN while nothing waits. A result of 0 bytes is then left
  // to mean that the line was hung up.
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  return Set(settings);
}

bool LineSettings::SetBaudRate(std::uint32_t bits_per_second) {
  termios2 before{};
  if (bits_per_second == 0 || !Get(&before)) return false;
  termios2 settings = before;
  // BOTHER takes the rate from the two numbers, so it needn't be one of the kernel's named rates.
  settings.c_cflag &= ~(CBAUD | CIBAUD);
  settings.c_cflag |= BOTHER | (BOTHER << IBSHIFT);
  settings.c_ispeed = bits_per_second;
  settings.c_ospeed = bits_per_second;
  // The kernel accepts every rate and sets the nearest that the port can do. What it set has to be read back.
  if (!Set(settings) || !Get(&settings)) return false;
  if (IsNear(settings.c_ospeed, bits_per_second)) return true;
  Set(before);
  return false;
}

bool LineSettings::SetFormat(std::uint8_t word_length, std::uint8_t stop_bits, std::uint8_t parity) {
  termios2 before{};
  if (!Get(&before)) return false;
  termios2 wanted = before;
  termios2 actual{};
  if (!ApplyFormat(word_length, stop_bits, parity, &wanted) || !Set(wanted) || !Get(&actual)) return false;
  if ((actual.c_cflag & kFormatFlags) == (wanted.c_cflag & kFormatFlags) || IsPseudoTerminal(fd_))
    return true;
  Set(before);
  return false;
}

void LineSettings::Restore() {
  termios2 settings = *original_;
  settings.c_lflag &= ~(ECHO | ECHONL);
  if (!IsPseudoTerminal(fd_)) settings.c_cflag &= ~HUPCL;
  if (is_tty_) Set(settings);
}

// The C library's tcgetattr knows only the named rates, so the kernel is called directly.
bool LineSettings::Get(termios2* tty_settings) const {
  return ioctl(fd_, TCGETS2, tty_settings) == 0;
}

bool LineSettings::Set(const termios2& tty_settings) const {
  return ioctl(fd_, TCSETS2, &tty_settings) == 0;
}

std::optional<Dcb> StoredLineSettings::Find(const std::string& serial) {
  HKEY key = 0;
  if (registry_.RegOpenKeyExA(HKEY_CURRENT_USER, kPortsKey, KEY_QUERY_VALUE, &key)) return std::nullopt;
  char text[64];
  std::uint32_t size = sizeof text;
  std::uint32_t type = 0;
  const std::int32_t result = registry_.RegQueryValueExA(key, serial, &type, text, &size);
  registry_.RegCloseKey(key);
  if (result || type != REG_SZ) return std::nullopt;
  return ParseLineSettings(std::string_view(text, std::find(text, text + size, '\0')));
}

bool StoredLineSettings::Store(const std::string& serial, const Dcb& settings) {
  HKEY key = 0;
  if (!IsStorable(settings)) return false;
  if (registry_.RegCreateKeyExA(HKEY_CURRENT_USER, kPortsKey, KEY_WRITE, &key)) return false;
  const std::string text = FormatLineSettings(settings);
  const auto size = static_cast<std::uint32_t>(text.size());
  const std::int32_t result = registry_.RegSetValueExA(key, serial, REG_SZ, text.data(), size);
  registry_.RegCloseKey(key);
  return result == ERROR_SUCCESS;
}

std::string StoredLineSettingsFile(const std::string& registry_file) {
  const std::filesystem::path file = registry_file;
  const std::string name = file.stem().string() + "-ports" + file.extension().string();
  return file.parent_path() / name;
}

}  // namespace halden
