#include <algorithm>
#include <gtest/gtest.h>

#include "tests/faulty_platform.h"
#include "tests/port_dialog_flows.h"
#include "ui/monitor_window.h"
#include "ui/text_table.h"

using namespace halden;

namespace {

using Texts = std::vector<std::string>;

/// The forms on windows in memory, with a scripted user, on a platform where some calls fail.
struct Forms : FormFixture {
  using FormFixture::FormFixture;

  Choice AskPort(const std::vector<FormStep>& steps, const Choice& presets = {}) {
    script.Play(steps);
    return Ask(dialog, presets);
  }
  /// Makes the user choose a baud rate in the system's dialog; 0: cancel it.
  void ChooseRate(std::uint32_t rate) {
    sim.library().SetLineSettingsDialog([=](const std::string&, Dcb* line) { return line->BaudRate = rate; });
  }

  ScriptedToolkit& script = sim.toolkit();
  FaultyPlatform watched{sim.platform()};
  dlgPort dialog{store, watched.platform};
  MonitorWindow monitor{watched.platform};
};

TEST(PortDialog, RunsItsFlowsInMemory) {
  for (const Flow& flow : PortDialogFlows()) {
    SCOPED_TRACE(flow.name);
    Forms forms(flow.machine);
    EXPECT_EQ(forms.AskPort(flow.steps, flow.presets), flow.expected);
    const Texts log = forms.script.TakeLog();
    EXPECT_EQ(std::count(log.begin(), log.end(),
                         "message Halden-Text Driver: The \"Rate\" value must be positive number!"),
              flow.messages);
  }
}

TEST(PortDialog, FollowsThePortsConfiguration) {
  Forms forms({.system_language = 0x0819});
  const FormStep see_charset = Do([](MemoryWindow& window) { EXPECT_EQ(window.FontCharset(0), 0); });
  const auto see_rate = [](const std::string& rate) {
    return SeeText("lstPort", "COM12\t" + rate + ",N,8,1");
  };
  const FormStep again = PickRow("lstPort", 2), edit = AccessKey('P');
  forms.ChooseRate(57600);
  forms.AskPort({see_charset, SeeText("lstPort", "COM5\t9600,N,8,1"),
                 SeeText("cmdConfig", "&Properties COM5..."), PickRow("lstPort", 1), SeeText("lstPort", "\t"),
                 SeeText("cmdConfig", "&Properties ..."), edit, SeeFocus("lstPort"), again, see_rate("19200"),
                 edit, see_rate("57600"), again, see_rate("57600")});
  forms.ChooseRate(0);
  forms.AskPort({again, see_rate("57600"), edit, see_rate("57600"), Enter()});
  EXPECT_EQ(forms.store.PortTable[2].Config.dcb.BaudRate, 57600u);
  EXPECT_EQ(forms.watched.faults.calls.back(), "CommConfigDialogA") << "and stores nothing";
}

TEST(PortDialog, BadRateSelectsAllButTheFirstCharacter) {
  Forms forms;
  const FormStep type_digit =
      Do([](MemoryWindow& window) { window.Edit([](EditText& edit) { edit.Insert(U"0"); }); });
  EXPECT_EQ(forms.AskPort({Type("cboRate", "5 x"), Enter(), type_digit, SeeText("cboRate", "50"), Enter()}),
            (Choice{true, 0, 1, 50}));
}

TEST(PortDialog, CancellingForgetsTheRowThatWasSelectedAtFirst) {
  Forms forms;
  forms.AskPort({Escape()}, {false, 2, 1, 1});
  EXPECT_EQ(forms.dialog.SelectedRow, -1);
}

TEST(PortDialog, SetsPointerAndServesQueueInOrderAndStartsFreshEachTime) {
  Forms forms;
  EXPECT_EQ(forms.AskPort({PickRow("lstPort", 2), PickRow("cboCh", 4), Type("cboRate", "77"), Enter()}),
            (Choice{true, 2, 5, 77}));
  EXPECT_EQ(forms.script.TakeLog(), (Texts{"pointer 0", "show dlgPort", "hide dlgPort", "pointer 11"}));
  EXPECT_EQ(forms.sim.clock().GetTickCount(), 4u)
      << "a pass after each step, and one when the dialog is closed";
  EXPECT_EQ(forms.AskPort({SeeText("cboRate", "1"), SeeText("cboCh", "1"), Enter()}),
            (Choice{true, 0, 1, 1}));
  const Choice presets{false, 2, 3, 4};
  EXPECT_EQ(forms.AskPort({PickRow("lstPort", 1), Escape()}, presets), presets);
  forms.script.SetCanShow(false);
  EXPECT_EQ(forms.AskPort({}, presets), presets);
  forms.store.PortCount = 0;
  forms.script.TakeLog();
  EXPECT_EQ(forms.AskPort({}, presets), presets);
  EXPECT_TRUE(forms.script.Log().empty());
}

TEST(Forms, KeepTheirEnglishTextsIfNoneCanBeLoaded) {
  Forms forms({.system_language = 0x7419});
  forms.watched.faults.fails = [](const std::string& call) { return call == "LoadText"; };
  std::string texts;
  const FormStep note = Do([&](MemoryWindow& window) {
    texts += window.Layout().caption;
    for (int i = 0; i < window.ControlCount(); ++i) {
      texts += "|" + window.Text(i);
      EXPECT_EQ(window.FontCharset(i), 204) << "Cyrillic, as the system is Russian";
    }
    window.SetFontCharset(0, 1);
    SetFormCharset(window, forms.sim.platform().texts);
    EXPECT_EQ(window.FontCharset(0), 1) << "the form has the character set already";
  });
  forms.AskPort({note});
  EXPECT_EQ(texts, "Select Port|N of &Channels:|1|&Rate (Hz):|1|OK|Cancel|Properties COM5...|");
  texts.clear();
  forms.monitor.Load("");
  forms.script.Play({note});
  EXPECT_TRUE(forms.monitor.ShowModal());
  EXPECT_EQ(texts, " (v3.2.2)|Close|Port:\r\nFTDI\r\n|0");
}

TEST(MonitorWindow, ShowsWhatIsWrittenAndIsHiddenByEachWayToCloseIt) {
  Forms forms(RussianOptions());
  forms.monitor.Load("Halden-Text");
  forms.monitor.ShowValue("\xC0;1");
  for (const FormStep& close : {Enter(), Escape(), CloseBox(), Press("cmdClose")}) {
    forms.script.Play({SeeText("txtValue", "А;1"), Tab(), SeeFocus("txtValue"), Tab(), close});
    EXPECT_TRUE(forms.monitor.ShowModal());
    EXPECT_EQ(forms.script.TakeLog(), (Texts{"show dlgFTDI", "topmost", "not topmost", "hide dlgFTDI"}));
  }
  forms.monitor.Unload();
  EXPECT_FALSE(forms.monitor.ShowModal());
}

TEST(TextTable, FillsInArgumentsAsLongAsThereIsRoom) {
  Forms forms(RussianOptions());
  const TextTable table(forms.watched.platform.texts, forms.watched.platform.number_rules);
  EXPECT_EQ(table.FormatResText("&Каналы:", "x", "", "", "", ""), "&Каналы:");
  EXPECT_EQ(table.FormatResText("%5%4%3%2%1", "а", "б", "", "г", "д"), "дгба");
  EXPECT_EQ(table.FormatResText("%1", "x", "", "", "", ""), "x");
  EXPECT_EQ(table.LoadResFormat(23, "x"), "") << "there is no such text";
  for (const auto& [length, expected] : {std::pair{19, std::string(57, 'x')}, {20, "111"}})
    EXPECT_EQ(table.FormatResText("%1%1%1", std::string(length, 'x'), "б", "", "г", "д"), expected);
}

}  // namespace
