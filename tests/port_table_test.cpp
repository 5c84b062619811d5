#include "link/port_table.h"

#include <gtest/gtest.h>

#include "platform/sim/sim_platform.h"
#include "tests/faulty_platform.h"

namespace halden {
namespace {

TEST(GetPortConfig, TakesTheDefaultThenThePortThenTheFallback) {
  const struct {
    std::string name, failing;  ///< the calls that fail
    Faults::Kind kind;          ///< what happens to the call that asks for the size
    std::int64_t size;
    std::string text;  ///< empty: the fallback
  } cases[] = {{"COM5", "", Faults::kFails, 0, "4800,N,8,1"},
               {"COM5", "", Faults::kSilent, 0, "4800,N,8,1"},
               {"COM5", "", Faults::kLies, 4000, "4800,N,8,1"},  // a provider with data of its own behind
               {"COM5", "", Faults::kLies, -1, "4800,N,8,1"},
               {"COM5", "GetDefaultCommConfigA", Faults::kFails, 0, "1200,N,8,1"},
               {"COM5", "GetDefaultCommConfigA GetCommConfig", Faults::kFails, 0, ""},
               {"COM5", "GetDefaultCommConfigA CreateFileA", Faults::kFails, 0, ""},
               {"COM6", "", Faults::kFails, 0, ""}};
  for (const auto& c : cases) {
    SimPlatform sim({"sim:com=5,baud=1200"});
    sim.device(0).SetDefaultLine({.BaudRate = 4800, .ByteSize = 8});
    Faults faults;
    FaultyCommConfig system(sim.library(), faults);
    faults.lie = c.size;
    faults.fails = [&](const std::string& call) { return c.failing.find(call) != c.failing.npos; };
    faults.Arm(c.failing.empty(), false, c.kind);
    tPortInfo row;
    row.Name = c.name;
    row.DevicePath = "\\\\.\\" + c.name;
    row.Config.dcb.Parity = row.Config.dcb.StopBits = 2;
    EXPECT_EQ(GetPortConfig(system, row), !c.text.empty());
    EXPECT_EQ(row.ConfigText, c.text.empty() ? "9600,N,8,1" : c.text);
    const Dcb& line = row.Config.dcb;
    EXPECT_EQ(std::to_string(line.BaudRate) + ",N,8,1", row.ConfigText);
    EXPECT_EQ(line.Parity + 10 * line.ByteSize + line.StopBits, 80);
    EXPECT_EQ(faults.OpenHandles() + faults.WrongCloses(), 0u);
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
  for (const auto& [baud, parity, bits, stop, text] : cases) {
    tPortInfo row;
    row.Config.dcb = {.BaudRate = baud, .ByteSize = bits, .Parity = parity, .StopBits = stop};
    FormatPortConfig(row);
    EXPECT_EQ(row.ConfigText, text);
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
