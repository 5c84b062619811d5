#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "platform/platform.h"

namespace halden {

/// Two devices of one kind that say nothing by themselves, each with a COM number.
class DevicesUnderTest {
 public:
  virtual ~DevicesUnderTest() = default;
  virtual Platform& platform() = 0;
  /// Lets the device at this place of the list, which is open by `handle`, say `bytes`.
  virtual void Say(std::size_t index, FT_HANDLE handle, const std::string& bytes) = 0;
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
  std::string Read(FT_HANDLE handle, std::uint32_t most = 4096) {
    std::string bytes(most, '\0');
    std::uint32_t read = 0;
    return library_.FT_Read(handle, bytes.data(), most, &read) == FT_OK ? bytes.substr(0, read) : "failed";
  }
  /// Returns when the bytes have arrived, nothing having waited before.
  void Say(std::size_t index, FT_HANDLE handle, const std::string& bytes) {
    devices_->Say(index, handle, bytes);
    for (std::uint32_t count = 0; count < bytes.size();)
      ASSERT_EQ(library_.FT_GetQueueStatus(handle, &count), FT_OK);
  }
  std::string PortName(FT_HANDLE handle) {
    std::int32_t number = -1;
    library_.FT_GetComPortNumber(handle, &number);
    return "COM" + std::to_string(number);
  }

  std::unique_ptr<DevicesUnderTest> devices_ = GetParam()();
  D2xx& library_ = devices_->platform().d2xx;
  CommConfigApi& ports_ = devices_->platform().comm_config;
  std::int32_t listed_ = -1;
  FT_STATUS list_status_ = library_.FT_CreateDeviceInfoList(&listed_);
};

}  // namespace halden
