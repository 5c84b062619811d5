#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

#include "tests/form_machine.h"
#include "tests/form_user.h"
#include "ui/dlgPort.h"

namespace halden {

// What a user does in the port dialog and what comes of it, on every backend of the toolkit. The dialog
// stands on the ports of FormMachine.

struct Choice {
  bool ok = false;
  std::int16_t port = 0;
  std::int16_t channels = 0;
  float rate = 0;
  bool operator==(const Choice&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Choice& choice) {
  return out << choice.ok << " port " << choice.port << " channels " << choice.channels << " rate "
             << choice.rate;
}

inline Choice Ask(dlgPort& dialog, Choice presets) {
  presets.ok = dialog.GetUserPort(presets.port, presets.channels, presets.rate);
  return presets;
}

struct Flow {
  std::string name;
  Choice presets;
  std::vector<FormStep> steps;
  Choice expected;
  int messages = 0;  ///< of the bad rate
};

struct Flows {
  SimMachine machine;
  Choice presets;
  std::vector<Flow> flows = {};

  /// Adds a flow from the presets; a choice that is not `ok` stands for the presets: the user cancels.
  void Add(const std::string& name, std::vector<FormStep> steps, const Choice& expected = {},
           int messages = 0) {
    presets.ok = false;
    flows.push_back({name, presets, std::move(steps), expected.ok ? expected : presets, messages});
  }
};

inline FormStep Do(std::function<void()> act) {
  return [=](FormUser&) { act(); };
}

// Steps that compare the form when they are reached.

inline FormStep SeeText(std::string control, std::string text) {
  return [=](FormUser& user) { EXPECT_EQ(user.Text(control), text) << control; };
}
inline FormStep SeeFocus(std::string control) {
  return [=](FormUser& user) { EXPECT_EQ(user.Focus(), control); };
}
inline FormStep SeePort(int row, std::string text) {
  return [=](FormUser& user) {
    EXPECT_EQ(user.SelectedRow("lstPort"), row);
    EXPECT_EQ(user.Row("lstPort", row), text);
  };
}
inline FormStep SeeConfig(std::string caption, bool enabled) {
  return [=](FormUser& user) {
    EXPECT_EQ(user.Text("cmdConfig"), caption);
    EXPECT_EQ(user.Enabled("cmdConfig"), enabled);
  };
}
inline FormStep SeeSelection(int start, int length) {
  return [=](FormUser& user) { EXPECT_EQ(user.Selection("cboRate"), std::make_pair(start, length)); };
}

inline Flows PresetFlows() {
  const Choice presets{true, 2, 3, 12.5f};
  Flows all{{}, presets};
  all.Add("presets", {SeeText("cboRate", "12.5"), SeeFocus("cboCh"), Enter()}, presets);
  all.Add("all chosen", {PickRow("lstPort", 1), PickRow("cboCh", 15), Type("cboRate", " 7 "), Press("cmdOK")},
          {true, 1, 16, 7});
  all.Add("rate of the list", {PickRow("cboRate", 5), Enter()}, {true, 2, 3, 50});
  all.Add("group separator", {Type("cboRate", "12,5"), Enter()}, {true, 2, 3, 125});
  all.Add("access keys", {AccessKey('r'), SeeFocus("cboRate"), AccessKey('C'), SeeFocus("cboCh"), Enter()},
          presets);
  std::vector<FormStep> tabs;
  for (const char* next : {"cboRate", "cmdOK", "cmdCancel", "cmdConfig", "lstPort", "cboCh"})
    tabs.insert(tabs.end(), {Tab(), SeeFocus(next)});
  tabs.insert(tabs.end(), {Tab(-1), SeeFocus("lstPort"), Enter()});
  all.Add("order of tabs", tabs, presets);
  all.Add("cancel", {PickRow("lstPort", 0), Press("cmdCancel")});
  all.Add("Esc", {PickRow("cboCh", 0), Escape()});
  all.Add("close box", {CloseBox()});
  all.presets = {false, -1, 0, 0};
  all.Add("presets below", {Enter()}, {true, 0, 1, 1});
  all.presets = {false, 3, 33, -5};
  all.Add("presets above", {Enter()}, {true, 0, 1, 1});
  all.presets = {false, 0, 32, 1234.5678f};
  all.Add("seven digits", {SeeText("cboRate", "1234.568"), Enter()}, {true, 0, 32, 1234.568f});
  return all;
}

inline Flows CommaFlows() {
  Flows all{RussianMachine(), {false, 0, 3, 12.5f}};
  all.Add("preset", {SeeText("cboRate", "12,5"), Enter()}, {true, 0, 3, 12.5f});
  all.Add("groups", {Type("cboRate", "1\u00A0000,5"), Enter()}, {true, 0, 3, 1000.5f});
  all.Add("point typed", {Type("cboRate", "12.5"), Enter(), Escape()}, {}, 1);
  return all;
}

inline Flows BadRateFlows() {
  Flows all{{}, {false, 2, 3, 12.5f}};
  const FormStep bad = Type("cboRate", "abc"), stays = SeeFocus("cboRate");
  const FormStep same_port = SeePort(2, "COM12\t19200,N,8,1");
  all.Add("to the list", {bad, PickRow("lstPort", 0), stays, same_port, Escape()}, {}, 1);
  all.Add("to Cancel by mouse", {bad, Press("cmdCancel"), stays, Escape()}, {}, 1);
  all.Add("by tab", {Type("cboRate", "-57"), Tab(), stays, SeeSelection(3, 0), Escape()}, {}, 1);
  all.Add("by access key", {bad, AccessKey('c'), AccessKey('p'), stays, Escape()}, {}, 2);
  all.Add("to OK by mouse", {bad, Press("cmdOK"), Escape()}, {}, 1);
  all.Add("close box", {bad, CloseBox()});
  all.Add("mended", {bad, Enter(), Type("cboRate", "3"), Tab(), Enter()}, {true, 2, 3, 3}, 1);
  for (const char* text : {"0", "-5", "1e39", "1e-60", "5x", ""})
    all.Add(text, {Type("cboRate", text), Enter(), Escape()}, {}, 1);
  all.Add("behind OK", {Type("cboRate", "-5é7"), Enter(), stays, SeeSelection(1, 3), Escape()}, {}, 1);
  return all;
}

}  // namespace halden
