#include <algorithm>
#include <gtest/gtest.h>

#include "tests/faulty_platform.h"
#include "tests/port_dialog_flows.h"

using namespace halden;

namespace {

using Texts = std::vector<std::string>;

/// The dialog with a user on a window in memory.
struct AskedDialog {
  explicit AskedDialog(SimMachine kind = {}) : machine(kind) {}
  Choice Play(const std::vector<FormStep>& steps, const Choice& presets = {}) {
    std::vector<UserStep> played;
    for (const FormStep& step : steps)
      played.push_back(user::Do([step](MemoryWindow& window) {
        MemoryUser user(window);
        step(user);
      }));
    machine.script.Play(played);
    return Ask(dialog, presets);
  }
  /// In the system's dialog the user chooses a line rate; 0: cancels.
  void ChooseRate(std::uint32_t rate) {
    machine.sim.library().SetLineDialog([=](const std::string&, Dcb* line) { return line->BaudRate = rate; });
  }
  void Fail(const std::string& failing) {
    watched.faults.fails = [=](const std::string& call) { return call == failing; };
  }

  FormMachine machine;
  FaultyPlatform watched{machine.platform};
  dlgPort dialog{machine.store, watched.platform};
};

}  // namespace

TEST(PortDialog, RunsItsFlowsInMemory) {
  for (const Flows& all : {PresetFlows(), CommaFlows(), BadRateFlows()})
    for (const Flow& flow : all.flows) {
      SCOPED_TRACE(flow.name);
      AskedDialog asked(all.machine);
      EXPECT_EQ(asked.Play(flow.steps, flow.presets), flow.expected);
      const Texts& log = asked.machine.script.Log();
      EXPECT_EQ(std::count(log.begin(), log.end(),
                           "message Halden-Text Driver: The \"Rate\" value must be positive number!"),
                flow.messages);
      EXPECT_EQ(log.back() == "pointer 11", flow.expected.ok);
    }
}

TEST(PortDialog, FollowsThePortsConfiguration) {
  AskedDialog asked;
  PacedDevice& third = asked.machine.sim.device(2);
  asked.ChooseRate(57600);
  asked.Play({SeePort(0, "COM5\t9600,N,8,1"), SeeConfig("&Properties COM5...", true), PickRow("lstPort", 1),
              SeePort(1, "\t"), SeeConfig("&Properties ...", false),
              Do([&] { third.SetDefaultLine({.BaudRate = 1200, .ByteSize = 8}); }), PickRow("lstPort", 2),
              SeePort(2, "COM12\t1200,N,8,1"), SeeConfig("&Properties COM12...", true), AccessKey('P'),
              SeePort(2, "COM12\t57600,N,8,1"), Press("cmdCancel")});
  EXPECT_EQ(asked.machine.store.PortTable[2].Config.dcb.BaudRate, 57600u);
  Dcb line;
  EXPECT_TRUE(third.GetDefaultLine(&line));
  EXPECT_EQ(line.BaudRate, 57600u);
}

TEST(PortDialog, ShowsWhatTheSystemWouldNotStoreUntilTheNextClick) {
  AskedDialog asked;
  asked.ChooseRate(57600);
  asked.Fail("SetDefaultCommConfigA");
  asked.Play({AccessKey('p'), SeePort(0, "COM5\t57600,N,8,1"), PickRow("lstPort", 0),
              SeePort(0, "COM5\t9600,N,8,1"), Do([&] { asked.ChooseRate(0); }), AccessKey('p'),
              SeePort(0, "COM5\t9600,N,8,1"), Press("cmdOK")});
  EXPECT_TRUE(asked.dialog.Accepted);
  EXPECT_EQ(asked.watched.faults.calls.back(), "CommConfigDialogA");
}

TEST(PortDialog, TouchesPointerAndQueueInOrderAndStartsAnewEachTime) {
  AskedDialog asked;
  ScriptedToolkit& script = asked.machine.script;
  int ticks = 0;
  const auto timer = asked.machine.sim.clock().NewTimer(1, [&] { ++ticks; });
  timer->Enable(true);
  EXPECT_EQ(asked.Play({PickRow("lstPort", 2), PickRow("cboCh", 4), Type("cboRate", "77"), Enter()}),
            (Choice{true, 2, 5, 77}));
  EXPECT_EQ(script.TakeLog(), (Texts{"pointer 0", "show dlgPort", "hide dlgPort", "pointer 11"}));
  EXPECT_EQ(ticks, 4) << "one each pass while it is shown, and one behind it";
  asked.Play({SeeText("cboRate", "1"), SeeText("cboCh", "1"), SeePort(0, "COM5\t9600,N,8,1"), Escape()});
  EXPECT_FALSE(asked.dialog.Accepted);
  script.SetCanShow(false);
  const Choice presets{false, 2, 3, 4};
  EXPECT_EQ(Ask(asked.dialog, presets), presets);
  script.SetHasRoom(false);
  EXPECT_EQ(Ask(asked.dialog, presets), presets);
  asked.machine.store.PortCount = 0;
  script.TakeLog();
  ticks = 0;
  EXPECT_EQ(Ask(asked.dialog, presets), presets);
  EXPECT_EQ(ticks + script.Log().size(), 0u);
}

TEST(PortDialog, SpeaksTheUsersLanguageOrWhereTextsAreMissingThatOfTheDesign) {
  const std::vector<FormStep> russian = {SeeText("lblCh", "&Каналы:"), SeeText("lblRate", "&Частота (Гц):"),
                                         SeeText("cmdOK", "OK"), SeeText("cmdCancel", "Отмена"),
                                         SeeText("cmdConfig", "&Свойства COM5...")};
  const std::vector<FormStep> design = {
      SeeText("lblCh", "N of &Channels:"), SeeText("lblRate", "&Rate (Hz):"), SeeText("cmdOK", "OK"),
      SeeText("cmdCancel", "Cancel"), SeeText("cmdConfig", "Properties COM5...")};
  AskedDialog asked(RussianMachine());
  asked.Play(russian);
  asked.Fail("LoadText");
  asked.Play(design);
}
