#pragma once

#include <deque>
#include <map>
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
  bool available = true;
  bool held = false;
  bool lost = false;
  bool hung_up = false;
  int messages = 0;          ///< boxes dismissed, by Enter and Esc in turn
  std::string last_message;  ///< the screen with it
  std::vector<std::string> written;

  bool Available() const override { return available; }
  bool Open() override { return held = available; }
  void Close() override { held = false; }
  TerminalSize Size() const override { return size; }
  void Write(std::string_view output) override { written.emplace_back(output); }
  bool TakeScreenLost() override { return std::exchange(lost, false); }
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

  void Key(const std::string& bytes, int count = 1) { keys_.insert(keys_.end(), count, bytes); }
  void PickRow(const std::string& control, int row) override {
    GoTo(control);
    if (control != "lstPort") Key("\x1bOS");
    Key("\x1b[H");
    Key("\x1b[B", row);
    if (control != "lstPort") Enter();
  }
  void Type(const std::string& control, const std::string& text) override {
    GoTo(control);
    Key("\x1b[H");
    Key("\x1b[3~", static_cast<int>(Text(control).size()));
    for (const char32_t character : DecodeUtf8(text)) Key(EncodeUtf8({&character, 1}));
  }
  void Press(const std::string& button) override {
    GoTo(button);
    Key(" ");
  }
  void AccessKey(char32_t key) override { Key("\x1b" + EncodeUtf8({&key, 1})); }
  void Tab(int step) override { Key(step < 0 ? "\x1b[Z" : "\t"); }
  void Enter() override { Key("\r"); }
  void Escape() override { Key("\x1b"); }
  void CloseBox() override { Key("\x1b[1;3S"); }

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
    Key("\t", static_cast<int>(place(control) - place(Focus()) + 6) % 6);
  }
  std::string Dismiss() {
    keys_.clear();
    last_message = screen->Text();
    return messages++ % 2 == 0 ? "\r" : "\x1b";
  }

  int reads_ = 0;
  std::deque<std::string> keys_;
};

}  // namespace halden
