#pragma once

#include <deque>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/linux/terminal_keys.h"
#include "platform/linux/terminal_screen.h"
#include "platform/linux/text_terminal.h"
#include "tests/form_user.h"

namespace halden {

/// The user of the port dialog at a text terminal of 80 by 24: presses keys and sees what is on the screen.
/// Each key comes when what the one before it did has been drawn. A message box is dismissed first. With
/// nothing left to do the user hangs up.
class KeyUser : public TextTerminal, public FormUser {
 public:
  std::deque<FormStep> steps;
  const TerminalScreen* screen = nullptr;
  TerminalSize size{80, 24};
  bool held = false;
  bool hung_up = false;
  int messages = 0;  ///< boxes dismissed, by Enter and Esc in turn

  bool Available() const override { return true; }
  bool Open() override { return held = true; }
  void Close() override { held = false; }
  TerminalSize Size() const override { return size; }
  void Write(std::string_view) override {}
  bool TakeScreenLost() override { return false; }
  bool Ended() const override { return hung_up; }
  std::string Read() override {
    // Enough passes for an Esc to be told from a sequence.
    if (++reads_ % (KeyDecoder::kEscapeTimeoutMs + 5) != 0) return {};
    hung_up = keys_.empty() && steps.empty();
    if (!hung_up && screen->Text().find("(!)") != std::string::npos) return Dismiss();
    while (keys_.empty() && !steps.empty()) {
      steps.front()(*this);
      steps.pop_front();
    }
    if (keys_.empty()) return {};
    const std::string key = keys_.front();
    keys_.pop_front();
    return key;
  }

  /// Presses keys in order: characters, or names of kSequences, between blanks.
  void Keys(const std::string& keys) {
    std::istringstream words(keys);
    for (std::string key; words >> key;) keys_.push_back(kSequences.count(key) ? kSequences.at(key) : key);
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
    for (const char32_t character : DecodeUtf8(text)) keys_.push_back(EncodeUtf8({&character, 1}));
  }
  void Press(const std::string& button) override {
    GoTo(button);
    Keys("Space");
  }
  void AccessKey(char32_t key) override { keys_.push_back("\x1b" + EncodeUtf8({&key, 1})); }
  void Tab(int step) override { Keys(step < 0 ? "BackTab" : "Tab"); }
  void Enter() override { Keys("Enter"); }
  void Escape() override { Keys("Esc"); }
  void CloseBox() override { Keys("Alt-F4"); }

  std::string Focus() const override {
    for (const auto& [name, place] : kPlaces) {
      const int row = screen->CursorY() - place.y, column = screen->CursorX() - place.x;
      if (row >= 0 && row < place.height && column >= 0 && column < place.width) return name;
    }
    return {};
  }
  std::string Text(const std::string& control) const override {
    const Place& place = kPlaces.at(control);
    return Cells(place.x, place.y, place.width);
  }
  bool Enabled(const std::string& control) const override { return !First(control).style.dim; }
  int SelectedRow(const std::string& list) const override {
    int row = 0;
    while (row < kPlaces.at(list).height && First(list, row).character != U'>') ++row;
    return row;
  }
  std::string Row(const std::string& list, int row) const override {
    const Place& place = kPlaces.at(list);
    return Cells(place.x + 1, place.y + row, 8) + "\t" + Cells(place.x + 9, place.y + row, place.width - 9);
  }
  std::pair<int, int> Selection(const std::string& control) const override {
    const Place& place = kPlaces.at(control);
    const int caret = screen->CursorX() - place.x;
    int start = caret;
    while (start > 0 && screen->At(place.x + start - 1, place.y).style.reverse) --start;
    return {start, caret - start};
  }

 private:
  inline static const std::map<std::string, std::string> kSequences = {
      {"Up", "\x1b[A"},   {"Down", "\x1b[B"},      {"Right", "\x1b[C"},   {"Left", "\x1b[D"},
      {"Home", "\x1b[H"}, {"End", "\x1b[F"},       {"PageUp", "\x1b[5~"}, {"PageDown", "\x1b[6~"},
      {"Tab", "\t"},      {"BackTab", "\x1b[Z"},   {"Delete", "\x1b[3~"}, {"Backspace", "\x7f"},
      {"Enter", "\r"},    {"Esc", "\x1b"},         {"Space", " "},        {"Alt-Down", "\x1b[1;3B"},
      {"F4", "\x1bOS"},   {"Alt-F4", "\x1b[1;3S"}, {"Alt-r", "\x1br"}};

  /// Where the screen shows what a control holds, without its brackets.
  struct Place {
    int x, y, width, height;
  };
  inline static const std::map<std::string, Place> kPlaces = {
      {"lstPort", {26, 5, 29, 3}},  {"cmdConfig", {26, 10, 28, 1}}, {"cboCh", {40, 12, 14, 1}},
      {"cboRate", {40, 14, 14, 1}}, {"cmdOK", {26, 17, 12, 1}},     {"cmdCancel", {42, 17, 12, 1}}};

  const Cell& First(const std::string& control, int row = 0) const {
    const Place& place = kPlaces.at(control);
    return screen->At(place.x, place.y + row);
  }
  /// Without the blanks around it; an underlined access key has its & in front.
  std::string Cells(int x, int y, int width) const {
    std::u32string text;
    for (const int end = x + width; x < end; ++x) {
      if (screen->At(x, y).style.underline) text += U'&';
      text += screen->At(x, y).character;
    }
    text.erase(text.find_last_not_of(U' ') + 1);
    text.erase(0, text.find_first_not_of(U' '));
    return EncodeUtf8(text);
  }
  void GoTo(const std::string& control) {
    const std::vector<std::string> order = {"cboCh", "cboRate", "cmdOK", "cmdCancel", "cmdConfig", "lstPort"};
    const auto place = [&](const std::string& name) {
      return std::find(order.begin(), order.end(), name) - order.begin();
    };
    for (auto tabs = (place(control) - place(Focus()) + 6) % 6; tabs > 0; --tabs) Keys("Tab");
  }
  std::string Dismiss() {
    keys_.clear();
    return messages++ % 2 == 0 ? "\r" : "\x1b";
  }

  int reads_ = 0;
  std::deque<std::string> keys_;
};

}  // namespace halden
