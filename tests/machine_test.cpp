#include "platform/machine.h"

#include <gtest/gtest.h>

#include "tests/pty.h"

namespace halden {
namespace {

TEST(OpenMachine, ListsDevicesOfAllKindsInTheOrderGiven) {
  Pty pty;
  std::string error;
  const auto machine =
      OpenMachine({.devices = {"tty:" + pty.path(), "sim:com=7", "tty:/dev/no-such"}}, &error);
  ASSERT_TRUE(machine) << error;
  D2xx& d2xx = machine->platform().d2xx;
  std::int32_t count = 0;
  ASSERT_EQ(d2xx.FT_CreateDeviceInfoList(&count), FT_OK);
  EXPECT_EQ(count, 3);
  const std::int32_t wanted[] = {std::stoi(pty.path().substr(9)) + 1, 7};
  for (const std::int32_t index : {0, 1}) {
    FT_HANDLE handle = -1;
    std::int32_t com = 0;
    ASSERT_EQ(d2xx.FT_Open(index, &handle), FT_OK);
    EXPECT_EQ(d2xx.FT_GetComPortNumber(handle, &com), FT_OK);
    EXPECT_EQ(com, wanted[index]);
    EXPECT_EQ(d2xx.FT_Close(handle), FT_OK);
  }
  FT_HANDLE handle = -1;
  EXPECT_NE(d2xx.FT_Open(2, &handle), FT_OK);
  EXPECT_EQ(machine->OpenFailures(), (std::vector<std::string>{"", "", "/dev/no-such: no such file"}));
}

TEST(OpenMachine, NamesTheOptionAtFault) {
  for (const std::string option :
       {"tty:", "d2xx", "usb", "replay:/no/such/file", "tty:/dev/ttyUSB0,baud=0"}) {
    std::string error;
    EXPECT_FALSE(OpenMachine({.devices = {"sim", option}}, &error)) << option;
    EXPECT_NE(error.find(option.substr(0, 4)), std::string::npos) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
  }
}

}  // namespace
}  // namespace halden
