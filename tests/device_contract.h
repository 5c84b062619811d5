#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "backends/devices/emulated_d2xx.h"

namespace halden {

/// Two devices of one kind, each with a COM number. They send nothing unless told to.
struct DevicesUnderTest {
  std::shared_ptr<EmulatedD2xx> library;
  /// Makes the device at this index send these bytes; it is open with this handle.
  std::function<void(std::size_t, FT_HANDLE, const std::string&)> say;
};

struct DeviceBackend {
  std::string name;
  std::function<DevicesUnderTest()> make;

  friend void PrintTo(const DeviceBackend& backend, std::ostream* out) { *out << backend.name; }
};

/// The contract of every kind of device. Each backend instantiates the suite in its own test file.
class DeviceContract : public testing::TestWithParam<DeviceBackend> {
 protected:
  void SetUp() override { ASSERT_EQ(library_.FT_CreateDeviceInfoList(&listed_), FT_OK); }
  /// -1 where that fails.
  FT_HANDLE Open(std::int32_t index) {
    FT_HANDLE handle = -1;
    library_.FT_Open(index, &handle);
    return handle;
  }
  std::string Read(FT_HANDLE handle, std::uint32_t most = 4096) {
    std::string bytes(most, '\0');
    std::uint32_t read = 0;
    return library_.FT_Read(handle, bytes.data(), most, &read) == FT_OK ? bytes.substr(0, read) : "failed";
  }
  /// Makes the device send bytes and waits until they have arrived. No bytes may be waiting before.
  void Say(std::size_t index, FT_HANDLE handle, const std::string& bytes) {
    devices_.say(index, handle, bytes);
    for (std::uint32_t count = 0; count < bytes.size();)
      ASSERT_EQ(library_.FT_GetQueueStatus(handle, &count), FT_OK);
  }
  std::string PortName(FT_HANDLE handle) {
    std::int32_t number = -1;
    library_.FT_GetComPortNumber(handle, &number);
    return "COM" + std::to_string(number);
  }

  const DevicesUnderTest devices_ = GetParam().make();
  EmulatedD2xx& library_ = *devices_.library;
  std::int32_t listed_ = -1;
};

}  // namespace halden
