#include "link/port_table.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace halden {

namespace {

/// Reads one port's configuration by the system's protocol: a call with too small a size fails and reports
/// the size needed, the next call uses it. The driver of a port may append data of its own to the 52 bytes
/// that a row can hold. It is read into a larger block so that it can't overwrite anything, and then dropped;
/// the line settings are in the first 52 bytes.
class ConfigReader {
 public:
  ConfigReader(CommConfigApi& system, const tPortInfo& row) : system_(system), row_(row) {
    std::memcpy(block_.data(), &row.Config, sizeof row.Config);
  }

  bool ReadDefault() {
    LearnSize();
    return CallGetDefault();
  }

  /// Opens the port itself and reads the settings that it is using.
  bool ReadOpenPort() {
    const CommHandle port = system_.CreateFileA(row_.DevicePath);
    if (port == -1) return false;
    LearnSize();
    size_ = std::min(size_, kBlockSize);
    const bool known = system_.GetCommConfig(port, block_.data(), &size_);
    system_.CloseHandle(port);
    return known;
  }

  /// The configuration read; after a failure, what the calls have left of the row's old one.
  CommConfig Result() const {
    CommConfig config;
    std::memcpy(&config, block_.data(), sizeof config);
    return config;
  }

 private:
  static constexpr std::uint32_t kBlockSize = 65536;

  /// Some systems succeed here without reporting a size: then the plain one has to do.
  void LearnSize() {
    CallGetDefault();
    if (size_ == 0) size_ = sizeof(CommConfig);
  }
  /// The call before may have asked for more than the block has.
  bool CallGetDefault() {
    size_ = std::min(size_, kBlockSize);
    return system_.GetDefaultCommConfigA(row_.Name, block_.data(), &size_);
  }

  CommConfigApi& system_;
  const tPortInfo& row_;
  std::uint32_t size_ = 0;  // room offered to the next call; afterwards what the call made of it
  std::vector<std::uint8_t> block_ = std::vector<std::uint8_t>(kBlockSize);
};

}  // namespace

void NamePort(tPortInfo& row, std::int32_t number) {
  row.Number = static_cast<std::int16_t>(number);  // a row has room for 16 bits
  if (row.Number != number) row.Number = 0;
  row.Name = "COM" + std::to_string(row.Number);
  row.DevicePath = R"(\\.\)" + row.Name;
}

bool GetPortConfig(CommConfigApi& system, tPortInfo& row) {
  ConfigReader reader(system, row);
  const bool known = reader.ReadDefault() || reader.ReadOpenPort();
  row.Config = reader.Result();
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
