#include <algorithm>
#include <gtest/gtest.h>

#include "tests/faulty_platform.h"
#include "tests/port_dialog_flows.h"
#include "ui/monitor_window.h"
#include "ui/text_table.h"

using namespace halden;

namespace {

using Texts = std::vector<std::string>;

/// The forms with a user at a window in memory, on a machine of whose calls some fail.
struct Forms : FormMachine {
  using FormMachine::FormMachine;
  void Play(const std::vector<FormStep>& steps) {
    std::vector<UserStep> played;
    for (const FormStep& step : steps)
      played.push_back(user::Do([step](MemoryWindow& window) {
        MemoryUser user(window);
        step(user);
      }));
    script.Play(played);
  }
  Choice AskPort(const std::vector<FormStep>& steps, const Choice& presets = {}) {
    Play(steps);
    return Ask(dialog, presets);
  }
  /// In the system's dialog the user chooses a line rate; 0: cancels.
  void ChooseRate(std::uint32_t rate) {
    sim.library().SetLineDialog([=](const std::string&, Dcb* line) { return line->BaudRate = rate; });
  }
  void Fail(const std::string& failing) {
    watched.faults.fails = [=](const std::string& call) { return call == failing; };
  }

  FaultyPlatform watched{platform};
  dlgPort dialog{store, watched.platform};
  MonitorWindow monitor{watched.platform};
};

TEST(PortDialog, RunsItsFlowsInMemory) {
  for (const Flows& all : {PresetFlows(), CommaFlows(), BadRateFlows()})
    for (const Flow& flow : all.flows) {
      SCOPED_TRACE(flow.name);
      Forms forms(all.machine);
      EXPECT_EQ(forms.AskPort(flow.steps, flow.presets), flow.expected);
      const Texts& log = forms.script.Log();
      EXPECT_EQ(std::count(log.begin(), log.end(),
                           "message Halden-Text Driver: The \"Rate\" value must be positive number!"),
                flow.messages);
      EXPECT_EQ(log.back() == "pointer 11", flow.expected.ok);
    }
}

TEST(PortDialog, FollowsThePortsConfiguration) {
  Forms forms;
  const auto stored = [&](std::uint32_t rate) {
    return Do([&forms, rate] { forms.sim.device(2).SetDefaultLine({.BaudRate = rate, .ByteSize = 8}); });
  };
  forms.ChooseRate(57600);
  forms.AskPort({SeePort(0, "COM5\t9600,N,8,1"), SeeConfig("&Properties COM5...", true),
                 PickRow("lstPort", 1), SeePort(1, "\t"), SeeConfig("&Properties ...", false), stored(1200),
                 PickRow("lstPort", 2), SeePort(2, "COM12\t1200,N,8,1"),
                 SeeConfig("&Properties COM12...", true), AccessKey('P'), SeePort(2, "COM12\t57600,N,8,1"),
                 PickRow("lstPort", 2), SeePort(2, "COM12\t57600,N,8,1"), Press("cmdCancel")});
  EXPECT_EQ(forms.store.PortTable[2].Config.dcb.BaudRate, 57600u);
}

TEST(PortDialog, ShowsWhatTheSystemWouldNotStoreUntilTheNextClick) {
  Forms forms;
  forms.ChooseRate(57600);
  forms.Fail("SetDefaultCommConfigA");
  forms.AskPort({AccessKey('p'), SeePort(0, "COM5\t57600,N,8,1"), PickRow("lstPort", 0),
                 SeePort(0, "COM5\t9600,N,8,1"), Do([&] { forms.ChooseRate(0); }), AccessKey('p'),
                 SeePort(0, "COM5\t9600,N,8,1"), Press("cmdOK")});
  EXPECT_TRUE(forms.dialog.Accepted);
  EXPECT_EQ(forms.watched.faults.calls.back(), "CommConfigDialogA");
}

TEST(PortDialog, TouchesPointerAndQueueInOrderAndStartsAnewEachTime) {
  Forms forms;
  int ticks = 0;
  const auto timer = forms.sim.clock().NewTimer(1, [&] { ++ticks; });
  timer->Enable(true);
  EXPECT_EQ(forms.AskPort({PickRow("lstPort", 2), PickRow("cboCh", 4), Type("cboRate", "77"), Enter()}),
            (Choice{true, 2, 5, 77}));
  EXPECT_EQ(forms.script.TakeLog(), (Texts{"pointer 0", "show dlgPort", "hide dlgPort", "pointer 11"}));
  EXPECT_EQ(ticks, 4) << "one each pass while it is shown, and one behind it";
  forms.AskPort({SeeText("cboRate", "1"), SeeText("cboCh", "1"), SeePort(0, "COM5\t9600,N,8,1"), Escape()});
  EXPECT_FALSE(forms.dialog.Accepted);
  const Choice presets{false, 2, 3, 4};
  forms.script.SetCanShow(false);
  EXPECT_EQ(forms.AskPort({}, presets), presets);
  forms.script.SetHasRoom(false);
  EXPECT_EQ(forms.AskPort({}, presets), presets);
  forms.store.PortCount = 0;
  forms.script.TakeLog();
  ticks = 0;
  EXPECT_EQ(forms.AskPort({}, presets), presets);
  EXPECT_EQ(ticks + forms.script.Log().size(), 0u);
}

TEST(PortDialog, SpeaksTheUsersLanguageOrWhereTextsAreMissingThatOfTheDesign) {
  Forms forms(RussianMachine());
  forms.AskPort({SeeText("lblCh", "&Каналы:"), SeeText("lblRate", "&Частота (Гц):"), SeeText("cmdOK", "OK"),
                 SeeText("cmdCancel", "Отмена"), SeeText("cmdConfig", "&Свойства COM5...")});
  forms.Fail("LoadText");
  forms.AskPort({SeeText("lblCh", "N of &Channels:"), SeeText("lblRate", "&Rate (Hz):"),
                 SeeText("cmdOK", "OK"), SeeText("cmdCancel", "Cancel"),
                 SeeText("cmdConfig", "Properties COM5...")});
}

TEST(Forms, StandAsTheyWereDesigned) {
  Forms forms;
  std::string design;
  const UserStep note = user::Do([&](MemoryWindow& window) {
    design += window.Spec().name + " " + std::to_string(window.Spec().width) + " " +
              std::to_string(window.Spec().height) + "\n";
    for (int i = 0; i < window.ControlCount(); ++i) {
      const Bounds& at = window.Control(i).spec.bounds;
      design += window.Control(i).spec.name;
      for (const int twips : {at.left, at.top, at.width, at.height}) design += " " + std::to_string(twips);
      design += "\n";
    }
  });
  forms.script.Play({note});
  Ask(forms.dialog, {});
  forms.monitor.Load("");
  forms.script.Play({note});
  forms.monitor.ShowModal();
  EXPECT_EQ(design,
            "dlgPort 2745 3015\nlblCh 150 1620 1050 195\ncboCh 1260 1560 1365 315\nlblRate 480 2055 720 195\n"
            "cboRate 1260 2010 1365 315\ncmdOK 120 2475 1185 405\ncmdCancel 1440 2490 1155 375\n"
            "cmdConfig 150 1020 2445 375\nlstPort 120 120 2505 840\n"
            "dlgFTDI 6060 1650\ncmdClose 2280 1080 1500 420\ntxtInfo 1268 90 3525 435\n"
            "txtValue 173 570 5715 360\n");
}

TEST(MonitorWindow, ShowsStartingTextsUntilWritten) {
  Forms forms(RussianMachine());
  const auto see = [&](const std::string& button, const std::string& info, const std::string& value) {
    forms.Play({SeeText("cmdClose", button), SeeText("txtInfo", info), SeeText("txtValue", value)});
    EXPECT_TRUE(forms.monitor.ShowModal());
  };
  forms.monitor.Load("Halden-Text");
  see("Закрыть", "Port:\r\nFTDI\r\n", "0");
  forms.monitor.ShowInfo("Port: COM5\r\nFT232R  A1");
  forms.monitor.ShowValue("\xC0;1");
  see("Закрыть", "Port: COM5\r\nFT232R  A1", "А;1");
  forms.monitor.Unload();
  forms.monitor.ShowValue("not loaded");
  EXPECT_FALSE(forms.monitor.ShowModal());
  forms.Fail("LoadText");
  forms.monitor.Load("Halden-Text");
  see("Close", "Port:\r\nFTDI\r\n", "0");
}

TEST(MonitorWindow, IsHiddenByEachWayToCloseIt) {
  Forms forms;
  forms.monitor.Load("Halden-Text");
  int ticks = 0;
  const auto timer = forms.sim.clock().NewTimer(1, [&] {
    EXPECT_TRUE(forms.monitor.Visible());
    EXPECT_FALSE(forms.monitor.ShowModal()) << "shown already";
    ++ticks;
  });
  timer->Enable(true);
  for (const FormStep& close : {Enter(), Escape(), CloseBox(), Press("cmdClose")}) {
    forms.Play({SeeFocus("cmdClose"), Tab(), SeeFocus("txtValue"), Tab(), SeeFocus("cmdClose"), close});
    EXPECT_TRUE(forms.monitor.ShowModal());
    EXPECT_FALSE(forms.monitor.Visible());
    EXPECT_EQ(forms.script.TakeLog(), (Texts{"show dlgFTDI", "topmost", "not topmost", "hide dlgFTDI"}));
  }
  EXPECT_EQ(ticks, 4 * 5) << "one each pass, and none behind the last step";
  forms.script.SetCanShow(false);
  EXPECT_FALSE(forms.monitor.ShowModal());
  forms.script.SetHasRoom(false);
  forms.monitor.Load("Halden-Text");
  EXPECT_FALSE(forms.monitor.ShowModal());
}

TEST(TextTable, FillsInArguments) {
  Forms forms(RussianMachine());
  const TextTable table(forms.watched.platform.texts, forms.watched.platform.number_rules);
  const auto format = [&](const std::string& text, const std::string& first) {
    return table.FormatResText(text, first, "б", "", "г", "д");
  };
  EXPECT_EQ(table.LoadResFormat(50, "Halden-Text"), "Настройки Halden-Text");
  EXPECT_EQ(table.LoadResFormat(23, "x"), "");
  EXPECT_EQ(format("%1 Setup", ""), " Setup");
  EXPECT_EQ(format("%1", "x"), "x");
  EXPECT_EQ(format("%5%4%3%2%1", "а"), "дгба");
  EXPECT_EQ(format("%1%1%1", std::string(19, 'x')), std::string(57, 'x')) << "all that there is room for";
  EXPECT_EQ(format("%1%1%1", std::string(20, 'x')), "111");
  forms.Fail("FormatMessageA");
  EXPECT_EQ(format("%1 Настр%2", "x"), "1 Настр2");
  forms.watched.faults.calls.clear();
  EXPECT_EQ(format("&Каналы:", "x"), "&Каналы:");
  EXPECT_TRUE(forms.watched.faults.calls.empty());
}

TEST(TextTable, GivesRussianSystemsTheirCharacterSet) {
  const struct {
    std::uint16_t system_language;
    std::uint8_t before, form, control;
  } rows[] = {{0x0419, 0, 204, 204},
              {0x7419, 0, 204, 204},
              {0x0819, 0, 0, 1},
              {0x0409, 0, 0, 1},
              {0x0419, 204, 204, 1}};
  for (const auto& [language, before, form, control] : rows) {
    Forms forms({.language = TextLanguage::kRussian, .system_language = language});
    const auto window = forms.script.NewWindow({.controls = {{}, {}}});
    window->SetFontCharset(Window::kForm, before);
    for (const int each : {0, 1}) window->SetFontCharset(each, 1);
    SetFormCharset(*window, forms.platform.texts);
    EXPECT_EQ(window->FontCharset(Window::kForm), form);
    for (const int each : {0, 1}) EXPECT_EQ(window->FontCharset(each), control);
  }
}

}  // namespace
