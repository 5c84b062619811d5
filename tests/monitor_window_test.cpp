#include "ui/monitor_window.h"

#include <gtest/gtest.h>

#include "tests/faulty_platform.h"
#include "tests/form_machine.h"

using namespace halden;
using namespace halden::user;

namespace {

using Texts = std::vector<std::string>;

struct Monitor {
  Monitor() { window.Load("Halden-Text"); }
  /// Notes the texts of the boxes, the caption and the focus when it is reached.
  UserStep Note() {
    return Do([this](MemoryWindow& shown) {
      seen.push_back(shown.Spec().caption + "|" + shown.Text(0) + "|" + shown.Text(1) + "|" + shown.Text(2));
      focus.push_back(shown.Control(shown.Focus()).spec.name);
    });
  }

  FormMachine machine{RussianMachine()};
  FaultyPlatform watched{machine.platform};
  MonitorWindow window{watched.platform};
  Texts seen, focus;
};

}  // namespace

TEST(MonitorWindow, ShowsStartingTextsUntilWritten) {
  Monitor monitor;
  MonitorWindow& window = monitor.window;
  const UserStep note = monitor.Note();
  monitor.machine.script.Play({note, Tab(), note, Tab(), note, Escape(), note, Escape(), note});
  EXPECT_TRUE(window.ShowModal());
  EXPECT_EQ(monitor.focus, (Texts{"cmdClose", "txtValue", "cmdClose"}));
  window.ShowInfo("Port: COM5\r\nFT232R  A1");
  window.ShowValue("\xC0;1");
  EXPECT_TRUE(window.ShowModal());
  window.Unload();
  window.ShowValue("not loaded");
  EXPECT_FALSE(window.ShowModal());
  monitor.watched.faults.fails = [](const std::string& call) { return call == "LoadText"; };
  window.Load("Halden-Text");
  EXPECT_TRUE(window.ShowModal());
  const std::string head = "Настройки Halden-Text (v3.2.2)|Закрыть|";
  monitor.seen.erase(monitor.seen.begin(), monitor.seen.begin() + 2);
  EXPECT_EQ(monitor.seen, (Texts{head + "Port:\r\nFTDI\r\n|0", head + "Port: COM5\r\nFT232R  A1|А;1",
                                 " (v3.2.2)|Close|Port:\r\nFTDI\r\n|0"}));
}

TEST(MonitorWindow, IsHiddenByEachWayToCloseIt) {
  Monitor monitor;
  int ticks = 0;
  const auto timer = monitor.machine.sim.clock().NewTimer(50, [&] {
    EXPECT_TRUE(monitor.window.Visible());
    EXPECT_FALSE(monitor.window.ShowModal()) << "shown already";
    ++ticks;
  });
  timer->Enable(true);
  for (const UserStep& close : {Enter(), Escape(), CloseBox(), Press("cmdClose")}) {
    monitor.machine.script.Play({Wait(99), GoTo("txtValue"), close});
    EXPECT_TRUE(monitor.window.ShowModal());
    EXPECT_FALSE(monitor.window.Visible());
    EXPECT_EQ(monitor.machine.script.TakeLog(),
              (Texts{"show dlgFTDI", "topmost", "not topmost", "hide dlgFTDI"}));
  }
  EXPECT_EQ(ticks, 8);
  monitor.machine.script.SetCanShow(false);
  EXPECT_FALSE(monitor.window.ShowModal());
  monitor.machine.script.SetHasRoom(false);
  monitor.window.Load("Halden-Text");
  EXPECT_FALSE(monitor.window.ShowModal());
}
