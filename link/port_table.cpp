#include "link/port_table.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace halden {

namespace {

/// Reads one port's configuration in the two steps that the system requires: a call with too small a size
/// fails and reports the size needed, and the next call passes that size. A port's system driver may append
/// data of its own to the 52 bytes that a row of the table can hold. The block has room for it, so that the
/// calls can't write past the row. Only the first 52 bytes, with the line settings, are kept.
class ConfigReader {
 public:
  ConfigReader(CommConfigApi& system, const tPortInfo& row) : system_(system), row_(row) {
    std::memcpy(block_.data(), &row.Config, sizeof row.Config);
  }

  /// Reads the configuration stored as the port's default.
  bool ReadDefault() {
    LearnSize();
    return CallGetDefault();
  }

  /// Opens the port itself and reads the settings that it is using. Fails if another program has it open.
  bool ReadOpenPort() {
    const CommHandle port = system_.CreateFileA(row_.DevicePath);
    if (port == -1) return false;
    LearnSize();
    size_ = std::min(size_, kBlockSize);
    const bool known = system_.GetCommConfig(port, block_.data(), &size_);
    system_.CloseHandle(port);
    return known;
  }

  /// The configuration read. After a failure: the row's old one, as far as the calls left it alone.
  CommConfig Result() const {
    CommConfig config;
    std::memcpy(&config, block_.data(), sizeof config);
    return config;
  }

 private:
  static constexpr std::uint32_t kBlockSize = 65536;

  /// Asks with a size of 0, only to learn the size needed. Some systems accept that call and report nothing;
  /// the plain structure is then assumed.
  void LearnSize() {
    CallGetDefault();
    if (size_ == 0) size_ = sizeof(CommConfig);
  }
  /// Clamps the size first: the call before may have reported more than the block has, or nonsense.
  bool CallGetDefault() {
    size_ = std::min(size_, kBlockSize);
    return system_.GetDefaultCommConfigA(row_.Name, block_.data(), &size_);
  }

  CommConfigApi& system_;
  const tPortInfo& row_;
  std::uint32_t size_ = 0;  // in: the room offered to the next call; out: the size that it reported
  std::vector<std::uint8_t> block_ = std::vector<std::uint8_t>(kBlockSize);
};

}  // namespace

void NamePort(tPortInfo& row, std::int32_t number) {
  row.Number = static_cast<std::int16_t>(number);
  if (row.Number != number) row.Number = 0;
  row.Name = "COM" + std::to_string(row.Number);
  row.DevicePath = R"(\\.\)" + row.Name;
}

bool GetPortConfig(CommConfigApi& system, tPortInfo& row) {
  ConfigReader reader(system, row);
  const bool known = reader.ReadDefault() || reader.ReadOpenPort();
  row.Config = reader.Result();
  // Only the line settings: the other fields keep what the calls left in them.
  if (!known) {
    row.Config.dcb.BaudRate = 9600;
    row.Config.dcb.Parity = 0;
    row.Config.dcb.ByteSize = 8;
    row.Config.dcb.StopBits = 0;
  }
  FormatPortConfig(row);
  return known;
}

void FormatPortConfig(tPortInfo& row) {
  constexpr char kParities[] = {'N', 'O', 'E', 'M', 'S'};
  const Dcb& settings = row.Config.dcb;
  std::string& text = row.ConfigText;
  text = std::to_string(settings.BaudRate);
  text += ',';
  text += settings.Parity < std::size(kParities) ? kParities[settings.Parity] : 'N';
  text += ',';
  text += settings.ByteSize >= 4 && settings.ByteSize <= 8 ? static_cast<char>('0' + settings.ByteSize) : '8';
  text += settings.StopBits == 1 ? ",1.5" : settings.StopBits == 2 ? ",2" : ",1";
}

std::int16_t FindPort(const mPortText& table, std::int16_t port) {
  for (std::int16_t row = 0; row < table.PortCount; ++row)
    if (table.PortTable[row].Number == port) return row;
  return -1;
}

}  // namespace halden
