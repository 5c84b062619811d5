#include <gtest/gtest.h>

#include "platform/linux/port_properties.h"
#include "platform/linux/terminal_toolkit.h"
#include "tests/key_user.h"
#include "tests/port_dialog_flows.h"

using namespace halden;

namespace {

struct TerminalMachine : FormMachine {
  explicit TerminalMachine(SimMachine kind = {})
      : FormMachine(kind),
        toolkit(user, sim.clock(), kind.language),
        shown(PlatformOn(toolkit)),
        dialog(store, shown) {
    user.screen = &toolkit.Screen();
  }

  KeyUser user;
  TerminalToolkit toolkit;
  Platform shown;
  dlgPort dialog;
};

FormStep Keys(std::string keys) {
  return [=](FormUser& user) { static_cast<KeyUser&>(user).Keys(keys); };
}

class PortDialogAtATerminal : public testing::TestWithParam<Flows (*)()> {};

}  // namespace

TEST(KeyDecoder, TellsKeysFromSequences) {
  using enum KeyCode;
  const auto character = [](char32_t c, bool alt = false) { return Key{kCharacter, c, alt}; };
  const std::pair<std::string, std::vector<Key>> rows[] = {
      {"aЧ\u00A0€😀", {character(U'a'), character(U'Ч'), character(0xA0), character(U'€'), character(U'😀')}},
      {"\r\n\t\x7f\b\x01", {{kEnter}, {kEnter}, {kTab}, {kBackspace}, {kBackspace}, {}}},
      {"\x1b", {{kEscape}}},
      {"\x1b\x1b", {{kEscape}, {kEscape}}},
      {"\x1b\x1b[A", {{kEscape}, {kUp}}},
      {"\x1bp\x1b\xD0\xA7", {character(U'p', true), character(U'Ч', true)}},
      {"\x1b[", {character(U'[', true)}},
      {"\x1b[B\x1bOC\x1b[1;3D", {{kDown}, {kRight}, {kLeft, 0, true}}},
      {"\x1b[1;2A\x1b[1;5Z", {{kUp}, {kBackTab}}},
      {"\x1b[H\x1b[1~\x1b[F\x1b[8~\x1b[3~\x1b[5~\x1b[6~",
       {{kHome}, {kHome}, {kEnd}, {kEnd}, {kDelete}, {kPageUp}, {kPageDown}}},
      {"\x1bOS\x1b[14~\x1b[[D\x1b[1;3S", {{kF4}, {kF4}, {kF4}, {kF4, 0, true}}},
      {"\x1b[99999~\x1b[?1;x\xFFz", {{}, {}, character(0xFFFD), character(U'z')}},
      {"\x1b[1;", {{}}},
      {"\xD0", {{}}},
  };
  for (const auto& [bytes, expected] : rows) {
    for (const std::size_t step : {bytes.size(), std::size_t{1}}) {
      KeyDecoder decoder;
      std::vector<Key> keys;
      std::uint32_t now = 0xFFFFFFF0;
      const auto take = [&] {
        while (const auto key = decoder.Next(now)) keys.push_back(*key);
      };
      for (std::size_t i = 0; i < bytes.size(); i += step) {
        decoder.Feed(bytes.substr(i, step), now += KeyDecoder::kEscapeTimeoutMs - 1);
        take();
      }
      now += KeyDecoder::kEscapeTimeoutMs;
      take();
      EXPECT_EQ(keys, expected) << testing::PrintToString(bytes) << step;
    }
  }
}

TEST(TerminalScreen, CutsOffAndKeepsControlCharactersOut) {
  TerminalScreen screen(6, 2);
  EXPECT_EQ(screen.Put(0, 0,
                       U"a\tb\x1b\u0301\x9b"
                       U"c",
                       {}, 6),
            6);
  EXPECT_EQ(screen.Put(3, 1, U"漢字", {}, 6), 5);
  screen.Put(-1, 1, U"xy", {}, 6);
  screen.Put(0, 5, U"out", {}, 6);
  EXPECT_EQ(screen.Text(), "a b  c\ny  漢\n");
}

TEST(TerminalScreen, RepaintsRowsThatDiffer) {
  TerminalScreen before(4, 3), after(4, 3);
  after.Put(1, 1, U"ab", {.fore = 0x00FF00, .back = 0, .underline = true}, 4);
  after.PlaceCursor(3, 2);
  EXPECT_EQ(Repaint(before, after),
            "\x1b[?25l\x1b[2;1H\x1b[0m \x1b[0;4;92;40mab\x1b[0m \x1b[0m\x1b[3;4H\x1b[?25h");
  EXPECT_EQ(Repaint(TerminalScreen(), TerminalScreen(1, 1)),
            "\x1b[?25l\x1b[0m\x1b[2J\x1b[1;1H\x1b[0m \x1b[0m");
}

TEST_P(PortDialogAtATerminal, DoesWhatKeysSay) {
  const Flows all = GetParam()();
  for (const Flow& flow : all.flows) {
    SCOPED_TRACE(flow.name);
    TerminalMachine machine(all.machine);
    machine.user.steps = {flow.steps.begin(), flow.steps.end()};
    EXPECT_EQ(Ask(machine.dialog, flow.presets), flow.expected);
    EXPECT_EQ(machine.user.messages, flow.messages);
    EXPECT_FALSE(machine.user.hung_up);
    EXPECT_FALSE(machine.user.held);
  }
}

INSTANTIATE_TEST_SUITE_P(Flows, PortDialogAtATerminal,
                         testing::Values(&PresetFlows, &CommaFlows, &BadRateFlows));

TEST(TerminalToolkit, MovesWithinControlsByKeys) {
  const Choice presets{false, 0, 3, 12.5f};
  const std::pair<const char*, Choice> rows[] = {
      {"Down Down Up Enter", {true, 0, 4, 12.5f}},
      {"2 2 Enter", {true, 0, 21, 12.5f}},
      {"End Down Enter", {true, 0, 32, 12.5f}},
      {"PageUp Enter", {true, 0, 1, 12.5f}},
      {"Home Up Enter", {true, 0, 1, 12.5f}},
      {"Space Down PageDown Enter Enter", {true, 0, 12, 12.5f}},
      {"F4 Down Esc Enter", {true, 0, 3, 12.5f}},
      {"F4 Down F4 Enter", {true, 0, 3, 12.5f}},
      {"Alt-Down Down Tab 7 Enter", {true, 0, 4, 7}},
      {"Tab End Backspace Left Left 3 Home Delete Enter", {true, 0, 3, 32}},
      {"Alt-r Down Down Enter", {true, 0, 3, 2}},
      {"BackTab c Enter", {true, 2, 3, 12.5f}},
      {"Tab Tab Right Left Space", {true, 0, 3, 12.5f}},
      {"Tab Tab r 8 Enter", {true, 0, 3, 8}},
      {"", presets},
      {"Alt-r x Tab", presets},
  };
  for (const auto& [keys, expected] : rows) {
    TerminalMachine machine;
    machine.user.steps = {Keys(keys)};
    EXPECT_EQ(Ask(machine.dialog, presets), expected) << keys << ", and hung up";
  }
}

TEST(TerminalToolkit, DrawsListsThatAreLongerThanTheirPlace) {
  TerminalMachine machine;
  machine.user.size = {36, 17};
  machine.store.PortTable.resize(5);
  machine.store.PortTable[3].Name = "LongName";
  machine.store.PortCount = 5;
  machine.user.steps = {Keys("Alt-Down PageDown Down"), Do([&] {
                          EXPECT_EQ(machine.toolkit.Screen().Text(), R"(┌─ Select COM Por┌───────────────┐─┐
│  ┌─────────────│ 8             ▴ │
│  │             │ 9             │ │
│  │>COM12     19│ 10            │ │
│  │ LongName    │ 11            │ │
│  └─────────────│>12            │ │
│                │ 13            │ │
│  [    Propertie│ 14            │ │
│                │ 15            ▾ │
│ N of Channels: └───────────────┘ │
│                                  │
│     Rate (Hz): [12.5          ▾] │
│                                  │
│                                  │
│  [     OK     ]  [   Cancel   ]  │
│                                  │
└──────────────────────────────────┘
)");
                        })};
  Ask(machine.dialog, {false, 2, 3, 12.5f});
}

TEST(TerminalToolkit, ChangesAPortsPropertiesInAForm) {
  TerminalMachine machine;
  Dcb line{.BaudRate = 9600, .ByteSize = 8};
  using Line = std::vector<int>;
  const auto edit = [&](const std::string& keys) {
    machine.user.steps = {Keys(keys), Escape()};
    const bool done = EditPortProperties(machine.toolkit, TextLanguage::kEnglish, "COM5", &line);
    return Line{done, int(line.BaudRate), line.ByteSize, line.Parity, line.StopBits};
  };
  EXPECT_EQ(edit("19200 Tab 7 Tab Down Down Tab Down Enter"), (Line{1, 19200, 7, 2, 1}));
  for (const char* const refused : {"1200", "x Enter", "0 Enter", "12000001 Enter"})
    EXPECT_EQ(edit(refused), (Line{0, 19200, 7, 2, 1}));
  EXPECT_EQ(machine.user.messages, 3);
  line.ByteSize = 5;
  EXPECT_EQ(edit("12000000 Enter"), (Line{1, 12000000, 5, 2, 1})) << "what the list doesn't have stays";
}
