#include <functional>
#include <gtest/gtest.h>

#include "platform/linux/port_properties.h"
#include "platform/linux/terminal_toolkit.h"
#include "tests/form_machine.h"
#include "ui/dlgPort.h"
#include "ui/monitor_window.h"

using namespace halden;

namespace {

constexpr const char* kEnter = "\r";
constexpr const char* kEsc = "\x1b";
constexpr const char* kUp = "\x1b[A";
constexpr const char* kDown = "\x1b[B";
constexpr const char* kAltDown = "\x1b[1;3B";
constexpr const char* kEnd = "\x1b[F";
constexpr const char* kShiftTab = "\x1b[Z";

/// A terminal at which keys are pressed one by one, each once the passes before it have drawn what came of
/// the last one. Without further keys the user hangs up.
class ScriptedTerminal : public TextTerminal {
 public:
  bool Available() const override { return available; }
  bool Open() override {
    open_count += available;
    return available;
  }
  void Close() override { ++close_count; }
  TerminalSize Size() const override { return size; }
  std::string Read() override {
    // Enough passes for an Esc to be told from a sequence.
    if (++reads_ % (KeyDecoder::kEscapeTimeoutMs + 5) != 0) return {};
    if (next_ == keys.size()) {
      hung_up = true;
      return {};
    }
    if (looks.count(next_)) looks[next_]();
    return keys[next_++];
  }
  void Write(std::string_view output) override { written.emplace_back(output); }
  bool TakeScreenLost() override { return std::exchange(lost, false); }
  bool Ended() const override { return hung_up; }

  std::vector<std::string> keys;
  std::map<std::size_t, std::function<void()>> looks;  ///< before the key of this place
  TerminalSize size{80, 24};
  bool available = true;
  bool hung_up = false;
  bool lost = false;
  int open_count = 0;
  int close_count = 0;
  std::vector<std::string> written;

 private:
  int reads_ = 0;
  std::size_t next_ = 0;
};

struct TerminalMachine : FormMachine {
  explicit TerminalMachine(SimMachine kind = {})
      : FormMachine(kind),
        toolkit(terminal, sim.clock(), kind.language),
        shown(PlatformOn(toolkit)),
        dialog(store, shown) {}

  /// The dialog's result with these keys pressed, as "port channels rate", or "cancelled".
  std::string Ask(std::vector<std::string> keys, std::int16_t port = 0, std::int16_t channels = 3,
                  float rate = 12.5f) {
    terminal.keys = std::move(keys);
    if (!dialog.GetUserPort(port, channels, rate)) return "cancelled";
    return std::to_string(port) + " " + std::to_string(channels) + " " + FormatNumber(rate, 7, '.');
  }
  void LookBefore(std::size_t key, std::string* screen) {
    terminal.looks[key] = [this, screen] { *screen = toolkit.Screen().Text(); };
  }

  ScriptedTerminal terminal;
  TerminalToolkit toolkit;
  Platform shown;
  dlgPort dialog;
};

/// The lines of a screen that hold anything, without the blanks in front that all of them have.
std::string Trimmed(const std::string& screen) {
  std::vector<std::string> lines;
  std::size_t margin = std::string::npos;
  for (std::size_t begin = 0; begin < screen.size();) {
    const std::size_t end = screen.find('\n', begin);
    lines.push_back(screen.substr(begin, end - begin));
    if (!lines.back().empty()) margin = std::min(margin, lines.back().find_first_not_of(' '));
    begin = end + 1;
  }
  std::string trimmed;
  for (const std::string& line : lines) {
    if (!line.empty()) trimmed += line.substr(margin) + "\n";
  }
  return trimmed;
}

}  // namespace

TEST(KeyDecoder, TellsKeysFromSequences) {
  struct Row {
    std::string bytes;
    std::vector<Key> keys;
  };
  const Key escape{KeyCode::kEscape};
  const auto character = [](char32_t c, bool alt = false) { return Key{KeyCode::kCharacter, c, alt}; };
  const std::vector<Row> rows = {
      {"aЧ\u00A0€😀", {character(U'a'), character(U'Ч'), character(0xA0), character(U'€'), character(U'😀')}},
      {"\r\n\t\x7f\b\x01",
       {{KeyCode::kEnter},
        {KeyCode::kEnter},
        {KeyCode::kTab},
        {KeyCode::kBackspace},
        {KeyCode::kBackspace},
        {}}},
      {"\x1b", {escape}},
      {"\x1b\x1b", {escape, escape}},
      {"\x1b\x1b[A", {escape, {KeyCode::kUp}}},
      {"\x1bp\x1b\xD0\xA7", {character(U'p', true), character(U'Ч', true)}},
      {"\x1b[", {character(U'[', true)}},
      {"\x1b[B\x1bOC\x1b[1;3D", {{KeyCode::kDown}, {KeyCode::kRight}, {KeyCode::kLeft, 0, true}}},
      {"\x1b[1;2A\x1b[1;5Z", {{KeyCode::kUp}, {KeyCode::kBackTab}}},
      {"\x1b[H\x1b[1~\x1b[F\x1b[8~\x1b[3~\x1b[5~\x1b[6~",
       {{KeyCode::kHome},
        {KeyCode::kHome},
        {KeyCode::kEnd},
        {KeyCode::kEnd},
        {KeyCode::kDelete},
        {KeyCode::kPageUp},
        {KeyCode::kPageDown}}},
      {"\x1bOS\x1b[14~\x1b[[D\x1b[1;3S",
       {{KeyCode::kF4}, {KeyCode::kF4}, {KeyCode::kF4}, {KeyCode::kF4, 0, true}}},
      {"\x1b[99999~\x1b[?1;x\xFFz", {{}, {}, character(0xFFFD), character(U'z')}},
      {"\x1b[1;", {{}}},
      {"\xD0", {{}}},
  };
  for (const Row& row : rows) {
    // At once, and byte by byte within the time-out.
    for (const bool split : {false, true}) {
      KeyDecoder decoder;
      std::vector<Key> keys;
      std::uint32_t now = 0xFFFFFFF0;
      for (std::size_t i = 0; i < row.bytes.size(); i += split ? 1 : row.bytes.size()) {
        decoder.Feed(split ? row.bytes.substr(i, 1) : row.bytes, now += KeyDecoder::kEscapeTimeoutMs - 1);
        while (const auto key = decoder.Next(now)) keys.push_back(*key);
      }
      now += KeyDecoder::kEscapeTimeoutMs;
      while (const auto key = decoder.Next(now)) keys.push_back(*key);
      EXPECT_EQ(keys, row.keys) << testing::PrintToString(row.bytes) << split;
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

TEST(TerminalToolkit, DrawsThePortDialog) {
  TerminalMachine machine;
  std::string screen;
  machine.LookBefore(0, &screen);
  EXPECT_EQ(machine.Ask({kEsc}), "cancelled");
  EXPECT_EQ(Trimmed(screen), R"(┌─ Select COM Port ────────────────┐
│  ┌─────────────────────────────┐ │
│  │>COM5    9600,N,8,1          │ │
│  │                             │ │
│  │ COM12                       │ │
│  └─────────────────────────────┘ │
│                                  │
│  [     Properties COM5...     ]  │
│                                  │
│ N of Channels: [3             ▾] │
│                                  │
│     Rate (Hz): [12.5          ▾] │
│                                  │
│                                  │
│  [     OK     ]  [   Cancel   ]  │
│                                  │
└──────────────────────────────────┘
)");
  EXPECT_EQ(machine.terminal.open_count, 1);
  EXPECT_EQ(machine.terminal.close_count, 1);
}

TEST(TerminalToolkit, DrawsListsThatAreLongerThanTheirPlace) {
  TerminalMachine machine;
  machine.terminal.size = {40, 17};
  machine.store.PortTable.resize(5);
  machine.store.PortTable[3].Name = "LongName";
  machine.store.PortCount = 5;
  std::string screen;
  machine.LookBefore(3, &screen);
  EXPECT_EQ(machine.Ask({kAltDown, "\x1b[6~", kDown, kEsc, kEsc}, 2), "cancelled");
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
  machine.terminal.size = {60, 17};
  std::string screen;
  machine.LookBefore(3, &screen);
  machine.Ask({"\x1br", "x", "\t", kEsc, kEsc});
  EXPECT_EQ(Trimmed(screen), R"(        ┌─ Select COM Port ────────────────┐
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

TEST(TerminalToolkit, DrawsTheMonitorWindowAndItsLiveLine) {
  TerminalMachine machine(RussianMachine());
  MonitorWindow window(machine.shown);
  window.Load("Halden-Text");
  window.ShowInfo("Port: COM5\r\nFT232R  A1B2C3");
  std::string screen;
  machine.LookBefore(1, &screen);
  machine.terminal.looks[0] = [&] {
    EXPECT_EQ(machine.toolkit.Screen().At(4, 11).style, (CellStyle{.fore = 0x00FF00, .back = 0}));
    window.ShowValue("1\t2\x1b\xC0");
  };
  machine.terminal.keys = {"x", kEnter};
  EXPECT_TRUE(window.ShowModal());
  EXPECT_EQ(Trimmed(screen), R"(┌─ Настройки Halden-Text (v3.2.2) ───────────────────────────────────────────┐
│                Port: COM5                                                  │
│                FT232R  A1B2C3                                              │
│                                                                            │
│  1 2 А                                                                     │
│                                                                            │
│                                                                            │
│                             [    Закрыть     ]                             │
│                                                                            │
└────────────────────────────────────────────────────────────────────────────┘
)");
}

TEST(TerminalToolkit, DrivesThePortDialogByKeys) {
  struct Row {
    const char* name;
    std::vector<std::string> keys;
    std::string expected;
  };
  const std::vector<Row> rows = {
      {"Enter", {kEnter}, "0 3 12.5"},
      {"Esc", {kEsc}, "cancelled"},
      {"close box", {"\x1b[1;3S"}, "cancelled"},
      {"channels by arrows", {kDown, kDown, kUp, kEnter}, "0 4 12.5"},
      {"channels by letter", {"2", "2", kEnter}, "0 21 12.5"},
      {"first and last", {kEnd, kDown, kEnter}, "0 32 12.5"},
      {"picked from the list", {" ", kDown, "\x1b[6~", kEnter, kEnter}, "0 12 12.5"},
      {"list closed by Esc", {"\x1bOS", kDown, kEsc, kEnter}, "0 3 12.5"},
      {"list closed by F4", {"\x1bOS", kDown, "\x1bOS", kEnter}, "0 3 12.5"},
      {"picked by tab", {kAltDown, kDown, "\t", "7", kEnter}, "0 4 7"},
      {"rate replaced", {"\t", "7", kEnter}, "0 3 7"},
      {"rate edited", {"\t", kEnd, "\x7f", "\x1b[D", "\x1b[D", "3", "\x1b[H", "\x1b[3~", kEnter}, "0 3 32"},
      {"rate from the list", {"\x1br", kDown, kDown, kEnter}, "0 3 2"},
      {"port", {kShiftTab, kDown, kDown, kDown, kEnter}, "2 3 12.5"},
      {"port by letter", {kShiftTab, "c", kEnter}, "2 3 12.5"},
      {"space on a button", {"\t", "\t", " "}, "0 3 12.5"},
      {"arrows on buttons", {"\t", "\t", "\x1b[C", "\x1b[D", " "}, "0 3 12.5"},
      {"page up", {"\x1b[5~", kEnter}, "0 1 12.5"},
      {"home", {"\x1b[H", kEnter}, "0 1 12.5"},
      {"letter on a button", {"\t", "\t", "r", "8", kEnter}, "0 3 8"},
      {"bad rate, message dismissed",
       {"\x1br", "x", kEnter, kEnter, "\x1b[H", "\x1b[3~", "4", kEnter},
       "0 3 4"},
      {"bad rate mended", {"\x1br", "x", "\t", kEsc, "\x7f", "9", "\t", kEnter}, "0 3 9"},
      {"hung up", {}, "cancelled"},
      {"hung up in a message", {"\x1br", "x", "\t"}, "cancelled"},
  };
  for (const Row& row : rows) {
    TerminalMachine machine;
    EXPECT_EQ(machine.Ask(row.keys), row.expected) << row.name;
    EXPECT_EQ(machine.terminal.close_count, 1);
  }
}

TEST(TerminalToolkit, ChangesAPortsPropertiesInAFormAboveTheDialog) {
  TerminalMachine machine(RussianMachine());
  machine.ports.confirmed_rate = 1;
  Dcb line{.BaudRate = 9600, .ByteSize = 8};
  const auto edit = [&](std::vector<std::string> keys) {
    machine.terminal.keys.insert(machine.terminal.keys.end(), keys.begin(), keys.end());
    return EditPortProperties(machine.toolkit, TextLanguage::kRussian, "COM5", &line);
  };
  std::string screen;
  machine.LookBefore(0, &screen);
  EXPECT_TRUE(edit({"19200", "\t", "7", "\t", kDown, kDown, "\t", kDown, kEnter}));
  EXPECT_EQ(Trimmed(screen), R"(┌─ Свойства COM5 ──────────────────────────┐
│                                          │
│    Скорость (бит/с): [9600           ▾]  │
│                                          │
│         Биты данных: [8              ▾]  │
│                                          │
│            Чётность: [Нет            ▾]  │
│                                          │
│       Стоповые биты: [1              ▾]  │
│                                          │
│                                          │
│                                          │
│      [     OK     ]  [   Отмена   ]      │
│                                          │
└──────────────────────────────────────────┘
)");
  const auto is = [&](std::uint32_t rate, int bits, int parity, int stop) {
    return line.BaudRate == rate && line.ByteSize == bits && line.Parity == parity && line.StopBits == stop;
  };
  EXPECT_TRUE(is(19200, 7, 2, 1));
  EXPECT_FALSE(edit({"1200", kEsc}));
  EXPECT_TRUE(is(19200, 7, 2, 1));
  for (const char* bad : {"x", "12000001"}) EXPECT_FALSE(edit({bad, kEnter, kEsc, kEsc})) << bad;
  line.ByteSize = 5;
  EXPECT_TRUE(edit({"12000000", kEnter}));
  EXPECT_TRUE(is(12000000, 5, 2, 1)) << "what the list doesn't have stays";
}

TEST(TerminalToolkit, FollowsTheTerminal) {
  TerminalMachine machine;
  std::string small, large;
  ScriptedTerminal& terminal = machine.terminal;
  std::size_t writes = 0;
  terminal.looks[0] = [&] { terminal.size = {35, 17}; };
  terminal.looks[1] = [&] {
    small = machine.toolkit.Screen().Text();
    terminal.size = {36, 17};
  };
  terminal.looks[2] = [&] {
    large = machine.toolkit.Screen().Text();
    writes = terminal.written.size();
  };
  terminal.looks[3] = [&] {
    EXPECT_EQ(terminal.written.size(), writes + 1) << "a key that changes nothing is drawn once";
    EXPECT_EQ(terminal.written.back(), "\x1b[?25l\x1b[10;19H\x1b[?25h");
    terminal.lost = true;
  };
  terminal.looks[4] = [&] { EXPECT_NE(terminal.written.back().find("\x1b[2J"), std::string::npos); };
  EXPECT_EQ(machine.Ask({"\x01", "\x01", "\x01", "\x01", kEsc}), "cancelled");
  EXPECT_EQ(Trimmed(small), "Terminal too small. Needed: 36 x 17\n");
  EXPECT_EQ(large.substr(0, 7), "┌─ ");
}

TEST(TerminalToolkit, CountsAsCancelledWithoutATerminal) {
  TerminalMachine machine;
  machine.terminal.available = false;
  EXPECT_FALSE(machine.toolkit.CanShow());
  EXPECT_EQ(machine.Ask({kEnter}), "cancelled");
  EXPECT_EQ(machine.terminal.close_count, 0);
  machine.toolkit.ShowMessage("nobody reads it", "title", MessageIcon::kExclamation);
}
