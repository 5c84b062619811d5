#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

#include "platform/toolkit/form_user.h"
#include "tests/form_machine.h"
#include "ui/dlgPort.h"

namespace halden {

using namespace user;

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

// Steps that compare the form when they are reached.

inline FormStep SeeText(std::string control, std::string text) {
  return [=](FormUser& user) { EXPECT_EQ(user.Text(control), text) << control; };
}
inline FormStep SeeFocus(std::string control) {
  return [=](FormUser& user) { EXPECT_EQ(user.Focus(), control); };
}
inline FormStep SeeSelection(int start, int length) {
  return [=](FormUser& user) { EXPECT_EQ(user.Selection("cboRate"), std::make_pair(start, length)); };
}

/// What a user does in the port dialog of a FormMachine, and what comes of it.
struct Flow {
  const char* name;
  std::vector<FormStep> steps;
  Choice expected;
  int messages = 0;  ///< of the bad rate
  Choice presets = {.port = 2, .channels = 3, .rate = 12.5f};
  SimMachine machine = {};
};

/// They hold on every backend of the toolkit.
inline std::vector<Flow> PortDialogFlows() {
  const Choice as_preset{true, 2, 3, 12.5f}, cancelled{false, 2, 3, 12.5f};
  const FormStep stays = SeeFocus("cboRate");
  return {
      {"presets", {SeeText("cboRate", "12.5"), SeeFocus("cboCh"), Enter()}, as_preset},
      {"presets below", {Enter()}, {true, 0, 1, 1}, 0, {false, -1, 0, 0}},
      {"presets above", {Enter()}, {true, 0, 1, 1}, 0, {false, 3, 33, -5}},
      {"seven digits", {Enter()}, {true, 0, 32, 1234.568f}, 0, {false, 0, 32, 1234.5678f}},
      {"all chosen",
       {PickRow("lstPort", 1), PickRow("cboCh", 15), Type("cboRate", " 7 "), Press("cmdOK")},
       {true, 1, 16, 7}},
      {"a rate of the list", {PickRow("cboRate", 5), Enter()}, {true, 2, 3, 50}},
      {"group separator", {Type("cboRate", "12,5"), Enter()}, {true, 2, 3, 125}},
      {"Cancel", {PickRow("lstPort", 0), Press("cmdCancel")}, cancelled},
      {"Esc", {PickRow("cboCh", 0), Escape()}, cancelled},
      {"close box", {Type("cboRate", "abc"), CloseBox()}, cancelled},
      {"tabs and access keys",
       {Tab(), SeeFocus("cboRate"), Tab(), SeeFocus("cmdOK"), Tab(), SeeFocus("cmdCancel"), Tab(),
        SeeFocus("cmdConfig"), Tab(), SeeFocus("lstPort"), Tab(), SeeFocus("cboCh"), Tab(-1),
        SeeFocus("lstPort"), AccessKey('r'), SeeFocus("cboRate"), AccessKey('C'), SeeFocus("cboCh"), Enter()},
       as_preset},
      {"a bad rate is not left",
       {Type("cboRate", "-57"), PickRow("lstPort", 0), stays, SeeText("lstPort", "COM12\t19200,N,8,1"),
        Press("cmdCancel"), stays, Tab(), stays, SeeSelection(3, 0), AccessKey('c'), stays, AccessKey('p'),
        stays, Press("cmdOK"), stays, Type("cboRate", "3"), Tab(), SeeFocus("cmdOK"), Enter()},
       {true, 2, 3, 3},
       6},
      {"bad rates at OK",
       {Type("cboRate", "0"), Enter(), Type("cboRate", "1e39"), Enter(), Type("cboRate", "1e-60"), Enter(),
        Type("cboRate", "5x"), Enter(), Type("cboRate", ""), Enter(), Type("cboRate", "-5é7"), Enter(), stays,
        SeeSelection(1, 3), Escape()},
       cancelled,
       6},
      {"comma",
       {SeeText("cboRate", "12,5"), Type("cboRate", "12.5"), Enter(), Type("cboRate", "1\u00A0000,5"),
        Enter()},
       {true, 2, 3, 1000.5f},
       1,
       as_preset,
       RussianMachine()},
  };
}

}  // namespace halden
