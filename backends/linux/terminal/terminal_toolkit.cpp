#include "backends/linux/terminal/terminal_toolkit.h"

#include <algorithm>

#include "backends/text/characters.h"

namespace halden {

namespace {

constexpr int kBorder = 1;
constexpr int kMessageMargin = 2;  // cells between the border and the text of a message box

/// Converts a place of one row, given in cells, to the twips of a layout.
Bounds InCells(int left, int top, int width) {
  return {left * kCellWidth, top * kCellHeight, width * kCellWidth, kCellHeight};
}

/// Breaks a text at blanks into lines of at most `width` cells. A word that is wider is cut.
std::vector<std::u32string> Wrap(std::u32string_view text, int width) {
  std::vector<std::u32string> lines;
  while (!text.empty()) {
    std::size_t fits = 0;
    while (fits < text.size() && DisplayWidth(text.substr(0, fits + 1)) <= width) ++fits;
    const std::size_t blank = fits < text.size() ? text.rfind(U' ', fits) : std::u32string_view::npos;
    const bool at_blank = blank != std::u32string_view::npos && blank > 0;
    const std::size_t length = at_blank ? blank : std::max<std::size_t>(fits, 1);
    lines.emplace_back(text.substr(0, length));
    text.remove_prefix(at_blank ? length + 1 : length);
  }
  return lines;
}

/// A message box: the text in lines of at most `text_width` cells, and an OK button that Enter and Esc press.
WindowLayout MessageLayout(const std::string& text, int text_width, const std::string& title,
                           const std::function<void()>& dismiss) {
  constexpr int kButtonWidth = 10;
  const std::vector<std::u32string> lines = Wrap(DecodeUtf8(text), text_width);
  int width = kButtonWidth;
  for (const std::u32string& line : lines) width = std::max(width, DisplayWidth(line));
  width += 2 * kMessageMargin;
  const int height =
      static_cast<int>(lines.size()) + 4;  // a blank row above and below the text, and the button
  WindowLayout layout{.name = "message",
                      .caption = title,
                      .width = width * kCellWidth,
                      .height = height * kCellHeight,
                      .close_box = dismiss};
  for (int row = 0; const std::u32string& line : lines) {
    layout.controls.push_back({.kind = ControlKind::kLabel,
                               .bounds = InCells(kMessageMargin, ++row, DisplayWidth(line)),
                               .text = EncodeUtf8(line)});
  }
  layout.controls.push_back({.kind = ControlKind::kButton,
                             .bounds = InCells((width - kButtonWidth) / 2, height - 2, kButtonWidth),
                             .text = "OK",
                             .default_button = true,
                             .cancel_button = true,
                             .click = dismiss});
  return layout;
}

bool Fits(const MemoryWindow& window, TerminalSize size) {
  const CellSize needed = SizeInCells(window);
  return needed.width <= size.columns && needed.height <= size.rows;
}

}  // namespace

std::unique_ptr<Window> TerminalToolkit::NewWindow(WindowLayout layout) {
  WindowDisplay& display = *this;
  return std::make_unique<MemoryWindow>(std::move(layout), display, clock_);
}

/// No wider than the window that it belongs to, so that it fits wherever that one does.
void TerminalToolkit::ShowMessage(const std::string& text, const std::string& title, MessageIcon) {
  constexpr int kWidthAlone = 60;
  const int width = Front() ? SizeInCells(*Front()).width : kWidthAlone;
  std::unique_ptr<Window> message;
  const auto dismiss = [&message] { message->Hide(); };
  message = NewWindow(MessageLayout("(!) " + text, width - 2 * (kBorder + kMessageMargin), title, dismiss));
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
    if (!Fits(window, terminal_.Size())) {
      // The user can't see what a key would do. Esc always leaves, even if a list was open before.
      if (key->code != KeyCode::kEscape) continue;
      user_.CloseList();
    }
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

/// Says what is wrong and what to do, in 20 columns at most.
void TerminalToolkit::PaintHint(CellSize needed, TerminalScreen* screen) const {
  const bool russian = language_ == TextLanguage::kRussian;
  const std::string size = std::to_string(needed.width) + " x " + std::to_string(needed.height);
  const std::string hint = (russian ? "Мало места: " : "Too small: ") + size;
  screen->Put(0, 0, DecodeUtf8(hint), {}, screen->Width());
  screen->Put(0, 1, DecodeUtf8(russian ? "Esc: закрыть" : "Esc: close"), {}, screen->Width());
}

/// What the terminal should show at this size.
TerminalScreen TerminalToolkit::Compose(TerminalSize size) {
  TerminalScreen screen(size.columns, size.rows);
  if (!Fits(*windows_.back(), size)) {
    PaintHint(SizeInCells(*windows_.back()), &screen);
    return screen;
  }
  for (const MemoryWindow* window : windows_) {
    PaintWindow(*window, window == windows_.back() ? user_.OpenList() : DropDown(), &screen);
  }
  return screen;
}

}  // namespace halden
