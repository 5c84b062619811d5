#include "ui/monitor_window.h"

#include <gtest/gtest.h>

#include "tests/form_machine.h"

using namespace halden;
using namespace halden::user;

namespace {

using Texts = std::vector<std::string>;

/// Notes the texts of the boxes and the caption when it is reached.
UserStep Note(Texts* texts) {
  return Do([=](MemoryWindow& window) {
    texts->push_back(window.Spec().caption + "|" + window.Text(0) + "|" + window.Text(1) + "|" +
                     window.Text(2));
  });
}

}  // namespace

TEST(MonitorWindow, ShowsStartingTextsUntilWritten) {
  FormMachine machine(RussianMachine());
  MonitorWindow window(machine.platform);
  window.Load("Halden-Text");
  Texts seen;
  machine.script.Play({Note(&seen), Escape(), Note(&seen), Escape(), Note(&seen)});
  EXPECT_TRUE(window.ShowModal());
  window.ShowInfo("Port: COM5\r\nFT232R  A1");
  window.ShowValue("\xC0;1");
  EXPECT_TRUE(window.ShowModal());
  window.Unload();
  EXPECT_FALSE(window.ShowModal());
  window.Load("Halden-Text");
  EXPECT_TRUE(window.ShowModal());
  const std::string head = "Настройки Halden-Text (v3.2.2)|Закрыть|";
  EXPECT_EQ(seen, (Texts{head + "Port:\r\nFTDI\r\n|0", head + "Port: COM5\r\nFT232R  A1|А;1",
                         head + "Port:\r\nFTDI\r\n|0"}));
}

TEST(MonitorWindow, IsHiddenByEachWayToCloseIt) {
  FormMachine machine;
  MonitorWindow window(machine.platform);
  window.Load("Halden-Text");
  int ticks = 0;
  const auto timer = machine.sim.clock().NewTimer(50, [&] {
    EXPECT_TRUE(window.Visible());
    EXPECT_FALSE(window.ShowModal()) << "shown already";
    ++ticks;
  });
  timer->Enable(true);
  for (const UserStep& close : {Enter(), Escape(), CloseBox(), Press("cmdClose")}) {
    machine.script.Play({Wait(99), GoTo("txtValue"), close});
    EXPECT_FALSE(window.Visible());
    EXPECT_TRUE(window.ShowModal());
    EXPECT_FALSE(window.Visible());
    EXPECT_EQ(machine.script.TakeLog(), (Texts{"show dlgFTDI", "topmost", "not topmost", "hide dlgFTDI"}));
  }
  EXPECT_EQ(ticks, 8);
}

TEST(MonitorWindow, LeavesTheInfoBoxOutOfTheTabOrder) {
  FormMachine machine;
  MonitorWindow window(machine.platform);
  window.Load("Halden-Text");
  Texts focus;
  const UserStep note =
      Do([&](MemoryWindow& shown) { focus.push_back(shown.Control(shown.Focus()).spec.name); });
  machine.script.Play({note, Tab(), note, Tab(), note});
  window.ShowModal();
  EXPECT_EQ(focus, (Texts{"cmdClose", "txtValue", "cmdClose"}));
}

TEST(MonitorWindow, DoesNothingWhereItCannotBeShown) {
  FormMachine machine;
  MonitorWindow window(machine.platform);
  window.ShowValue("not loaded");
  EXPECT_FALSE(window.ShowModal());
  machine.script.SetCanShow(false);
  window.Load("Halden-Text");
  EXPECT_FALSE(window.ShowModal());
  EXPECT_FALSE(window.Visible());
  window.Unload();
  machine.script.SetHasRoom(false);
  window.Load("Halden-Text");
  window.ShowInfo("no room");
  EXPECT_FALSE(window.ShowModal());
  window.Unload();
}

TEST(MonitorWindow, KeepsTheDesignsTextsWhereTextsAreMissing) {
  class NoTexts : public CommonTexts {
   public:
    NoTexts() : CommonTexts(TextLanguage::kRussian, 0x0409) {}
    std::optional<std::string> LoadText(std::uint32_t) override { return std::nullopt; }
  } texts;
  FormMachine machine;
  const Platform& all = machine.platform;
  Platform platform{all.d2xx, all.comm_config, all.registry, all.clock, all.number_rules, texts, all.toolkit};
  MonitorWindow window(platform);
  window.Load("Halden-Text");
  Texts seen;
  machine.script.Play({Note(&seen)});
  window.ShowModal();
  EXPECT_EQ(seen, (Texts{" (v3.2.2)|Close|Port:\r\nFTDI\r\n|0"}));
}
