#include "link/port_table.h"

#include <cstring>
#include <gtest/gtest.h>

namespace halden {
namespace {

/// A system whose answers the test sets, and that keeps to the size it is given.
struct System : CommConfigApi {
  bool GetDefaultCommConfigA(const std::string& name, void* config, std::uint32_t* size) override {
    EXPECT_EQ(name, "COM5");
    return has_default && Give(config, size);
  }
  bool SetDefaultCommConfigA(const std::string&, const void*, std::uint32_t) override { return false; }
  bool CommConfigDialogA(const std::string&, std::uintptr_t, CommConfig*) override { return false; }
  CommHandle CreateFileA(const std::string& path) override {
    if (path != "\\\\.\\COM5" || !can_open) return -1;
    ++open;
    return 3;
  }
  bool GetCommConfig(CommHandle, void* config, std::uint32_t* size) override {
    return port_answers && Give(config, size);
  }
  void CloseHandle(CommHandle port) override { open -= port == 3; }

  bool Give(void* config, std::uint32_t* size) {
    const std::uint32_t given = *size;
    if (reports_size) *size = needed;
    if (given < needed) return false;
    std::memset(config, 0xEE, needed);
    CommConfig block;
    block.dcb.BaudRate = 250000;
    block.dcb.ByteSize = 7;
    block.dcb.Parity = 2;
    block.dcb.StopBits = 2;
    std::memcpy(config, &block, sizeof block);
    return true;
  }

  bool has_default = true;
  bool reports_size = true;
  bool can_open = true;
  bool port_answers = true;
  std::uint32_t needed = sizeof(CommConfig);
  int open = 0;
};

TEST(GetPortConfig, TakesTheDefaultThenThePortThenTheFallback) {
  const struct {
    bool has_default, reports_size, can_open, port_answers;
    std::uint32_t needed;
    bool known;
  } cases[] = {
      {true, true, false, false, 52, true},          {true, false, false, false, 52, true},
      {true, true, false, false, 4000, true},  // a provider with data of its own behind the settings
      {true, true, false, false, 0xFFFFFFFF, false}, {false, false, true, true, 52, true},
      {false, false, true, false, 52, false},        {false, false, false, true, 52, false},
  };
  for (const auto& c : cases) {
    System system;
    system.has_default = c.has_default;
    system.reports_size = c.reports_size;
    system.can_open = c.can_open;
    system.port_answers = c.port_answers;
    system.needed = c.needed;
    tPortInfo row;
    row.Name = "COM5";
    row.DevicePath = "\\\\.\\COM5";
    EXPECT_EQ(GetPortConfig(system, row), c.known);
    EXPECT_EQ(row.ConfigText, c.known ? "250000,E,7,2" : "9600,N,8,1");
    EXPECT_EQ(row.Config.dcb.BaudRate, c.known ? 250000u : 9600u);
    EXPECT_EQ(row.Config.dcb.ByteSize, c.known ? 7 : 8);
    EXPECT_EQ(system.open, 0);
  }
}

TEST(FormatPortConfig, ShowsUnknownCodesAsTheUsualOnes) {
  const struct {
    std::uint32_t baud;
    std::uint8_t parity, bits, stop;
    const char* text;
  } cases[] = {{9600, 0, 8, 0, "9600,N,8,1"},
               {115200, 2, 7, 2, "115200,E,7,2"},
               {230400, 1, 8, 1, "230400,O,8,1.5"},
               {921600, 3, 5, 0, "921600,M,5,1"},
               {19200, 4, 0, 0, "19200,S,8,1"},
               {4800, 9, 9, 7, "4800,N,8,1"},
               {1, 5, 3, 3, "1,N,8,1"},
               {4294967295, 255, 4, 255, "4294967295,N,4,1"}};
  for (const auto& c : cases) {
    tPortInfo row;
    row.Config.dcb.BaudRate = c.baud;
    row.Config.dcb.Parity = c.parity;
    row.Config.dcb.ByteSize = c.bits;
    row.Config.dcb.StopBits = c.stop;
    FormatPortConfig(row);
    EXPECT_EQ(row.ConfigText, c.text);
  }
}

TEST(FindPort, GivesTheFirstRowOfTheNumber) {
  mPortText table;
  EXPECT_EQ(FindPort(table, 0), -1);
  table.PortTable.resize(4);
  table.PortCount = 4;
  table.PortTable[1].Number = table.PortTable[2].Number = 5;
  EXPECT_EQ(FindPort(table, 5), 1);
  EXPECT_EQ(FindPort(table, 0), 0);
  EXPECT_EQ(FindPort(table, 6), -1);
}

}  // namespace
}  // namespace halden
