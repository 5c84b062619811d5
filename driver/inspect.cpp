#include "driver/inspect.h"

#include "link/cFTDI.h"
#include "link/port_table.h"

namespace halden {
namespace {

void DescribePort(Platform& platform, std::int32_t number, ListedDevice& device) {
  tPortInfo row;
  row.Name = "COM" + std::to_string(number);
  row.DevicePath = R"(\\.\)" + row.Name;
  device.line_is_fallback = !GetPortConfig(platform.comm_config, row);
  device.com_name = row.Name;
  device.line = row.ConfigText;
}

}  // namespace

std::vector<ListedDevice> ListDevices(Platform& platform) {
  cFTDI library(platform.d2xx, platform.clock);
  std::vector<ListedDevice> devices(static_cast<std::size_t>(library.ListCount()));
  for (std::int32_t index = 0; index < library.ListCount(); ++index) {
    ListedDevice& device = devices[static_cast<std::size_t>(index)];
    device.chip = library.ListTypeName(index);
    device.serial = platform.number_rules.AnsiToUtf8(library.ListSerialNumber(index));
    device.description = platform.number_rules.AnsiToUtf8(library.ListDescription(index));
    if (!library.Open(index)) continue;
    DescribePort(platform, library.ComPortNumber(), device);
    library.Close();
  }
  return devices;
}

}  // namespace halden
