#include <gtest/gtest.h>

#include "platform/toolkit/answering_toolkit.h"
#include "tests/form_machine.h"
#include "ui/dlgPort.h"

using namespace halden;
using namespace halden::user;

namespace {

const char* const kMessage = "message Halden-Text Driver: The \"Rate\" value must be positive number!";

struct Choice {
  bool ok = false;
  std::int16_t port = 0;
  std::int16_t channels = 0;
  float rate = 0;
  bool operator==(const Choice&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Choice& choice) {
  return out << choice.ok << " port " << choice.port << " channels " << choice.channels << " rate "
             << choice.rate;
}

Choice Ask(dlgPort& dialog, Choice presets) {
  presets.ok = dialog.GetUserPort(presets.port, presets.channels, presets.rate);
  return presets;
}

/// Steps that compare the window when they are reached.
UserStep SeeText(std::string control, std::string text) {
  return Do([=](MemoryWindow& window) { EXPECT_EQ(window.Text(window.Find(control)), text) << control; });
}
UserStep SeeFocus(std::string control) {
  return Do([=](MemoryWindow& window) { EXPECT_EQ(window.Control(window.Focus()).spec.name, control); });
}
UserStep SeePort(int row, std::string text) {
  return Do([=](MemoryWindow& window) {
    const MemoryControl& list = window.Control(window.Find("lstPort"));
    EXPECT_EQ(list.selected, row);
    EXPECT_EQ(list.rows[row], text);
  });
}
UserStep SeeConfig(std::string caption, bool enabled) {
  return Do([=](MemoryWindow& window) {
    EXPECT_EQ(window.Text(window.Find("cmdConfig")), caption);
    EXPECT_EQ(window.Control(window.Find("cmdConfig")).enabled, enabled);
  });
}

struct Flow {
  const char* name;
  Choice presets;
  std::vector<UserStep> steps;
  Choice expected;
  int messages = 0;
};

void RunFlows(const std::vector<Flow>& flows, const SimMachine& kind) {
  for (const Flow& flow : flows) {
    SCOPED_TRACE(flow.name);
    FormMachine machine(kind);
    dlgPort dialog(machine.store, machine.platform);
    machine.script.Play(flow.steps);
    EXPECT_EQ(Ask(dialog, flow.presets), flow.expected);
    const auto& log = machine.script.Log();
    EXPECT_EQ(std::count(log.begin(), log.end(), kMessage), flow.messages);
    EXPECT_EQ(log.back() == "pointer 11", flow.expected.ok);
  }
}

}  // namespace

TEST(PortDialog, TakesOverPresetsAndGivesBackTheChoice) {
  const Choice seeded{false, 2, 3, 12.5f};
  RunFlows({{"OK on presets",
             seeded,
             {SeeText("cboRate", "12.5"), SeeFocus("cboCh"), Enter()},
             {true, 2, 3, 12.5f}},
            {"presets outside", {false, -1, 0, 0}, {Enter()}, {true, 0, 1, 1}},
            {"presets above", {false, 3, 33, -5}, {Enter()}, {true, 0, 1, 1}},
            {"last entries", {false, 2, 32, 0.1f}, {SeeText("cboRate", "0.1"), Enter()}, {true, 2, 32, 0.1f}},
            {"seven digits",
             {false, 0, 1, 1234.5678f},
             {SeeText("cboRate", "1234.568"), Enter()},
             {true, 0, 1, 1234.568f}},
            {"all chosen",
             seeded,
             {PickRow("lstPort", 1), PickRow("cboCh", 15), Type("cboRate", " 7 "), Press("cmdOK")},
             {true, 1, 16, 7}},
            {"rate of the list", seeded, {PickRow("cboRate", 5), Enter()}, {true, 2, 3, 50}},
            {"group separator", seeded, {Type("cboRate", "12,5"), Enter()}, {true, 2, 3, 125}},
            {"cancel", seeded, {PickRow("lstPort", 0), Press("cmdCancel")}, seeded},
            {"Esc", seeded, {PickRow("cboCh", 0), Escape()}, seeded},
            {"close box", seeded, {CloseBox()}, seeded},
            {"access keys",
             seeded,
             {AccessKey('r'), SeeFocus("cboRate"), AccessKey('C'), SeeFocus("cboCh"), Enter()},
             {true, 2, 3, 12.5f}},
            {"order of tabs",
             seeded,
             {Tab(), SeeFocus("cboRate"), Tab(), SeeFocus("cmdOK"), Tab(), SeeFocus("cmdCancel"), Tab(),
              SeeFocus("cmdConfig"), Tab(), SeeFocus("lstPort"), Tab(), SeeFocus("cboCh"), Tab(-1),
              SeeFocus("lstPort"), Enter()},
             {true, 2, 3, 12.5f}}},
           {});
}

TEST(PortDialog, FollowsADecimalComma) {
  const Choice seeded{false, 0, 3, 12.5f};
  RunFlows({{"preset", seeded, {SeeText("cboRate", "12,5"), Enter()}, {true, 0, 3, 12.5f}},
            {"point typed", seeded, {Type("cboRate", "12.5"), Enter(), Escape()}, seeded, 1},
            {"groups", seeded, {Type("cboRate", "1\u00A0000,5"), Enter()}, {true, 0, 3, 1000.5f}}},
           RussianMachine());
}

TEST(PortDialog, KeepsTheFocusOnABadRate) {
  const Choice seeded{false, 2, 3, 12.5f};
  const UserStep bad = Type("cboRate", "abc");
  std::vector<Flow> flows = {
      {"to the list",
       seeded,
       {bad, PickRow("lstPort", 0), SeeFocus("cboRate"), SeePort(2, "COM12\t19200,N,8,1"), Escape()},
       seeded,
       1},
      {"to Cancel by mouse", seeded, {bad, Press("cmdCancel"), SeeFocus("cboRate"), Escape()}, seeded, 1},
      {"by tab", seeded, {bad, Tab(), SeeFocus("cboRate"), Escape()}, seeded, 1},
      {"by access key",
       seeded,
       {bad, AccessKey('c'), AccessKey('p'), SeeFocus("cboRate"), Escape()},
       seeded,
       2},
      {"to OK by mouse", seeded, {bad, Press("cmdOK"), Escape()}, seeded, 1},
      {"close box", seeded, {bad, CloseBox()}, seeded, 0},
      {"mended", seeded, {bad, Enter(), Type("cboRate", "3"), Tab(), Enter()}, {true, 2, 3, 3}, 1}};
  for (const char* text : {"0", "-5", "1e39", "1e-60", "5x", ""})
    flows.push_back({text, seeded, {Type("cboRate", text), Enter(), Escape()}, seeded, 1});
  RunFlows(flows, {});
}

TEST(PortDialog, SelectsAllOfABadRateButItsFirstCharacter) {
  const auto see_selection = [](int start, int length) {
    return Do([=](MemoryWindow& window) {
      const EditText& edit = window.Control(window.Find("cboRate")).text;
      EXPECT_EQ(edit.SelectionStart(), start);
      EXPECT_EQ(edit.SelectionLength(), length);
    });
  };
  RunFlows(
      {{"OK",
        {},
        {Type("cboRate", "-5é7"), Do([](MemoryWindow& window) { window.SetFocus(window.Find("cboCh")); }),
         Enter(), SeeFocus("cboRate"), see_selection(1, 3)},
        {},
        1},
       {"leaving", {}, {Type("cboRate", "-57"), Tab(), see_selection(3, 0)}, {}, 1}},
      {});
}

TEST(PortDialog, FollowsThePortsConfiguration) {
  FormMachine machine;
  dlgPort dialog(machine.store, machine.platform);
  machine.ports.confirmed_rate = 57600;
  machine.script.Play({SeePort(0, "COM5\t9600,N,8,1"), SeeConfig("&Properties COM5...", true),
                       PickRow("lstPort", 1), SeePort(1, "\t"), SeeConfig("&Properties ...", false),
                       Do([&](MemoryWindow&) { machine.ports.rates["COM12"] = 1200; }), PickRow("lstPort", 2),
                       SeePort(2, "COM12\t1200,N,8,1"), SeeConfig("&Properties COM12...", true),
                       AccessKey('P'), SeePort(2, "COM12\t57600,N,8,1"), Press("cmdCancel")});
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
  machine.script.Play({AccessKey('p'), SeePort(0, "COM5\t57600,N,8,1"), PickRow("lstPort", 0),
                       SeePort(0, "COM5\t9600,N,8,1"),
                       Do([&](MemoryWindow&) { machine.ports.confirmed_rate = 0; }), AccessKey('p'),
                       SeePort(0, "COM5\t9600,N,8,1"), Press("cmdOK")});
  EXPECT_TRUE(Ask(dialog, {}).ok);
  EXPECT_EQ(machine.ports.calls.back(), "ask COM5");
}

TEST(PortDialog, TouchesPointerAndQueueInOrder) {
  FormMachine machine;
  dlgPort dialog(machine.store, machine.platform);
  int ticks = 0;
  const auto timer = machine.sim.clock().NewTimer(1, [&] { ++ticks; });
  timer->Enable(true);
  machine.script.Play({Wait(7), Enter()});
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
  machine.script.Play({PickRow("lstPort", 2), PickRow("cboCh", 4), Type("cboRate", "77"), Enter()});
  EXPECT_EQ(Ask(dialog, {}), (Choice{true, 2, 5, 77}));
  EXPECT_EQ(dialog.SelectedRow, 2);
  machine.script.Play(
      {SeeText("cboRate", "1"), SeeText("cboCh", "1"), SeePort(0, "COM5\t9600,N,8,1"), Escape()});
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
    machine.script.Play({Do([&](MemoryWindow& window) {
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
