#include "link/port_table.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace halden {

namespace {

/// A configuration, with room for one of the size that the system asks for. A provider may want more than a
/// row holds; what is beyond that is dropped here, because the line settings stand at the front.
class ConfigRoom {
 public:
  explicit ConfigRoom(const CommConfig& config) { std::memcpy(block_.data(), &config, sizeof config); }
  /// The size that the system asks for.
  void Ask(CommConfigApi& system, const std::string& name) {
    system.GetDefaultCommConfigA(name, data(), size());
    if (size_ == 0) size_ = sizeof(CommConfig);
  }
  void* data() { return block_.data(); }
  /// What the next call is given: the one before may have asked for more than there is.
  std::uint32_t* size() {
    size_ = std::min(size_, kMost);
    return &size_;
  }
  void CopyTo(CommConfig& config) const { std::memcpy(&config, block_.data(), sizeof config); }

 private:
  static constexpr std::uint32_t kMost = 65536;
  std::uint32_t size_ = 0;
  std::vector<std::uint8_t> block_ = std::vector<std::uint8_t>(kMost);
};

bool AskPort(CommConfigApi& system, tPortInfo& row, ConfigRoom& room) {
  const CommHandle port = system.CreateFileA(row.DevicePath);
  if (port == -1) return false;
  room.Ask(system, row.Name);
  const bool known = system.GetCommConfig(port, room.data(), room.size());
  system.CloseHandle(port);
  return known;
}

}  // namespace

void NamePort(tPortInfo& row, std::int32_t number) {
  row.Number = static_cast<std::int16_t>(number);
  if (row.Number != number) row.Number = 0;
  row.Name = "COM" + std::to_string(row.Number);
  row.DevicePath = R"(\\.\)" + row.Name;
}

bool GetPortConfig(CommConfigApi& system, tPortInfo& row) {
  ConfigRoom room(row.Config);
  room.Ask(system, row.Name);
  const bool known =
      system.GetDefaultCommConfigA(row.Name, room.data(), room.size()) || AskPort(system, row, room);
  room.CopyTo(row.Config);
  if (known) {
    FormatPortConfig(row);
    return true;
  }
  row.ConfigText = "9600,N,8,1";
  row.Config.dcb.BaudRate = 9600;
  row.Config.dcb.Parity = 0;
  row.Config.dcb.ByteSize = 8;
  row.Config.dcb.StopBits = 0;
  return false;
}

void FormatPortConfig(tPortInfo& row) {
  constexpr char kParities[] = {'N', 'O', 'E', 'M', 'S'};
  const Dcb& line = row.Config.dcb;
  std::string& text = row.ConfigText;
  text = std::to_string(line.BaudRate);
  text += ',';
  text += line.Parity < std::size(kParities) ? kParities[line.Parity] : 'N';
  text += ',';
  text += line.ByteSize >= 4 && line.ByteSize <= 8 ? static_cast<char>('0' + line.ByteSize) : '8';
  text += line.StopBits == 1 ? ",1.5" : line.StopBits == 2 ? ",2" : ",1";
}

std::int16_t FindPort(const mPortText& table, std::int16_t port) {
  for (std::int16_t row = 0; row < table.PortCount; ++row)
    if (table.PortTable[row].Number == port) return row;
  return -1;
}

}  // namespace halden
