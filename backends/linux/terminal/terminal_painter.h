#pragma once

#include "backends/linux/terminal/terminal_screen.h"
#include "backends/toolkit/memory_window.h"

namespace halden {

/// The size of a cell in the twips of a form's design.
inline constexpr int kCellWidth = 80;
inline constexpr int kCellHeight = 200;

/// The list of a combo box that is dropped down.
struct DropDown {
  int control = -1;  ///< -1: none
  int row = 0;       ///< the one that Enter would pick
};

struct CellSize {
  int width;
  int height;
};

/// What a window takes on the screen, its border included.
CellSize SizeInCells(const MemoryWindow& window);

/// Draws the window in the screen's centre. The cursor goes to the control that has the focus.
void PaintWindow(const MemoryWindow& window, const DropDown& drop_down, TerminalScreen* screen);

/// Rows of the control's list, dropped down or not, that are seen at a time; at least 1.
int VisibleRows(const MemoryControl& control);

}  // namespace halden
