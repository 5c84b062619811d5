#include "link/port_table.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace halden {

namespace {

/// Room for a configuration of the size that the system asks for. A provider may want more than a row holds;
/// what is beyond that is dropped here, because the line settings stand at the front.
class ConfigRoom {
 public:
  void Ask(CommConfigApi& system, const std::string& name) {
    system.GetDefaultCommConfigA(name, block_.data(), &size_);
    if (size_ == 0) size_ = sizeof(CommConfig);
    if (size_ > kMost) size_ = kMost;
    if (size_ > block_.size()) block_.resize(size_);
  }
  void* data() { return block_.data(); }
  std::uint32_t* size() { return &size_; }
  void CopyTo(CommConfig& config) const { std::memcpy(&config, block_.data(), sizeof config); }

 private:
  static constexpr std::uint32_t kMost = 65536;
  std::uint32_t size_ = 0;
  std::vector<std::uint8_t> block_ = std::vector<std::uint8_t>(sizeof(CommConfig));
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

bool GetPortConfig(CommConfigApi& system, tPortInfo& row) {
  ConfigRoom room;
  room.Ask(system, row.Name);
  if (system.GetDefaultCommConfigA(row.Name, room.data(), room.size()) || AskPort(system, row, room)) {
    room.CopyTo(row.Config);
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
