#include "backends/linux/terminal/terminal_toolkit.h"

#include <algorithm>

#include "backends/text/characters.h"

namespace halden {

namespace {

/// Converts a place of one row, given in cells, to the twips of a layout.
Bounds InCells(int left, int top, int width) {
  return {left * kCellWidth, top * kCellHeight, width * kCellWidth, kCellHeight};
}

/// A message box: the text, and an OK button that Enter and Esc press.
WindowLayout MessageLayout(const std::string& text, const std::string& title,
                           const std::function<void()>& dismiss) {
  constexpr int kMargin = 2;
  constexpr int kButtonWidth = 10;
  const int text_width = DisplayWidth(DecodeUtf8(text));
  const int width = std::max(text_width, kButtonWidth) + 2 * kMargin;
  const ControlLayout label{
      .kind = ControlKind::kLabel, .bounds = InCells(kMargin, 1, text_width), .text = text};
  const ControlLayout button{.kind = ControlKind::kButton,
                             .bounds = InCells((width - kButtonWidth) / 2, 3, kButtonWidth),
                             .text = "OK",
                             .default_button = true,
                             .cancel_button = true,
                             .click = dismiss};
  return {.name = "message",
          .caption = title,
          .width = width * kCellWidth,
          .height = 5 * kCellHeight,
          .controls = {label, button},
          .close_box = dismiss};
}

}  // namespace

std::unique_ptr<Window> TerminalToolkit::NewWindow(WindowLayout layout) {
  WindowDisplay& display = *this;
  return std::make_unique<MemoryWindow>(std::move(layout), display, clock_);
}

void TerminalToolkit::ShowMessage(const std::string& text, const std::string& title, MessageIcon) {
  std::unique_ptr<Window> message;
  message = NewWindow(MessageLayout("(!) " + text, title, [&message] { message->Hide(); }));
  message->ShowModal();
}

/// Opens the terminal for the first window.
bool TerminalToolkit::Show(MemoryWindow& window) {
  windows_.push_back(&window);
  if (windows_.size() == 1) {
    if (!terminal_.Open()) {
      windows_.clear();
      return false;
    }
    keys_ = {};
    shown_ = {};
  }
  user_.CloseList();
  RequestRedraw();
  return true;
}

void TerminalToolkit::Remove(MemoryWindow& window) {
  std::erase(windows_, &window);
  user_.CloseList();
  RequestRedraw();
  if (windows_.empty()) terminal_.Close();
}

/// Feeds the keys that have arrived to the window and draws what they changed. A key may show another window,
/// which is then served in here until it closes.
void TerminalToolkit::HandleInput(MemoryWindow& window) {
  if (terminal_.Ended()) {
    // Nobody can close the window any more. Hide follows since the form may refuse the close box.
    window.PressCloseBox();
    window.Hide();
    return;
  }
  keys_.Feed(terminal_.Read(), clock_.GetTickCount());
  while (window.Visible()) {
    const std::optional<Key> key = keys_.Next(clock_.GetTickCount());
    if (!key) break;
    user_.Press(window, *key);
    RequestRedraw();
  }
  if (window.Visible()) Draw();
}

/// Brings the terminal up to date. Sends nothing if nothing has changed.
void TerminalToolkit::Draw() {
  const TerminalSize size = terminal_.Size();
  const bool resized = size != TerminalSize{shown_.Width(), shown_.Height()};
  const bool lost = terminal_.TakeScreenLost();
  if (!changed_ && !resized && !lost) return;
  changed_ = false;
  TerminalScreen wanted = Compose(size);
  terminal_.Write(Repaint(lost ? TerminalScreen() : shown_, wanted));
  shown_ = std::move(wanted);
}

/// What the terminal should show at this size.
TerminalScreen TerminalToolkit::Compose(TerminalSize size) {
  TerminalScreen screen(size.columns, size.rows);
  const CellSize needed = SizeInCells(*windows_.back());
  if (needed.width > size.columns || needed.height > size.rows) {
    const char* text = language_ == TextLanguage::kRussian ? "Терминал мал для окна: нужно "
                                                           : "Terminal too small. Needed: ";
    const std::string numbers = std::to_string(needed.width) + " x " + std::to_string(needed.height);
    screen.Put(0, 0, DecodeUtf8(text + numbers), {}, size.columns);
    return screen;
  }
  for (const MemoryWindow* window : windows_) {
    PaintWindow(*window, window == windows_.back() ? user_.OpenList() : DropDown(), &screen);
  }
  return screen;
}

}  // namespace halden
