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
  const char* name;
  Choice presets;
  std::vector<FormStep> steps;
  Choice expected;
  int messages = 0;  ///< of the bad rate
};

struct Flows {
  SimMachine machine;
  std::vector<Flow> flows;
};

inline FormStep PickRow(std::string control, int row) {
  return [=](FormUser& user) { user.PickRow(control, row); };
}
inline FormStep Type(std::string control, std::string text) {
  return [=](FormUser& user) { user.Type(control, text); };
}
inline FormStep Press(std::string button) {
  return [=](FormUser& user) { user.Press(button); };
}
inline FormStep AccessKey(char32_t key) {
  return [=](FormUser& user) { user.AccessKey(key); };
}
inline FormStep Tab(int step = 1) {
  return [=](FormUser& user) { user.Tab(step); };
}
inline FormStep Enter() {
  return [](FormUser& user) { user.Enter(); };
}
inline FormStep Escape() {
  return [](FormUser& user) { user.Escape(); };
}
inline FormStep CloseBox() {
  return [](FormUser& user) { user.CloseBox(); };
}
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
  const Choice seeded{false, 2, 3, 12.5f};
  return {{},
          {{"OK on presets",
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
            {true, 2, 3, 12.5f}}}};
}

inline Flows CommaFlows() {
  const Choice seeded{false, 0, 3, 12.5f};
  return {RussianMachine(),
          {{"preset", seeded, {SeeText("cboRate", "12,5"), Enter()}, {true, 0, 3, 12.5f}},
           {"point typed", seeded, {Type("cboRate", "12.5"), Enter(), Escape()}, seeded, 1},
           {"groups", seeded, {Type("cboRate", "1\u00A0000,5"), Enter()}, {true, 0, 3, 1000.5f}}}};
}

inline Flows BadRateFlows() {
  const Choice seeded{false, 2, 3, 12.5f};
  const FormStep bad = Type("cboRate", "abc");
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
  flows.push_back({"selection behind OK",
                   {},
                   {Type("cboRate", "-5é7"), Enter(), SeeFocus("cboRate"), SeeSelection(1, 3), Escape()},
                   {},
                   1});
  flows.push_back(
      {"selection behind leaving", {}, {Type("cboRate", "-57"), Tab(), SeeSelection(3, 0), Escape()}, {}, 1});
  return {{}, flows};
}

}  // namespace halden
