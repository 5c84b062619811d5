#pragma once

#include "backends/linux/terminal/terminal_screen.h"
#include "backends/toolkit/memory_window.h"

namespace halden {

/// The size of a cell in twips, the unit of a form's layout. A window of 6060 by 1650 twips takes 76 by 8
/// cells.
inline constexpr int kCellWidth = 80;
inline constexpr int kCellHeight = 200;

/// Which list of a window is dropped down.
struct DropDown {
  int control = -1;  ///< a drop-down list or combo box with at least one row; -1: none
  int row = 0;       ///< the highlighted row, which Enter picks
};

struct CellSize {
  int width;
  int height;
};

/// The size of a window on the screen, including its border.
CellSize SizeInCells(const MemoryWindow& window);

/// Draws the window over the centre of the screen and places the cursor on the control with the focus. The
/// screen should be as large as SizeInCells; what doesn't fit is cut off.
void PaintWindow(const MemoryWindow& window, const DropDown& drop_down, TerminalScreen* screen);

/// Rows of the control's list that are visible at a time on a screen with room for them, by which the Page
/// keys move; at least 1.
int VisibleRows(const MemoryControl& control);

}  // namespace halden
