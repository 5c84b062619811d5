#pragma once

#include <string>
#include <utility>
#include <windows.h>

#include "platform/form_layout.h"

namespace halden {

/// Owns a font or a brush of the system. Null if the system was out of resources.
class GdiObject {
 public:
  GdiObject() = default;
  explicit GdiObject(HGDIOBJ object) : object_(object) {}
  GdiObject(GdiObject&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  GdiObject& operator=(GdiObject&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~GdiObject() {
    if (object_) DeleteObject(object_);
  }

  explicit operator bool() const { return object_ != nullptr; }
  HGDIOBJ Get() const { return object_; }

 private:
  HGDIOBJ object_ = nullptr;
};

/// The density of the screen that the window is on.
int DotsPerInch(HWND window);

/// Twips (a 1440th of an inch) to dots, rounded.
inline int ToDots(int twips, int dots_per_inch) {
  constexpr int kTwipsPerInch = 1440;
  return MulDiv(twips, dots_per_inch, kTwipsPerInch);
}

/// A system control with its layout. The system destroys its window together with the form's. Texts are
/// UTF-8. Calls that make no sense for the control's kind do nothing.
class Win32Control {
 public:
  /// `id` is the control's number within the form, as WM_COMMAND gives it.
  Win32Control(ControlLayout layout, HWND form, int id);

  const ControlLayout& Layout() const { return layout_; }
  /// Null if the window couldn't be created.
  HWND Handle() const { return window_; }
  bool CanFocus() const { return layout_.kind != ControlKind::kLabel && IsWindowEnabled(window_); }

  /// Sets font, position and size for a screen of this density.
  void Place(int dots_per_inch);
  /// False, with the font unchanged, if there is no such font.
  bool SetFontCharset(std::uint8_t charset);
  /// Answers a WM_CTLCOLOR message: sets the text's colours and returns the brush for the background.
  HBRUSH Paint(HDC drawing) const;

  void SetText(const std::string& text);
  std::string Text() const;
  /// `start` and `length` count characters. Clipped to the text.
  void SetSelection(int start, int length);

  void ClearRows();
  void AddRow(const std::string& text);
  void SetRow(int row, const std::string& text);
  /// Selects a row; none if it doesn't exist. True if the selection changed. Doesn't run `click`.
  bool SelectRow(int row);
  /// -1 if none is selected.
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
