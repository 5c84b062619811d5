#include "backends/linux/terminal/terminal_painter.h"

#include <algorithm>

#include "backends/text/characters.h"

namespace halden {

namespace {

constexpr int kMaxDropDownRows = 8;
constexpr int kFirstTabStop = 8;

/// A rectangle of cells.
struct CellRect {
  int x;
  int y;
  int width;
  int height;

  /// The column after its last one.
  int Right() const { return x + width; }
};

/// Twips in cells of this size, rounded to the nearest.
int Scale(int twips, int cell) {
  return (twips + cell / 2) / cell;
}

/// Other controls are one row high, whatever their layout says.
bool HasManyRows(const ControlLayout& layout) {
  return layout.kind == ControlKind::kListBox || layout.multi_line;
}

/// Where a control is, relative to the client area. A control of one row is placed by its vertical centre, so
/// that a label and its box, which have different heights in twips, share a row. Left and right edges are
/// rounded separately, so that controls which are aligned in twips are aligned in cells.
CellRect RectOf(const ControlLayout& layout) {
  const Bounds& bounds = layout.bounds;
  const int left = Scale(bounds.left, kCellWidth);
  const int width = Scale(bounds.left + bounds.width, kCellWidth) - left;
  if (!HasManyRows(layout)) return {left, (bounds.top + bounds.height / 2) / kCellHeight, width, 1};
  const int top = bounds.top / kCellHeight;
  return {left, top, width, (bounds.top + bounds.height + kCellHeight - 1) / kCellHeight - top};
}

// How a form looks, a part of the port dialog for instance:
//
//   N of Channels: [3             ▾]     a label, and a drop-down list that is open
//                  ┌──────────────┐
//                  │ 2          ▴ │     its rows, with more of them above and below
//                  │>3            │     the selected one; ">" shows it where colours don't
//                  │ 4          ▾ │
//                  └──────────────┘
//   [     OK     ]  [   Cancel   ]

/// Draws the controls of one window. Its client area begins at `x` and `y` of the screen.
class Painter {
 public:
  Painter(const MemoryWindow& window, int x, int y, TerminalScreen* screen)
      : window_(window), x_(x), y_(y), screen_(*screen) {}

  void PaintControls() {
    for (int control = 0; control < window_.ControlCount(); ++control) Paint(control);
  }
  void PaintDropDown(const DropDown& drop_down);

 private:
  void Paint(int control);
  void PaintLabel(const MemoryControl& label, const CellRect& rect);
  void PaintButton(const MemoryControl& button, const CellRect& rect, bool focused);
  void PaintTextBox(const MemoryControl& box, const CellRect& rect, bool focused);
  void PaintDropDownList(const MemoryControl& list, const CellRect& rect, bool focused);
  void PaintComboBox(const MemoryControl& combo, const CellRect& rect, bool focused);
  void PaintComboFrame(const CellRect& rect, const CellStyle& style);
  void PaintRows(const MemoryControl& list, const CellRect& rect, int selected, bool focused);
  void PaintRow(const std::string& row, const CellRect& line, int second_column, const CellStyle& style);
  int PutCaption(const Caption& caption, int x, int y, int end, CellStyle style);

  const MemoryWindow& window_;
  int x_;
  int y_;
  TerminalScreen& screen_;
};

CellRect MovedBy(CellRect rect, int x, int y) {
  return {rect.x + x, rect.y + y, rect.width, rect.height};
}

void Painter::Paint(int index) {
  const MemoryControl& control = window_.Control(index);
  const CellRect rect = MovedBy(RectOf(control.layout), x_, y_);
  const bool focused = window_.Focus() == index;
  switch (control.layout.kind) {
    case ControlKind::kLabel:
      return PaintLabel(control, rect);
    case ControlKind::kButton:
      return PaintButton(control, rect, focused);
    case ControlKind::kTextBox:
      return PaintTextBox(control, rect, focused);
    case ControlKind::kDropDownList:
      return PaintDropDownList(control, rect, focused);
    case ControlKind::kComboBox:
      return PaintComboBox(control, rect, focused);
    case ControlKind::kListBox:
      return PaintRows(control, rect, control.selected, focused);
  }
}

/// Draws a caption with its access key underlined, and returns the column after it.
int Painter::PutCaption(const Caption& caption, int x, int y, int end, CellStyle style) {
  for (std::size_t i = 0; i < caption.text.size(); ++i) {
    style.underline = caption.access_key == i;
    x = screen_.Put(x, y, std::u32string_view(caption.text).substr(i, 1), style, end);
  }
  return x;
}

/// Right-justified: a text that is wider than the label reaches out to the left, as far as the window's edge.
void Painter::PaintLabel(const MemoryControl& label, const CellRect& rect) {
  const Caption caption(EncodeUtf8(label.text.Text()));
  PutCaption(caption, std::max(x_, rect.Right() - DisplayWidth(caption.text)), rect.y, rect.Right(), {});
}

/// "[ caption ]", centred. The default button is bold, a disabled one dim, the one with the focus reversed.
void Painter::PaintButton(const MemoryControl& button, const CellRect& rect, bool focused) {
  const CellStyle style{.bold = button.layout.default_button, .dim = !button.enabled, .reverse = focused};
  screen_.Fill(rect.x, rect.y, rect.width, 1, style);
  screen_.Put(rect.x, rect.y, U'[', style);
  screen_.Put(rect.Right() - 1, rect.y, U']', style);
  const Caption caption(EncodeUtf8(button.text.Text()));
  const int room = rect.width - 2;
  const int begin = rect.x + 1 + std::max(0, room - DisplayWidth(caption.text)) / 2;
  PutCaption(caption, begin, rect.y, rect.x + 1 + room, style);
  if (focused) screen_.PlaceCursor(begin, rect.y);
}

/// The lines of a box that may have several are centred. Those that it has no room for are left out.
void Painter::PaintTextBox(const MemoryControl& box, const CellRect& rect, bool focused) {
  const CellStyle style{
      .fore = box.layout.fore_color, .back = box.layout.back_color, .bold = box.layout.font.bold};
  screen_.Fill(rect.x, rect.y, rect.width, rect.height, style);
  std::u32string_view rest = box.text.Text();
  for (int line = 0; line < rect.height; ++line) {
    const auto end = box.layout.multi_line ? rest.find(U"\r\n") : std::u32string_view::npos;
    const std::u32string_view text = rest.substr(0, end);
    const int indent = box.layout.multi_line ? std::max(0, rect.width - DisplayWidth(text)) / 2 : 0;
    screen_.Put(rect.x + indent, rect.y + line, text, style, rect.Right());
    if (end == std::u32string_view::npos) break;
    rest.remove_prefix(end + 2);
  }
  if (focused) screen_.PlaceCursor(rect.x, rect.y);
}

/// "[text   ▾]", without the text.
void Painter::PaintComboFrame(const CellRect& rect, const CellStyle& style) {
  screen_.Fill(rect.x + 1, rect.y, rect.width - 3, 1, style);
  screen_.Put(rect.x, rect.y, U'[', {});
  screen_.Put(rect.Right() - 2, rect.y, U'▾', {});
  screen_.Put(rect.Right() - 1, rect.y, U']', {});
}

void Painter::PaintDropDownList(const MemoryControl& list, const CellRect& rect, bool focused) {
  const CellStyle style{.dim = !list.enabled, .reverse = focused};
  PaintComboFrame(rect, style);
  if (list.selected >= 0) {
    screen_.Put(rect.x + 1, rect.y, DecodeUtf8(list.rows[list.selected]), style, rect.Right() - 2);
  }
  if (focused) screen_.PlaceCursor(rect.x + 1, rect.y);
}

/// If the text is longer than the box, its beginning is left out, so that the caret stays visible.
void Painter::PaintComboBox(const MemoryControl& combo, const CellRect& rect, bool focused) {
  PaintComboFrame(rect, {});
  const EditText& edit = combo.text;
  const int end = rect.Right() - 2;
  std::size_t first = 0;
  const auto before_caret = [&] {
    return std::u32string_view(edit.Text()).substr(first, edit.Caret() - first);
  };
  while (rect.x + 1 + DisplayWidth(before_caret()) >= end) ++first;
  int x = rect.x + 1;
  for (std::size_t i = first; i < edit.Text().size(); ++i) {
    const int place = static_cast<int>(i);
    const bool selected = focused && place >= edit.SelectionStart() && place < edit.Caret();
    const CellStyle style{.dim = !combo.enabled, .reverse = selected};
    x = screen_.Put(x, rect.y, std::u32string_view(edit.Text()).substr(i, 1), style, end);
  }
  if (focused) screen_.PlaceCursor(rect.x + 1 + DisplayWidth(before_caret()), rect.y);
}

/// A list in a frame, scrolled so that the selected row is near the middle. Arrows in the right border show
/// that there are more rows above or below.
void Painter::PaintRows(const MemoryControl& list, const CellRect& rect, int selected, bool focused) {
  screen_.Frame(rect.x, rect.y, rect.width, rect.height, {});
  const int count = static_cast<int>(list.rows.size());
  const int visible = std::min(rect.height - 2, count);
  const int first = std::clamp(selected - visible / 2, 0, count - visible);
  if (first > 0) screen_.Put(rect.Right() - 1, rect.y + 1, U'▴', {});
  if (first + visible < count) screen_.Put(rect.Right() - 1, rect.y + visible, U'▾', {});
  // The text after a tab begins in the same column in every row, two blanks after the longest first part.
  int second_column = kFirstTabStop;
  for (const std::string& row : list.rows) {
    if (const auto tab = row.find('\t'); tab != std::string::npos) {
      second_column = std::max(second_column, DisplayWidth(DecodeUtf8(row.substr(0, tab))) + 2);
    }
  }
  for (int row = first; row < first + visible; ++row) {
    const CellRect line{rect.x + 1, rect.y + 1 + row - first, rect.width - 2, 1};
    const CellStyle style{.dim = !list.enabled, .reverse = row == selected};
    PaintRow(list.rows[row], line, second_column, style);
    if (row == selected) screen_.Put(line.x, line.y, U'>', style);
    if (row == selected && focused) screen_.PlaceCursor(line.x, line.y);
  }
}

void Painter::PaintRow(const std::string& row, const CellRect& line, int second_column,
                       const CellStyle& style) {
  screen_.Fill(line.x, line.y, line.width, 1, style);
  const auto tab = row.find('\t');
  screen_.Put(line.x + 1, line.y, DecodeUtf8(row.substr(0, tab)), style, line.Right());
  if (tab == std::string::npos) return;
  screen_.Put(line.x + 1 + second_column, line.y, DecodeUtf8(row.substr(tab + 1)), style, line.Right());
}

/// Draws the list below its combo box, or above it if only there all of it has room. If it has room on
/// neither side, it is shortened on the larger one: it never covers its own box.
void Painter::PaintDropDown(const DropDown& drop_down) {
  const MemoryControl& combo = window_.Control(drop_down.control);
  CellRect rect = MovedBy(RectOf(combo.layout), x_, y_);
  const int above = rect.y;
  const int below = screen_.Height() - (rect.y + 1);
  const int wanted = std::min(static_cast<int>(combo.rows.size()), kMaxDropDownRows) + 2;
  const bool drops_down = wanted <= below || below >= above;
  rect.height = std::min(wanted, drops_down ? below : above);
  rect.y = drops_down ? rect.y + 1 : above - rect.height;
  PaintRows(combo, rect, drop_down.row, true);
}

}  // namespace

CellSize SizeInCells(const MemoryWindow& window) {
  const WindowLayout& layout = window.Layout();
  return {Scale(layout.width, kCellWidth) + 2, Scale(layout.height, kCellHeight) + 2};
}

void PaintWindow(const MemoryWindow& window, const DropDown& drop_down, TerminalScreen* screen) {
  const CellSize size = SizeInCells(window);
  const int x = std::max(0, (screen->Width() - size.width) / 2);
  const int y = std::max(0, (screen->Height() - size.height) / 2);
  screen->Frame(x, y, size.width, size.height, {});
  const std::u32string caption = U" " + DecodeUtf8(window.Layout().caption) + U" ";
  screen->Put(x + 2, y, caption, {.bold = true}, x + size.width - 2);
  Painter painter(window, x + 1, y + 1, screen);
  painter.PaintControls();
  if (drop_down.control >= 0) painter.PaintDropDown(drop_down);
}

int VisibleRows(const MemoryControl& control) {
  if (control.layout.kind != ControlKind::kListBox) return kMaxDropDownRows;
  return std::max(1, RectOf(control.layout).height - 2);
}

}  // namespace halden
