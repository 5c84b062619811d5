#include <gtest/gtest.h>

#include "platform/toolkit/answering_toolkit.h"
#include "tests/form_machine.h"
#include "tests/port_dialog_flows.h"
#include "ui/dlgPort.h"

using namespace halden;

namespace {

const char* const kMessage = "message Halden-Text Driver: The \"Rate\" value must be positive number!";

/// Plays on the window in memory.
std::vector<UserStep> InMemory(const std::vector<FormStep>& steps) {
  std::vector<UserStep> played;
  for (const FormStep& step : steps) {
    played.push_back(user::Do([step](MemoryWindow& window) {
      MemoryUser user(window);
      step(user);
    }));
  }
  return played;
}

class PortDialogFlows : public testing::TestWithParam<Flows (*)()> {};

}  // namespace

TEST_P(PortDialogFlows, RunInMemory) {
  const Flows all = GetParam()();
  for (const Flow& flow : all.flows) {
    SCOPED_TRACE(flow.name);
    FormMachine machine(all.machine);
    dlgPort dialog(machine.store, machine.platform);
    machine.script.Play(InMemory(flow.steps));
    EXPECT_EQ(Ask(dialog, flow.presets), flow.expected);
    const auto& log = machine.script.Log();
    EXPECT_EQ(std::count(log.begin(), log.end(), kMessage), flow.messages);
    EXPECT_EQ(log.back() == "pointer 11", flow.expected.ok);
  }
}

INSTANTIATE_TEST_SUITE_P(PortDialog, PortDialogFlows,
                         testing::Values(&PresetFlows, &CommaFlows, &BadRateFlows));

TEST(PortDialog, FollowsThePortsConfiguration) {
  FormMachine machine;
  dlgPort dialog(machine.store, machine.platform);
  machine.ports.confirmed_rate = 57600;
  machine.script.Play(InMemory({SeePort(0, "COM5\t9600,N,8,1"), SeeConfig("&Properties COM5...", true),
                                PickRow("lstPort", 1), SeePort(1, "\t"), SeeConfig("&Properties ...", false),
                                Do([&] { machine.ports.rates["COM12"] = 1200; }), PickRow("lstPort", 2),
                                SeePort(2, "COM12\t1200,N,8,1"), SeeConfig("&Properties COM12...", true),
                                AccessKey('P'), SeePort(2, "COM12\t57600,N,8,1"), Press("cmdCancel")}));
  EXPECT_FALSE(Ask(dialog, {}).ok);
  EXPECT_EQ(machine.store.PortTable[2].Config.dcb.BaudRate, 57600u);
  EXPECT_EQ(machine.ports.calls, (std::vector<std::string>{"get COM5 52", "get  52", "get COM12 52",
                                                           "ask COM12", "set COM12 57600 52"}));
}

TEST(PortDialog, ShowsWhatTheSystemWouldNotStoreUntilTheNextClick) {
  FormMachine machine;
  dlgPort dialog(machine.store, machine.platform);
  machine.ports.confirmed_rate = 57600;
  machine.ports.can_store = false;
  machine.script.Play(InMemory({AccessKey('p'), SeePort(0, "COM5\t57600,N,8,1"), PickRow("lstPort", 0),
                                SeePort(0, "COM5\t9600,N,8,1"), Do([&] { machine.ports.confirmed_rate = 0; }),
                                AccessKey('p'), SeePort(0, "COM5\t9600,N,8,1"), Press("cmdOK")}));
  EXPECT_TRUE(Ask(dialog, {}).ok);
  EXPECT_EQ(machine.ports.calls.back(), "ask COM5");
}

TEST(PortDialog, TouchesPointerAndQueueInOrder) {
  FormMachine machine;
  dlgPort dialog(machine.store, machine.platform);
  int ticks = 0;
  const auto timer = machine.sim.clock().NewTimer(1, [&] { ++ticks; });
  timer->Enable(true);
  machine.script.Play({user::Wait(7), user::Enter()});
  EXPECT_TRUE(Ask(dialog, {}).ok);
  EXPECT_EQ(machine.script.TakeLog(),
            (std::vector<std::string>{"pointer 0", "show dlgPort", "hide dlgPort", "pointer 11"}));
  EXPECT_EQ(ticks, 8) << "one each pass while it is shown, and one behind it";

  machine.store.PortCount = 0;
  EXPECT_FALSE(Ask(dialog, {}).ok);
  EXPECT_TRUE(machine.script.Log().empty());
  EXPECT_EQ(ticks, 8);
}

TEST(PortDialog, StartsAnewEachTimeAndKeepsItsResults) {
  FormMachine machine;
  dlgPort dialog(machine.store, machine.platform);
  machine.script.Play(InMemory({PickRow("lstPort", 2), PickRow("cboCh", 4), Type("cboRate", "77"), Enter()}));
  EXPECT_EQ(Ask(dialog, {}), (Choice{true, 2, 5, 77}));
  EXPECT_EQ(dialog.SelectedRow, 2);
  machine.script.Play(
      InMemory({SeeText("cboRate", "1"), SeeText("cboCh", "1"), SeePort(0, "COM5\t9600,N,8,1"), Escape()}));
  EXPECT_FALSE(Ask(dialog, {}).ok);
  EXPECT_FALSE(dialog.Accepted);
}

TEST(PortDialog, SpeaksTheUsersLanguage) {
  class NoTexts : public CommonTexts {
   public:
    NoTexts() : CommonTexts(TextLanguage::kRussian, 0x0409) {}
    std::optional<std::string> LoadText(std::uint32_t id) override {
      return id == 72 ? CommonTexts::LoadText(id) : std::nullopt;
    }
  } no_texts;
  FormMachine machine(RussianMachine());
  const Platform& all = machine.platform;
  Platform without{all.d2xx,         all.comm_config, all.registry, all.clock,
                   all.number_rules, no_texts,        all.toolkit};
  struct Row {
    Platform& platform;
    std::vector<std::string> captions;
  };
  for (const Row& row :
       {Row{machine.platform,
            {"Выбор COM-порта", "&Каналы:", "&Частота (Гц):", "OK", "Отмена", "&Свойства COM5..."}},
        Row{without,
            {"Select Port", "N of &Channels:", "&Частота (Гц):", "OK", "Cancel", "Properties COM5..."}}}) {
    dlgPort dialog(machine.store, row.platform);
    std::vector<std::string> captions;
    machine.script.Play({user::Do([&](MemoryWindow& window) {
      captions = {window.Spec().caption};
      for (int control : {0, 2, 4, 5, 6}) captions.push_back(window.Text(control));
    })});
    Ask(dialog, {});
    EXPECT_EQ(captions, row.captions);
  }
}

TEST(PortDialog, CountsAsCancelledWhereItCannotBeShown) {
  const Choice presets{false, 2, 3, 4};
  FormMachine machine;
  dlgPort dialog(machine.store, machine.platform);
  machine.script.SetCanShow(false);
  EXPECT_EQ(Ask(dialog, presets), presets);
  machine.script.SetHasRoom(false);
  EXPECT_EQ(Ask(dialog, presets), presets);
}

TEST(AnsweringToolkit, StandsForTheUserInThePortDialogAlone) {
  struct Row {
    std::optional<UserAnswer> answer;
    Choice expected;
  };
  const Choice presets{false, 0, 1, 5};
  for (const Row& row : {Row{UserAnswer{2, 3, "12.5"}, {true, 2, 3, 12.5f}},
                         Row{UserAnswer{3, 3, "1"}, presets}, Row{UserAnswer{-1, 3, "1"}, presets},
                         Row{UserAnswer{0, 33, "1"}, presets}, Row{UserAnswer{0, 0, "1"}, presets},
                         Row{UserAnswer{0, 3, "abc"}, presets}, Row{std::nullopt, presets}}) {
    FormMachine machine(RussianMachine());
    AnsweringToolkit answering(machine.script, machine.sim.clock(), machine.sim.number_rules(), row.answer);
    Platform platform = machine.PlatformOn(answering);
    dlgPort dialog(machine.store, platform);
    EXPECT_EQ(Ask(dialog, presets), row.expected);
    EXPECT_EQ(Ask(dialog, presets), row.expected) << "again";
    answering.NewWindow({.name = "dlgFTDI"})->ShowModal();
    answering.ShowMessage("text", "title", MessageIcon::kExclamation);
    const auto log = machine.script.TakeLog();
    EXPECT_EQ(log.back(), "message title: text");
    EXPECT_EQ(std::count(log.begin(), log.end(), "show dlgFTDI"), 1);
    EXPECT_EQ(std::count(log.begin(), log.end(), kMessage), 0);
  }
}
