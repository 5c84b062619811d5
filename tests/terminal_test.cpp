#include <deque>
#include <gtest/gtest.h>

#include "backends/linux/terminal/terminal_toolkit.h"
#include "backends/toolkit/form_user.h"
#include "tests/port_dialog_flows.h"

using namespace halden;

namespace {

// What terminals send for the keys.
const std::string up = "\x1b[A", down = "\x1b[B", right = "\x1b[C", left = "\x1b[D", home = "\x1b[H",
                  end = "\x1b[F", page_up = "\x1b[5~", page_down = "\x1b[6~", tab = "\t", back_tab = "\x1b[Z",
                  del = "\x1b[3~", backspace = "\x7f", enter = "\r", escape = "\x1b", alt = escape,
                  f4 = "\x1bOS", alt_down = "\x1b[1;3B", alt_f4 = "\x1b[1;3S";

/// The forms on a terminal, with a user at the keyboard, who first presses `keys` and then carries out the
/// steps, each after the step before it has been drawn. Message boxes are dismissed first. After the last
/// step the user hangs up.
struct KeyUser : FormFixture, TextTerminal, FormUser {
  using FormFixture::FormFixture;

  bool Available() const override { return true; }
  bool Open() override { return opens; }
  void Close() override {}
  TerminalSize Size() const override { return size; }
  void Write(std::string_view) override {}
  bool TakeScreenLost() override { return false; }
  bool Ended() const override { return hung_up; }
  /// One byte at a time. Between two steps there is a pause, or an Esc would join the next key to a sequence.
  std::string Read() override {
    if (Front().Layout().name == "message") {
      ++messages;
      keys = enter;
    } else if (keys.empty() && ++reads % (KeyDecoder::kEscapeTimeoutMs + 5) == 0) {
      for (; keys.empty() && !steps.empty(); steps.pop_front()) steps.front()(*this);
      hung_up = keys.empty();
    }
    const std::string byte = keys.substr(0, 1);
    keys.erase(0, 1);
    return byte;
  }

  void PickRow(const std::string& control, int row) override {
    const bool drops_down = control != "lstPort";
    GoTo(control);
    keys += (drops_down ? f4 : "") + home;
    while (row-- > 0) keys += down;
    if (drops_down) Enter();
  }
  void Type(const std::string& control, const std::string& text) override {
    GoTo(control);
    keys += home;
    for (std::size_t i = 0; i < Text(control).size(); ++i) keys += del;
    keys += text;
  }
  void Press(const std::string& button) override {
    GoTo(button);
    keys += " ";
  }
  void AccessKey(char32_t key) override { keys += alt + EncodeUtf8({&key, 1}); }
  void Tab() override { keys += tab; }
  void Enter() override { keys += enter; }
  void Escape() override { keys += escape; }
  void CloseBox() override { keys += alt_f4; }
  std::string Focus() const override { return MemoryUser(Front()).Focus(); }
  std::string Text(const std::string& control) const override { return MemoryUser(Front()).Text(control); }

  MemoryWindow& Front() const { return *toolkit.Front(); }
  void GoTo(const std::string& control) {
    for (int at = Front().Focus(); at != Front().Find(control);) {
      at = (at + 1) % Front().ControlCount();
      if (Front().Control(at).CanFocus()) Tab();
    }
  }

  std::deque<FormStep> steps;
  TerminalSize size{80, 24};
  bool opens = true;
  std::string keys;  ///< still to be sent
  int reads = 0;
  int messages = 0;  ///< boxes dismissed
  bool hung_up = false;
  TerminalToolkit toolkit{*this, sim.clock(), TextLanguage::kEnglish};
};

}  // namespace

TEST(TerminalScreen, CutsOffAtItsEdgesAndDrawsNoControlCharacters) {
  TerminalScreen screen(6, 2);
  EXPECT_EQ(screen.Put(0, 0, U"a\tb\x1b\u0301\x9bz", {}, 6), 6);
  EXPECT_EQ(screen.Put(3, 1, U"漢字", {}, 6), 5);
  screen.Put(-1, 2, U"out", {}, 6);
  EXPECT_EQ(screen.Text(), "a b  z\n   漢\n");
}

TEST(TerminalPainter, DropsAListNextToItsBoxAndMarksHiddenRows) {
  const auto box_and_list = [](int height, int row) {
    TerminalScreen screen(36, height);
    KeyUser user;
    user.steps = {[&](FormUser&) {
      PaintWindow(user.Front(), {user.Front().Find("cboCh"), row}, &screen);
      user.keys = escape;
    }};
    Ask(user, user.toolkit, {false, 0, 3, 1});
    std::string text;
    for (int y = 0; y < height; ++y) {
      for (int x = 17; x < 34; ++x) AppendUtf8(screen.At(x, y).character, &text);
      text += "\n";
    }
    return text;
  };
  const std::string border = "───────────────", box = "[3             ▾]\n";
  const std::string shortened = box_and_list(17, 31), below = box_and_list(24, 0);
  EXPECT_EQ(shortened.find("┌" + border + "┐\n│ 26            ▴\n"), 0u) << shortened;
  EXPECT_NE(shortened.find("│>32            │\n└" + border + "┘\n" + box), std::string::npos) << shortened;
  EXPECT_NE(below.find(box + "┌" + border + "┐\n│>1             │\n"), std::string::npos) << below;
}

TEST(TerminalToolkit, AcceptsOnlyEscWhileAWindowDoesNotFit) {
  KeyUser user;
  user.size = {35, 17};
  user.keys = down + f4 + "\x1b[1;3S" + enter;
  user.steps = {[&](FormUser&) {
                  user.size = {36, 17}, user.keys = f4 + down;
                },
                [&](FormUser&) {
                  user.size = {36, 16}, user.keys = enter + escape;
                }};
  EXPECT_EQ(Ask(user, user.toolkit, {false, 0, 3, 1}), (Choice{false, 0, 3, 1}));
  EXPECT_FALSE(user.hung_up);
  EXPECT_EQ(user.steps.size(), 0u);
}

TEST(KeyDecoder, TimesEscAcrossTheWrapOfTheTickCount) {
  KeyDecoder keys;
  keys.Feed(escape, 0xFFFFFFF0);
  EXPECT_FALSE(keys.Next(0xFFFFFFFF));
  EXPECT_FALSE(keys.Next(0x21));
  EXPECT_EQ(keys.Next(0x22), Key{KeyCode::kEscape});
}

TEST(TerminalToolkit, RunsThePortDialogByKeys) {
  for (const Flow& flow : PortDialogFlows()) {
    SCOPED_TRACE(flow.name);
    KeyUser user(flow.machine);
    user.steps = {flow.steps.begin(), flow.steps.end()};
    EXPECT_EQ(Ask(user, user.toolkit, flow.presets), flow.expected);
    EXPECT_EQ(user.messages, flow.messages);
    EXPECT_FALSE(user.hung_up);
  }
}

TEST(TerminalToolkit, CancelsWithoutATerminal) {
  KeyUser user;
  user.opens = false;
  EXPECT_EQ(Ask(user, user.toolkit, {false, 0, 3, 12.5f}), (Choice{false, 0, 3, 12.5f}));
  EXPECT_FALSE(user.toolkit.Front());
}

TEST(TerminalToolkit, UnderstandsTheKeysOfEveryTerminal) {
  const Choice presets{false, 0, 3, 12.5f};
  const struct {
    std::string name;
    std::string keys;
    Choice expected;
  } rows[] = {{.name = "moving in the channels and in the rate, Enter after a broken sequence",
               .keys = page_up + down + down + up + tab + end + backspace + "\x1bOD" + left + "3" + home +
                       del + "\x1b[1\n",
               .expected = {true, 0, 2, 32}},
              {.name = "digits find rows, unknown keys do nothing, a letter is an access key on a button",
               .keys = "22z\x01\x1b[?1;x\x1b[99999~\xFF" + back_tab + "c" + enter,
               .expected = {true, 2, 21, 12.5f}},
              {.name = "End by number, arrows between buttons",
               .keys = "\x1b[4~" + down + "\x1b[8~" + tab + tab + right + left + "r8" + enter,
               .expected = {true, 0, 32, 8}},
              {.name = "Home by number, Shift-Down in the rates",
               .keys = "\x1b[7~" + up + "\x1b[1~" + alt + "r" + down + "\x1b[1;2B" + enter,
               .expected = {true, 0, 1, 2}},
              {.name = "Tab picks from a list and moves on",
               .keys = alt_down + down + tab + "7" + enter,
               .expected = {true, 0, 4, 7}},
              {.name = "lists opened by the space bar and by F4, and closed by Esc and by F4",
               .keys = " " + page_down + enter + "\x1b[14~" + up + escape + f4 + up + "\x1b[[D" + enter,
               .expected = {true, 0, 11, 12.5f}},
              {.name = "hung up within a key", .keys = alt + "rx\x1b[1;", .expected = presets}};
  for (const auto& row : rows) {
    KeyUser user;
    user.keys = row.keys;
    EXPECT_EQ(Ask(user, user.toolkit, presets), row.expected) << row.name;
  }
}
