#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/form_layout.h"

namespace halden {

/// How a character is drawn. Colours are those of form_layout.h; for a colour of the system the terminal uses
/// its default foreground or background.
struct CellStyle {
  Color fore = kWindowTextColor;
  Color back = kWindowColor;
  bool bold = false;
  bool dim = false;
  bool underline = false;
  bool reverse = false;
  bool operator==(const CellStyle&) const = default;
};

/// One character of the grid.
struct Cell {
  char32_t character = U' ';  ///< 0: the right half of the wide character to the left
  CellStyle style;
  bool operator==(const Cell&) const = default;
};

/// What a terminal shows: a grid of cells, counted from 0 at the top left, and the cursor. Anything drawn
/// outside the grid is cut off. Drawing sends nothing; Repaint computes what has to be sent.
class TerminalScreen {
 public:
  TerminalScreen() : TerminalScreen(0, 0) {}
  TerminalScreen(int width, int height)
      : width_(width), height_(height), cells_(static_cast<std::size_t>(width) * height) {}

  int Width() const { return width_; }
  int Height() const { return height_; }
  /// Both must be within the grid.
  const Cell& At(int x, int y) const { return cells_[y * width_ + x]; }

  /// Draws one line and returns the column after it. Control characters appear as blanks and combining
  /// characters are left out, so the text can't send a sequence to the terminal. It is cut off before column
  /// `end`; a wide character of which only half would fit isn't drawn.
  int Put(int x, int y, std::u32string_view text, const CellStyle& style, int end);
  /// Draws one character, which must not be a control character, and returns the column after it.
  int Put(int x, int y, char32_t character, const CellStyle& style);
  /// Draws blanks.
  void Fill(int x, int y, int width, int height, const CellStyle& style);
  /// Draws a border one cell wide, with blanks inside.
  void Frame(int x, int y, int width, int height, const CellStyle& style);

  /// Shows the cursor, which is hidden before, or hides it if the place is outside the grid.
  void PlaceCursor(int x, int y);
  /// -1 if it is hidden.
  int CursorX() const { return cursor_x_; }
  int CursorY() const { return cursor_y_; }

  /// The characters in UTF-8. Each row ends in a line feed and is without its trailing blanks.
  std::string Text() const;

 private:
  int width_;  // cells
  int height_;
  std::vector<Cell> cells_;  // row by row
  int cursor_x_ = -1;
  int cursor_y_ = -1;
};

/// The text and escape sequences that turn a terminal which shows `shown` into one that shows `wanted`. Rows
/// that are equal aren't sent. If the sizes differ, the terminal is cleared and every row is sent:
/// TerminalScreen() as `shown` therefore means that nothing is known about the terminal.
std::string Repaint(const TerminalScreen& shown, const TerminalScreen& wanted);

}  // namespace halden
