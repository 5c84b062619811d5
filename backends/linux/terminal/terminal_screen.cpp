#include "backends/linux/terminal/terminal_screen.h"

#include "backends/text/characters.h"
#include "backends/text/code_page.h"

namespace halden {

namespace {

/// Colours from here on are numbers of the system's colours.
constexpr Color kSystemColor = 0x80000000;

/// The nearest of the terminal's 16 colours, as the SGR code of a foreground; 10 more is that of a
/// background. Bits 0 to 2 of the code are red, green and blue, in the order of the bytes of a Color:
/// 0x0000FF00 is 92, bright green.
int SgrColor(Color color) {
  int index = 0;
  bool bright = false;
  for (int component = 0; component < 3; ++component) {
    const Color level = (color >> (8 * component)) & 0xFF;
    if (level >= 0x60) index |= 1 << component;
    bright = bright || level >= 0xC0;
  }
  return (bright ? 90 : 30) + index;
}

/// The sequence (Select Graphic Rendition) that sets a style, whatever was set before.
std::string Sgr(const CellStyle& style) {
  std::string codes = "\x1b[0";
  if (style.bold) codes += ";1";
  if (style.dim) codes += ";2";
  if (style.underline) codes += ";4";
  if (style.reverse) codes += ";7";
  if (style.fore < kSystemColor) codes += ";" + std::to_string(SgrColor(style.fore));
  if (style.back < kSystemColor) codes += ";" + std::to_string(SgrColor(style.back) + 10);
  return codes + "m";
}

std::string CursorTo(int x, int y) {
  return "\x1b[" + std::to_string(y + 1) + ";" + std::to_string(x + 1) + "H";
}

/// Both screens must have the same width.
bool SameRow(const TerminalScreen& a, const TerminalScreen& b, int y) {
  for (int x = 0; x < a.Width(); ++x) {
    if (a.At(x, y) != b.At(x, y)) return false;
  }
  return true;
}

/// Sends a row from its left end, with a new style only where the style changes.
void PaintRow(const TerminalScreen& screen, int y, std::string* output) {
  *output += CursorTo(0, y);
  for (int x = 0; x < screen.Width(); ++x) {
    const Cell& cell = screen.At(x, y);
    if (x == 0 || cell.style != screen.At(x - 1, y).style) *output += Sgr(cell.style);
    if (cell.character != 0) AppendUtf8(cell.character, output);
  }
  *output += "\x1b[0m";
}

}  // namespace

int TerminalScreen::Put(int x, int y, std::u32string_view text, const CellStyle& style, int end) {
  for (const char32_t character : text) {
    const bool is_control = character < 0x20 || (character >= 0x7F && character < 0xA0);  // C0, DEL and C1
    const int width = is_control ? 1 : DisplayWidth(character);
    if (x + width > end) break;
    if (width > 0) x = Put(x, y, is_control ? U' ' : character, style);
  }
  return x;
}

int TerminalScreen::Put(int x, int y, char32_t character, const CellStyle& style) {
  const int width = DisplayWidth(character);
  // The right half of a wide character has no character of its own: the terminal draws both halves.
  for (int i = 0; i < width; ++i) {
    if (x + i < 0 || x + i >= width_ || y < 0 || y >= height_) continue;
    cells_[y * width_ + x + i] = {i == 0 ? character : U'\0', style};
  }
  return x + width;
}

void TerminalScreen::Fill(int x, int y, int width, int height, const CellStyle& style) {
  for (int row = y; row < y + height; ++row) {
    for (int column = x; column < x + width; ++column) Put(column, row, U' ', style);
  }
}

void TerminalScreen::Frame(int x, int y, int width, int height, const CellStyle& style) {
  Fill(x, y, width, height, style);
  const int right = x + width - 1;
  const int bottom = y + height - 1;
  for (int column = x + 1; column < right; ++column) {
    Put(column, y, U'─', style);
    Put(column, bottom, U'─', style);
  }
  for (int row = y + 1; row < bottom; ++row) {
    Put(x, row, U'│', style);
    Put(right, row, U'│', style);
  }
  Put(x, y, U'┌', style);
  Put(right, y, U'┐', style);
  Put(x, bottom, U'└', style);
  Put(right, bottom, U'┘', style);
}

void TerminalScreen::PlaceCursor(int x, int y) {
  const bool inside = x >= 0 && x < width_ && y >= 0 && y < height_;
  cursor_x_ = inside ? x : -1;
  cursor_y_ = inside ? y : -1;
}

std::string TerminalScreen::Text() const {
  std::string text;
  for (int y = 0; y < height_; ++y) {
    std::string row;
    for (int x = 0; x < width_; ++x) {
      if (At(x, y).character != 0) AppendUtf8(At(x, y).character, &row);
    }
    row.erase(row.find_last_not_of(' ') + 1);
    text += row + "\n";
  }
  return text;
}

std::string Repaint(const TerminalScreen& shown, const TerminalScreen& wanted) {
  const bool whole = shown.Width() != wanted.Width() || shown.Height() != wanted.Height();
  // The cursor is hidden meanwhile, or it would be seen jumping about.
  std::string output = whole ? "\x1b[?25l\x1b[0m\x1b[2J" : "\x1b[?25l";
  for (int y = 0; y < wanted.Height(); ++y) {
    if (whole || !SameRow(shown, wanted, y)) PaintRow(wanted, y, &output);
  }
  if (wanted.CursorX() >= 0) output += CursorTo(wanted.CursorX(), wanted.CursorY()) + "\x1b[?25h";
  return output;
}

}  // namespace halden
