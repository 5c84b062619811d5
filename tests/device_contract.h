#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "platform/devices/device_library.h"

namespace halden {

/// Two devices of one kind that say nothing by themselves, each with a COM number, behind a library.
class DevicesUnderTest {
 public:
  virtual ~DevicesUnderTest() = default;
  virtual DeviceLibrary& library() = 0;
  /// Lets the open device at this place of the list say `bytes` and returns when they have arrived.
  virtual void Say(std::size_t index, const std::string& bytes) = 0;
};

/// What holds for every kind of device. A backend instantiates the suite in the file of its own tests.
class DeviceContract : public testing::TestWithParam<std::function<std::unique_ptr<DevicesUnderTest>()>> {
 protected:
  /// -1 where that fails.
  FT_HANDLE Open(std::int32_t index) {
    FT_HANDLE handle = -1;
    library_.FT_Open(index, &handle);
    return handle;
  }
  std::string ReadQueued(FT_HANDLE handle, std::uint32_t most = 4096) {
    std::string bytes(most, '\0');
    std::uint32_t read = 0;
    return library_.FT_Read(handle, bytes.data(), most, &read) == FT_OK ? bytes.substr(0, read) : "failed";
  }
  std::string PortName(FT_HANDLE handle) {
    std::int32_t number = -1;
    library_.FT_GetComPortNumber(handle, &number);
    return "COM" + std::to_string(number);
  }

  std::unique_ptr<DevicesUnderTest> devices_ = GetParam()();
  DeviceLibrary& library_ = devices_->library();
  std::int32_t listed_ = -1;
  FT_STATUS list_status_ = library_.FT_CreateDeviceInfoList(&listed_);
};

}  // namespace halden
