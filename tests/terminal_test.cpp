#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

#include "platform/linux/port_properties.h"
#include "platform/linux/terminal_toolkit.h"
#include "platform/toolkit/memory_user.h"
#include "tests/port_dialog_flows.h"

using namespace halden;

namespace {

/// Does by keys what the user of a window in memory does.
class KeyUser : public MemoryUser {
 public:
  KeyUser(MemoryWindow& window, std::deque<std::string>* pressed) : MemoryUser(window), pressed_(*pressed) {}

  /// Presses keys in order: characters, or names of keys, between blanks.
  void Keys(const std::string& keys) {
    static const std::map<std::string, std::string> kSequences = {
        {"Up", "\x1b[A"},   {"Down", "\x1b[B"},    {"Left", "\x1b[D"},     {"Right", "\x1b[C"},
        {"Home", "\x1b[H"}, {"End", "\x1b[F"},     {"PageUp", "\x1b[5~"},  {"PageDown", "\x1b[6~"},
        {"Tab", "\t"},      {"BackTab", "\x1b[Z"}, {"Delete", "\x1b[3~"},  {"Backspace", "\x7f"},
        {"Enter", "\r"},    {"Esc", "\x1b"},       {"Space", " "},         {"Alt-Down", "\x1b[1;3B"},
        {"F4", "\x1bOS"},   {"Alt-r", "\x1br"},    {"Alt-F4", "\x1b[1;3S"}};
    std::istringstream words(keys);
    for (std::string key; words >> key;) pressed_.push_back(kSequences.count(key) ? kSequences.at(key) : key);
  }
  void PickRow(const std::string& control, int row) override {
    const bool drops_down = control != "lstPort";
    GoTo(control);
    Keys(drops_down ? "F4 Home" : "Home");
    while (row-- > 0) Keys("Down");
    if (drops_down) Enter();
  }
  void Type(const std::string& control, const std::string& text) override {
    GoTo(control);
    Keys("Home");
    for (std::size_t i = 0; i < Text(control).size(); ++i) Keys("Delete");
    for (const char32_t character : DecodeUtf8(text)) pressed_.push_back(EncodeUtf8({&character, 1}));
  }
  void Press(const std::string& button) override {
    GoTo(button);
    Keys("Space");
  }
  void AccessKey(char32_t key) override { pressed_.push_back("\x1b" + EncodeUtf8({&key, 1})); }
  void Tab() override { Keys("Tab"); }
  void Enter() override { Keys("Enter"); }
  void Escape() override { Keys("Esc"); }
  void CloseBox() override { Keys("Alt-F4"); }

 private:
  void GoTo(const std::string& control) {
    for (int at = Window().Focus(); at != Window().Find(control);) {
      at = (at + 1) % Window().ControlCount();
      if (Window().Control(at).CanFocus()) Keys("Tab");
    }
  }

  std::deque<std::string>& pressed_;
};

/// The forms at a text terminal, whose user presses each key when what the one before it did has been drawn.
/// Message boxes are dismissed first. With nothing left to do the user hangs up.
struct TerminalMachine : FormMachine, TextTerminal {
  using FormMachine::FormMachine;

  bool Available() const override { return true; }
  bool Open() override { return true; }
  void Close() override {}
  TerminalSize Size() const override { return {80, 24}; }
  void Write(std::string_view) override {}
  bool TakeScreenLost() override { return false; }
  bool Ended() const override { return hung_up; }
  std::string Read() override {
    // Enough passes for an Esc to be told from a sequence.
    if (++reads % (KeyDecoder::kEscapeTimeoutMs + 5) != 0) return {};
    KeyUser user(*toolkit.Front(), &keys);
    if (toolkit.Front()->Spec().name == "message") {
      ++messages;
      keys = {"\r"};
    }
    for (; keys.empty() && !steps.empty(); steps.pop_front()) steps.front()(user);
    hung_up = keys.empty();
    if (hung_up) return {};
    const std::string key = keys.front();
    keys.pop_front();
    return key;
  }

  std::deque<FormStep> steps;
  std::deque<std::string> keys;
  int reads = 0;
  int messages = 0;  ///< boxes dismissed
  bool hung_up = false;
  TerminalToolkit toolkit{*this, sim.clock(), TextLanguage::kEnglish};
};

FormStep Keys(std::string keys) {
  return [=](FormUser& user) { static_cast<KeyUser&>(user).Keys(keys); };
}

}  // namespace

TEST(KeyDecoder, TellsKeysFromSequences) {
  using enum KeyCode;
  const auto character = [](char32_t c, bool alt = false) { return Key{kCharacter, c, alt}; };
  const std::pair<std::string, std::vector<Key>> rows[] = {
      {"aЧ\u00A0€😀", {character(U'a'), character(U'Ч'), character(0xA0), character(U'€'), character(U'😀')}},
      {"\r\n\t\x7f\b\x01", {{kEnter}, {kEnter}, {kTab}, {kBackspace}, {kBackspace}, {}}},
      {"\x1b\x1b[A", {{kEscape}, {kUp}}},
      {"\x1bp\x1b\xD0\xA7", {character(U'p', true), character(U'Ч', true)}},
      {"\x1b[", {character(U'[', true)}},
      {"\x1bOC\x1b[1;3D\x1b[1;2A\x1b[1;5Z", {{kRight}, {kLeft, 0, true}, {kUp}, {kBackTab}}},
      {"\x1b[1~\x1b[7~\x1b[4~\x1b[8~\x1b[14~\x1b[[D", {{kHome}, {kHome}, {kEnd}, {kEnd}, {kF4}, {kF4}}},
      {"\x1b[99999~\x1b[?1;x\xFFz", {{}, {}, character(0xFFFD), character(U'z')}},
      {"\x1b[1;", {{}}},
      {"\xD0", {{}}},
  };
  for (const auto& [bytes, expected] : rows) {
    for (const std::size_t step : {bytes.size(), std::size_t{1}}) {
      KeyDecoder decoder;
      std::vector<Key> keys;
      std::uint32_t now = 0xFFFFFFF0;
      for (std::size_t i = 0; i < bytes.size(); i += step) {
        decoder.Feed(bytes.substr(i, step), now);
        now += i + step < bytes.size() ? KeyDecoder::kEscapeTimeoutMs - 1 : KeyDecoder::kEscapeTimeoutMs;
        while (const auto key = decoder.Next(now)) keys.push_back(*key);
      }
      EXPECT_EQ(keys, expected) << testing::PrintToString(bytes) << step;
    }
  }
}

TEST(TerminalScreen, CutsOffAndKeepsControlCharactersOut) {
  TerminalScreen screen(6, 2);
  EXPECT_EQ(screen.Put(0, 0, U"a\tb\x1b\u0301\x9bz", {}, 6), 6);
  EXPECT_EQ(screen.Put(3, 1, U"漢字", {}, 6), 5);
  screen.Put(-1, 1, U"xy", {}, 6);
  screen.Put(0, 5, U"out", {}, 6);
  EXPECT_EQ(screen.Text(), "a b  z\ny  漢\n");
}

TEST(PortDialog, RunsItsFlowsByKeysAtATerminal) {
  for (const Flow& flow : PortDialogFlows()) {
    SCOPED_TRACE(flow.name);
    TerminalMachine machine(flow.machine);
    machine.steps = {flow.steps.begin(), flow.steps.end()};
    EXPECT_EQ(Ask(machine, machine.toolkit, flow.presets), flow.expected);
    EXPECT_EQ(machine.messages, flow.messages);
    EXPECT_FALSE(machine.hung_up);
  }
}

TEST(TerminalToolkit, MovesWithinControlsByKeys) {
  const Choice presets{false, 0, 3, 12.5f};
  const std::pair<const char*, Choice> rows[] = {
      {"Down Down Up Enter", {true, 0, 4, 12.5f}},
      {"2 2 z Enter", {true, 0, 21, 12.5f}},
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
    machine.steps = {Keys(keys)};
    EXPECT_EQ(Ask(machine, machine.toolkit, presets), expected) << keys << ", and hung up";
  }
}

TEST(PortProperties, AreChangedInAForm) {
  TerminalMachine machine;
  Dcb line{.ByteSize = 5};
  const auto edit = [&](const std::string& keys) {
    machine.steps = {Keys(keys), Escape()};
    return EditPortProperties(machine.toolkit, TextLanguage::kEnglish, "COM5", &line);
  };
  EXPECT_TRUE(edit("12000000 Tab Tab Down Down Tab Down Enter"));
  EXPECT_EQ(line.ByteSize, 5) << "what the list doesn't have stays";
  EXPECT_TRUE(edit("1 Tab 7 Enter"));
  for (const char* const refused : {"1200", "x Enter", "0 Enter", "12000001 Enter"})
    EXPECT_FALSE(edit(refused));
  EXPECT_EQ(machine.messages, 3);
  EXPECT_EQ(std::tuple(line.BaudRate, line.ByteSize, line.Parity, line.StopBits), std::tuple(1, 7, 2, 1));
}
