#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "backends/toolkit/form_user.h"
#include "tests/form_fixture.h"
#include "ui/dlgPort.h"

namespace halden {

using namespace user;

/// Whether OK was pressed, the port's row, the number of channels and the rate.
using Choice = std::tuple<bool, std::int16_t, std::int16_t, float>;

inline Choice Ask(dlgPort& dialog, Choice presets) {
  auto& [ok, port, channels, rate] = presets;
  ok = dialog.GetUserPort(port, channels, rate);
  return presets;
}

inline Choice Ask(FormFixture& machine, Toolkit& toolkit, const Choice& presets) {
  Platform shown = machine.PlatformOn(toolkit);
  dlgPort dialog(machine.store, shown);
  return Ask(dialog, presets);
}

// Steps that compare the form when they are reached.

inline FormStep SeeText(std::string control, std::string text) {
  return [=](FormUser& user) { EXPECT_EQ(user.Text(control), text) << control; };
}
inline FormStep SeeFocus(std::string control) {
  return [=](FormUser& user) { EXPECT_EQ(user.Focus(), control); };
}

/// The steps of a user in the port dialog of a FormFixture, and the expected result.
struct Flow {
  const char* name;
  Choice expected;
  int messages;  ///< of the bad rate
  std::vector<FormStep> steps;
  Choice presets = {false, 2, 3, 12.5f};
  SimOptions machine = {};
};

/// Flows that must give the same result on every backend of the toolkit.
inline std::vector<Flow> PortDialogFlows() {
  const Choice as_preset{true, 2, 3, 12.5f}, cancelled{false, 2, 3, 12.5f};
  const FormStep ok = Enter(), stays = SeeFocus("cboRate");
  const auto add = [](std::vector<FormStep>& steps, const std::vector<FormStep>& more) {
    steps.insert(steps.end(), more.begin(), more.end());
  };
  std::vector<FormStep> round, bad_rates = {Type("cboRate", "-57")};
  for (const char* next : {"cboRate", "cmdOK", "cmdCancel", "cmdConfig", "lstPort", "cboCh"})
    add(round, {Tab(), SeeFocus(next)});
  add(round, {AccessKey('r'), SeeFocus("cboRate"), AccessKey('C'), SeeFocus("cboCh"), ok});
  for (const FormStep& leave :
       {PickRow("lstPort", 0), Press("cmdCancel"), Press("cmdOK"), Tab(), AccessKey('c'), AccessKey('p')})
    add(bad_rates, {leave, stays, SeeText("lstPort", "COM12\t19200,N,8,1")});
  for (const char* text : {"0", "1e39", "1e-60", "5x", ""})
    add(bad_rates, {Type("cboRate", text), ok, stays});
  add(bad_rates, {Type("cboRate", "3"), Tab(), SeeFocus("cmdOK"), ok});
  const std::vector<FormStep> all = {PickRow("lstPort", 1), PickRow("cboCh", 15), Type("cboRate", " 7 "),
                                     Press("cmdOK")};
  const std::vector<FormStep> comma = {SeeText("cboRate", "12,5"), Type("cboRate", "12.5"), ok,
                                       Type("cboRate", "1\u00A0000,5"), ok};
  return {{"presets", as_preset, 0, {SeeText("cboRate", "12.5"), SeeFocus("cboCh"), ok}},
          {"presets below", {true, 0, 1, 1}, 0, {ok}, {false, -1, 0, 0}},
          {"lowest presets", {true, 0, 1, 0.5f}, 0, {ok}, {false, 0, 1, 0.5f}},
          {"presets above", {true, 0, 1, 1}, 0, {ok}, {false, 3, 33, -5}},
          {"seven digits", {true, 0, 32, 1234.568f}, 0, {ok}, {false, 0, 32, 1234.5678f}},
          {"all chosen", {true, 1, 16, 7}, 0, all},
          {"a rate of the list", {true, 2, 3, 50}, 0, {PickRow("cboRate", 5), ok}},
          {"group separator", {true, 2, 3, 125}, 0, {Type("cboRate", "12,5"), ok}},
          {"Cancel", cancelled, 0, {PickRow("lstPort", 0), Press("cmdCancel")}},
          {"Esc", cancelled, 0, {PickRow("cboCh", 0), Escape()}},
          {"close box", cancelled, 0, {Type("cboRate", "abc"), CloseBox()}},
          {"tabs and access keys", as_preset, 0, round},
          {"bad rates", {true, 2, 3, 3}, 11, bad_rates},
          {"decimal comma", {true, 2, 3, 1000.5f}, 1, comma, as_preset, RussianOptions()}};
}

}  // namespace halden
