#include <gtest/gtest.h>

#include "platform/linux/port_properties.h"
#include "platform/linux/terminal_toolkit.h"
#include "tests/key_user.h"
#include "tests/port_dialog_flows.h"
#include "ui/monitor_window.h"

using namespace halden;

namespace {

constexpr const char* kEnter = "\r";
constexpr const char* kEsc = "\x1b";
constexpr const char* kUp = "\x1b[A";
constexpr const char* kDown = "\x1b[B";
constexpr const char* kAltDown = "\x1b[1;3B";
constexpr const char* kEnd = "\x1b[F";
constexpr const char* kPageDown = "\x1b[6~";
constexpr const char* kF4 = "\x1bOS";
constexpr const char* kShiftTab = "\x1b[Z";

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

FormStep Keys(std::vector<std::string> keys) {
  return [=](FormUser& user) {
    for (const std::string& key : keys) static_cast<KeyUser&>(user).Key(key);
  };
}

/// The lines of a screen that hold anything, without the blanks in front that all of them have.
std::string Trimmed(const std::string& screen) {
  std::istringstream lines(screen);
  std::string line, trimmed;
  std::size_t margin = std::string::npos;
  while (std::getline(lines, line)) margin = std::min(margin, line.find_first_not_of(' '));
  lines = std::istringstream(screen);
  while (std::getline(lines, line)) {
    if (!line.empty()) trimmed += line.substr(margin) + "\n";
  }
  return trimmed;
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
  const Choice presets{false, 0, 3, 12.5f}, cancelled = presets;
  const struct {
    const char* name;
    std::vector<std::string> keys;
    Choice expected;
  } rows[] = {
      {"rows by arrows", {kDown, kDown, kUp, kEnter}, {true, 0, 4, 12.5f}},
      {"rows by letter", {"2", "2", kEnter}, {true, 0, 21, 12.5f}},
      {"last row", {kEnd, kDown, kEnter}, {true, 0, 32, 12.5f}},
      {"page up", {"\x1b[5~", kEnter}, {true, 0, 1, 12.5f}},
      {"home", {"\x1b[H", kEnter}, {true, 0, 1, 12.5f}},
      {"picked from the list", {" ", kDown, kPageDown, kEnter, kEnter}, {true, 0, 12, 12.5f}},
      {"list closed by Esc", {kF4, kDown, kEsc, kEnter}, {true, 0, 3, 12.5f}},
      {"list closed by F4", {kF4, kDown, kF4, kEnter}, {true, 0, 3, 12.5f}},
      {"picked by tab", {kAltDown, kDown, "\t", "7", kEnter}, {true, 0, 4, 7}},
      {"rate edited",
       {"\t", kEnd, "\x7f", "\x1b[D", "\x1b[D", "3", "\x1b[H", "\x1b[3~", kEnter},
       {true, 0, 3, 32}},
      {"rate from the list", {"\x1br", kDown, kDown, kEnter}, {true, 0, 3, 2}},
      {"port by letter", {kShiftTab, "c", kEnter}, {true, 2, 3, 12.5f}},
      {"arrows on buttons", {"\t", "\t", "\x1b[C", "\x1b[D", " "}, {true, 0, 3, 12.5f}},
      {"letter on a button", {"\t", "\t", "r", "8", kEnter}, {true, 0, 3, 8}},
      {"hung up", {}, cancelled},
      {"hung up in a message", {"\x1br", "x", "\t"}, cancelled},
  };
  for (const auto& row : rows) {
    TerminalMachine machine;
    machine.user.steps = {Keys(row.keys)};
    EXPECT_EQ(Ask(machine.dialog, presets), row.expected) << row.name;
  }
}

TEST(TerminalToolkit, DrawsListsThatAreLongerThanTheirPlace) {
  TerminalMachine machine;
  machine.user.size = {40, 17};
  machine.store.PortTable.resize(5);
  machine.store.PortTable[3].Name = "LongName";
  machine.store.PortCount = 5;
  std::string screen;
  machine.user.steps = {Keys({kAltDown, kPageDown, kDown}),
                        Do([&] { screen = machine.toolkit.Screen().Text(); }), Keys({kEsc, kEsc})};
  Ask(machine.dialog, {false, 2, 3, 12.5f});
  EXPECT_EQ(Trimmed(screen), R"(┌─ Select COM Por┌───────────────┐─┐
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
}

TEST(TerminalToolkit, DrawsAMessageInFront) {
  TerminalMachine machine;
  machine.user.size = {60, 17};
  machine.user.steps = {Keys({"\x1br", "x", "\t"}), Escape()};
  Ask(machine.dialog, {});
  EXPECT_EQ(Trimmed(machine.user.last_message), R"(        ┌─ Select COM Port ────────────────┐
        │  ┌─────────────────────────────┐ │
        │  │>COM5    9600,N,8,1          │ │
        │  │                             │ │
        │  │ COM12                       │ │
┌─ Halden-Text Driver ────────────────────────────┐
│                                                 │
│  (!) The "Rate" value must be positive number!  │
│                                                 │
│                   [   OK   ]                    │
│                                                 │
└─────────────────────────────────────────────────┘
        │                                  │
        │                                  │
        │  [     OK     ]  [   Cancel   ]  │
        │                                  │
        └──────────────────────────────────┘
)");
}

TEST(TerminalToolkit, DrawsTheMonitorsLiveLine) {
  TerminalMachine machine(RussianMachine());
  MonitorWindow window(machine.shown);
  window.Load("Halden-Text");
  std::string screen;
  machine.user.steps = {Keys({"x"}), Do([&] { window.ShowValue("1\t2\x1b\xC0"); }), Keys({"x"}),
                        Do([&] { screen = machine.toolkit.Screen().Text(); }), Enter()};
  EXPECT_TRUE(window.ShowModal());
  EXPECT_NE(screen.find("\n │  1 2 А   "), std::string::npos) << screen;
  EXPECT_EQ(machine.toolkit.Screen().At(4, 11).style, (CellStyle{.fore = 0x00FF00, .back = 0}));
}

TEST(TerminalToolkit, ChangesAPortsPropertiesInAForm) {
  TerminalMachine machine;
  Dcb line{.BaudRate = 9600, .ByteSize = 8};
  const auto edit = [&](std::vector<std::string> keys) {
    machine.user.steps = {Keys(keys), Escape()};
    const bool done = EditPortProperties(machine.toolkit, TextLanguage::kEnglish, "COM5", &line);
    return std::vector<int>{done, int(line.BaudRate), line.ByteSize, line.Parity, line.StopBits};
  };
  using Line = std::vector<int>;
  EXPECT_EQ(edit({"19200", "\t", "7", "\t", kDown, kDown, "\t", kDown, kEnter}), (Line{1, 19200, 7, 2, 1}));
  EXPECT_EQ(edit({"1200", kEsc}), (Line{0, 19200, 7, 2, 1}));
  for (const char* bad : {"x", "0", "12000001"}) EXPECT_EQ(edit({bad, kEnter}), (Line{0, 19200, 7, 2, 1}));
  EXPECT_EQ(machine.user.messages, 3);
  line.ByteSize = 5;
  EXPECT_EQ(edit({"12000000", kEnter}), (Line{1, 12000000, 5, 2, 1})) << "what the list doesn't have stays";
}

TEST(TerminalToolkit, FollowsTheTerminal) {
  TerminalMachine machine;
  KeyUser& user = machine.user;
  const auto resize = [&](int columns) { return Do([&user, columns] { user.size = {columns, 17}; }); };
  const auto see = [&](const std::string& text, bool all) {
    return Do([&, text, all] {
      const std::string screen = all ? machine.toolkit.Screen().Text() : user.written.back();
      EXPECT_NE(screen.find(text), std::string::npos) << text;
    });
  };
  const FormStep nothing = Keys({"\x01"});
  user.steps = {resize(35),
                nothing,
                see("Terminal too small. Needed: 36 x 17\n", true),
                resize(36),
                nothing,
                see("┌─ Select COM Port", true),
                nothing,
                see("\x1b[?25l\x1b[10;19H\x1b[?25h", false),
                Do([&] { user.lost = true; }),
                nothing,
                see("\x1b[2J", false),
                Escape()};
  Ask(machine.dialog, {});
}

TEST(TerminalToolkit, CountsAsCancelledWithoutATerminal) {
  TerminalMachine machine;
  machine.user.available = false;
  machine.user.steps = {Enter()};
  EXPECT_FALSE(machine.toolkit.CanShow());
  EXPECT_EQ(Ask(machine.dialog, {}), Choice());
  machine.toolkit.ShowMessage("nobody reads it", "title", MessageIcon::kExclamation);
}
