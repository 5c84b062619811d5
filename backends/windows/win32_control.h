#pragma once

#include <string>

#include "backends/windows/win32_gdi.h"

namespace halden {

/// A control of the system and its design. Its window is a child of the form's, and goes with it.
class Win32Control {
 public:
  Win32Control(ControlLayout layout, HWND form, int id);

  const ControlLayout& Layout() const { return layout_; }
  /// Null if the system had no room for it.
  HWND Handle() const { return window_; }
  bool CanFocus() const { return layout_.kind != ControlKind::kLabel && IsWindowEnabled(window_); }

  /// Takes the font and the place of the design on a screen of this density.
  void Place(int dots_per_inch);
  bool SetFontCharset(std::uint8_t charset);
  /// For one of its windows that is about to be drawn: its colours, and the brush behind it.
  HBRUSH Paint(HDC drawing) const;

  void SetText(const std::string& text);
  std::string Text() const;
  void SetSelection(int start, int length);

  void ClearRows();
  void AddRow(const std::string& text);
  void SetRow(int row, const std::string& text);
  /// True: another row is selected now. Its click hasn't run.
  bool SelectRow(int row);
  int SelectedRow() const;

 private:
  struct RowMessages;

  bool HasRows() const;
  const RowMessages& Rows() const;
  LRESULT Send(UINT message, WPARAM word = 0, LPARAM data = 0) const;
  LRESULT SendText(UINT message, WPARAM word, const std::string& text) const;
  bool TakeFont(const Font& font);
  SIZE TextExtent() const;
  void PlaceLabel();
  void PlaceLine();
  void PlaceComboBox(int left, int top, int width, int height);

  ControlLayout layout_;
  HWND window_;
  GdiObject font_;
  GdiObject brush_;
  int dots_per_inch_ = USER_DEFAULT_SCREEN_DPI;
};

}  // namespace halden
