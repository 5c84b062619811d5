#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/form_layout.h"

namespace halden {

/// How a character is drawn. Colours are of form_spec.h; the system's colours are the terminal's own.
struct CellStyle {
  Color fore = kWindowTextColor;
  Color back = kWindowColor;
  bool bold = false;
  bool dim = false;
  bool underline = false;
  bool reverse = false;
  bool operator==(const CellStyle&) const = default;
};

struct Cell {
  char32_t character = U' ';  ///< 0: the right half of the wide character to the left
  CellStyle style;
  bool operator==(const Cell&) const = default;
};

/// What a text terminal shows: a grid of cells and the cursor. Everything outside is cut off.
class TerminalScreen {
 public:
  TerminalScreen() : TerminalScreen(0, 0) {}
  TerminalScreen(int width, int height)
      : width_(width), height_(height), cells_(static_cast<std::size_t>(width) * height) {}

  int Width() const { return width_; }
  int Height() const { return height_; }
  const Cell& At(int x, int y) const { return cells_[y * width_ + x]; }

  /// Draws one line and gives the column behind it. Control characters show as blanks, characters that join
  /// others are left out, and what would reach `end` is cut off.
  int Put(int x, int y, std::u32string_view text, const CellStyle& style, int end);
  int Put(int x, int y, char32_t character, const CellStyle& style);
  void Fill(int x, int y, int width, int height, const CellStyle& style);
  /// A border of lines, with blanks inside.
  void Frame(int x, int y, int width, int height, const CellStyle& style);

  /// Hidden until placed.
  void PlaceCursor(int x, int y);
  /// Where the terminal's cursor has to go, -1 if it is hidden.
  int CursorX() const { return cursor_x_; }
  int CursorY() const { return cursor_y_; }

  /// The characters, rows parted by line feeds, without blanks at the end of a row.
  std::string Text() const;

 private:
  int width_;
  int height_;
  std::vector<Cell> cells_;
  int cursor_x_ = -1;
  int cursor_y_ = -1;
};

/// The escape sequences that turn what `shown` shows into `wanted`. All of it is drawn where the sizes
/// differ.
std::string Repaint(const TerminalScreen& shown, const TerminalScreen& wanted);

}  // namespace halden
