#include "backends/windows/win32_control.h"

#include <algorithm>
#include <cmath>

#include "backends/windows/win32_text.h"

namespace halden {
namespace {

constexpr int kRowsDropped = 8;   // rows that the list of a combo box shows when it is dropped
constexpr int kColumnStop = 36;   // where the second column of a list box begins, in quarters of a character
constexpr int kDroppedFrame = 2;  // dots
constexpr int kLineIndent = 3;    // dots

/// Whether text in this font is drawn in `face`, and not in a substitute chosen by the system.
bool HasFace(const GdiObject& font, const wchar_t* face) {
  wchar_t used[LF_FACESIZE] = {};
  const HDC drawing = CreateCompatibleDC(nullptr);
  const HGDIOBJ before = SelectObject(drawing, font.Get());
  GetTextFaceW(drawing, LF_FACESIZE, used);
  SelectObject(drawing, before);
  DeleteDC(drawing);
  return lstrcmpiW(used, face) == 0;
}

/// Converts a layout's colour to an RGB colour.
COLORREF SystemColor(Color color) {
  constexpr Color kOfSystem = 0x80000000;
  return (color & kOfSystem) ? GetSysColor(static_cast<int>(color & ~kOfSystem)) : color;
}

/// Creates a font, or a similar one if the system doesn't have it. Null if the system is out of resources.
GdiObject MakeFont(const Font& font, int dots_per_inch) {
  constexpr double kPointsPerInch = 72;
  LOGFONTW wanted{};
  // Negative: the height of the letters, not of the line.
  wanted.lfHeight = -std::lround(font.points * dots_per_inch / kPointsPerInch);
  wanted.lfWeight = font.bold ? FW_BOLD : FW_NORMAL;
  wanted.lfCharSet = font.charset;
  WideText(font.name).copy(wanted.lfFaceName, LF_FACESIZE - 1);
  GdiObject made(CreateFontIndirectW(&wanted));
  if (HasFace(made, wanted.lfFaceName)) return made;
  // To match the character set the system may substitute another face. Our text is Unicode, so the face
  // matters more.
  wanted.lfCharSet = DEFAULT_CHARSET;
  GdiObject other(CreateFontIndirectW(&wanted));
  return HasFace(other, wanted.lfFaceName) ? std::move(other) : std::move(made);
}

/// The arguments of CreateWindowEx for a kind of control.
struct NativeKind {
  const wchar_t* window_class;
  DWORD style;
  DWORD extended_style;
};

NativeKind KindOf(const ControlLayout& layout) {
  switch (layout.kind) {
    case ControlKind::kLabel:
      return {L"STATIC", SS_RIGHT, 0};
    case ControlKind::kTextBox:
      if (layout.multi_line) return {L"EDIT", ES_MULTILINE | ES_READONLY | ES_CENTER, 0};
      // ES_MULTILINE although it holds one line: only such a box draws tabs, and takes EM_SETRECT.
      return {L"EDIT", ES_MULTILINE | ES_AUTOHSCROLL | ES_READONLY, WS_EX_CLIENTEDGE};
    case ControlKind::kListBox:
      return {L"LISTBOX", WS_VSCROLL | LBS_NOTIFY | LBS_USETABSTOPS | LBS_NOINTEGRALHEIGHT, WS_EX_CLIENTEDGE};
    case ControlKind::kDropDownList:
      return {L"COMBOBOX", WS_VSCROLL | CBS_DROPDOWNLIST, 0};
    case ControlKind::kComboBox:
      return {L"COMBOBOX", WS_VSCROLL | CBS_DROPDOWN | CBS_AUTOHSCROLL, 0};
    case ControlKind::kButton:
      break;
  }
  return {L"BUTTON", static_cast<DWORD>(layout.default_button ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON), 0};
}

/// The index of the UTF-16 unit at which a character begins; the length of the text if it has fewer
/// characters. "x😀y" has the characters 0, 1 and 2 at the units 0, 1 and 3.
int UnitOf(const std::wstring& text, int character) {
  const auto is_second = [&](std::size_t unit) { return IS_LOW_SURROGATE(text[unit]); };
  std::size_t unit = 0;
  for (; unit < text.size() && (character > 0 || is_second(unit)); ++unit) character -= !is_second(unit);
  return static_cast<int>(unit);
}

std::wstring WindowText(HWND window) {
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window)), L'\0');
  text.resize(
      static_cast<std::size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()) + 1)));
  return text;
}

}  // namespace

int DotsPerInch(HWND window) {
  // Before Windows 10 the function doesn't exist, and every screen has the same density.
  const auto per_window = reinterpret_cast<UINT(WINAPI*)(HWND)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32.dll"), "GetDpiForWindow")));
  if (per_window) return static_cast<int>(per_window(window));
  const HDC screen = GetDC(nullptr);
  const int dots = GetDeviceCaps(screen, LOGPIXELSX);
  ReleaseDC(nullptr, screen);
  return dots;
}

/// List boxes and combo boxes have the same messages with different numbers.
struct Win32Control::RowMessages {
  UINT add, insert, remove, clear, select, selected, count;
};

const Win32Control::RowMessages& Win32Control::Rows() const {
  static constexpr RowMessages kList{LB_ADDSTRING, LB_INSERTSTRING, LB_DELETESTRING, LB_RESETCONTENT,
                                     LB_SETCURSEL, LB_GETCURSEL,    LB_GETCOUNT};
  static constexpr RowMessages kCombo{CB_ADDSTRING, CB_INSERTSTRING, CB_DELETESTRING, CB_RESETCONTENT,
                                      CB_SETCURSEL, CB_GETCURSEL,    CB_GETCOUNT};
  return layout_.kind == ControlKind::kListBox ? kList : kCombo;
}

Win32Control::Win32Control(ControlLayout layout, HWND form, int id) : layout_(std::move(layout)) {
  const NativeKind kind = KindOf(layout_);
  const DWORD tab_stop = layout_.tab_stop && layout_.kind != ControlKind::kLabel ? WS_TABSTOP : 0;
  window_ = CreateWindowExW(kind.extended_style, kind.window_class, WideText(layout_.text).c_str(),
                            WS_CHILD | WS_VISIBLE | tab_stop | kind.style, 0, 0, 0, 0, form,
                            reinterpret_cast<HMENU>(static_cast<std::intptr_t>(id)), nullptr, nullptr);
  brush_ = GdiObject(CreateSolidBrush(SystemColor(layout_.back_color)));
}

LRESULT Win32Control::Send(UINT message, WPARAM word, LPARAM data) const {
  return SendMessageW(window_, message, word, data);
}

LRESULT Win32Control::SendText(UINT message, WPARAM word, const std::string& text) const {
  return Send(message, word, reinterpret_cast<LPARAM>(WideText(text).c_str()));
}

void Win32Control::Place(int dots_per_inch) {
  dots_per_inch_ = dots_per_inch;
  TakeFont(layout_.font);
  const auto dots = [dots_per_inch](int twips) { return ToDots(twips, dots_per_inch); };
  const Bounds& bounds = layout_.bounds;
  const int left = dots(bounds.left), top = dots(bounds.top);
  const int width = dots(bounds.left + bounds.width) - left, height = dots(bounds.top + bounds.height) - top;
  // Convert the edges, not the sizes, so that controls that touch in the layout touch on the screen.
  if (layout_.kind == ControlKind::kLabel) return PlaceLabel();
  if (layout_.kind == ControlKind::kDropDownList || layout_.kind == ControlKind::kComboBox)
    return PlaceComboBox(left, top, width, height);
  SetWindowPos(window_, nullptr, left, top, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
  if (layout_.kind == ControlKind::kTextBox && !layout_.multi_line) PlaceLine();
  if (layout_.kind == ControlKind::kListBox) Send(LB_SETTABSTOPS, 1, reinterpret_cast<LPARAM>(&kColumnStop));
}

SIZE Win32Control::TextExtent() const {
  const std::wstring text = WindowText(window_);
  RECT extent{};
  const HDC drawing = GetDC(window_);
  const HGDIOBJ before = SelectObject(drawing, font_.Get());
  DrawTextW(drawing, text.data(), static_cast<int>(text.size()), &extent, DT_CALCRECT | DT_SINGLELINE);
  SelectObject(drawing, before);
  ReleaseDC(window_, drawing);
  return {extent.right, extent.bottom};
}

/// Makes a label as wide as its text. Its right edge stays.
void Win32Control::PlaceLabel() {
  const SIZE extent = TextExtent();
  const Bounds& bounds = layout_.bounds;
  const int right = ToDots(bounds.left + bounds.width, dots_per_inch_);
  const int height = std::max<int>(extent.cy, ToDots(bounds.height, dots_per_inch_));
  SetWindowPos(window_, nullptr, right - extent.cx, ToDots(bounds.top, dots_per_inch_), extent.cx, height,
               SWP_NOZORDER | SWP_NOACTIVATE);
}

/// Centres the text of a one-line text box vertically. The system leaves it at the top.
void Win32Control::PlaceLine() {
  RECT place{};
  GetClientRect(window_, &place);
  const LONG margin = std::max(0L, (place.bottom - TextExtent().cy) / 2);
  InflateRect(&place, -kLineIndent, -static_cast<int>(margin));
  Send(EM_SETRECT, 0, reinterpret_cast<LPARAM>(&place));
}

/// Leaves the box as high as the system makes it for its font, and centres it in the layout's row. In a
/// higher box the system would draw the text at the top. It takes the height of a combo box's window for that
/// of the dropped list.
void Win32Control::PlaceComboBox(int left, int top, int width, int height) {
  const auto row = static_cast<int>(Send(CB_GETITEMHEIGHT, 0));
  SetWindowPos(window_, nullptr, left, top, width, height + kRowsDropped * row + kDroppedFrame,
               SWP_NOZORDER | SWP_NOACTIVATE);
  RECT closed{};
  GetWindowRect(window_, &closed);
  SetWindowPos(window_, nullptr, left, top + (height - (closed.bottom - closed.top)) / 2, 0, 0,
               SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

bool Win32Control::SetFontCharset(std::uint8_t charset) {
  Font font = layout_.font;
  font.charset = charset;
  if (!TakeFont(font)) return false;
  layout_.font = font;
  if (layout_.kind == ControlKind::kLabel) PlaceLabel();
  return true;
}

bool Win32Control::TakeFont(const Font& font) {
  GdiObject made = MakeFont(font, dots_per_inch_);
  if (!made) return false;
  Send(WM_SETFONT, reinterpret_cast<WPARAM>(made.Get()), TRUE);
  font_ = std::move(made);  // deletes the old font, which the control no longer uses
  return true;
}

HBRUSH Win32Control::Paint(HDC drawing) const {
  SetTextColor(drawing, SystemColor(layout_.fore_color));
  SetBkColor(drawing, SystemColor(layout_.back_color));
  return static_cast<HBRUSH>(brush_.Get());
}

void Win32Control::SetText(const std::string& text) {
  if (layout_.kind == ControlKind::kListBox || layout_.kind == ControlKind::kDropDownList) return;
  if (Text() == text) return;  // otherwise a text box that is set 20 times a second would flicker
  SendText(WM_SETTEXT, 0, text);
  if (layout_.kind == ControlKind::kLabel) PlaceLabel();
}

std::string Win32Control::Text() const {
  return Utf8Text(WindowText(window_));
}

void Win32Control::SetSelection(int start, int length) {
  if (layout_.kind != ControlKind::kComboBox) return;
  const std::wstring text = WindowText(window_);
  start = std::max(start, 0);
  const int begin = UnitOf(text, start);
  const int end = begin + UnitOf(text.substr(static_cast<std::size_t>(begin)), std::max(length, 0));
  Send(CB_SETEDITSEL, 0, MAKELPARAM(begin, end));
}

bool Win32Control::HasRows() const {
  return layout_.kind == ControlKind::kListBox || layout_.kind == ControlKind::kDropDownList ||
         layout_.kind == ControlKind::kComboBox;
}

void Win32Control::ClearRows() {
  if (!HasRows()) return;
  const std::string text = Text();
  Send(Rows().clear);
  SetText(text);  // a combo box has cleared its text too
}

void Win32Control::AddRow(const std::string& text) {
  if (HasRows()) SendText(Rows().add, 0, text);
}

/// Replaces a row without moving the selection. The system has no message for that.
void Win32Control::SetRow(int row, const std::string& text) {
  if (!HasRows()) return;
  const auto place = static_cast<WPARAM>(row);
  const LRESULT selected = Send(Rows().selected);
  Send(WM_SETREDRAW, FALSE);
  Send(Rows().remove, place);
  SendText(Rows().insert, place, text);
  Send(Rows().select, static_cast<WPARAM>(selected));
  Send(WM_SETREDRAW, TRUE);
  InvalidateRect(window_, nullptr, TRUE);
}

bool Win32Control::SelectRow(int row) {
  if (!HasRows()) return false;
  const LRESULT before = Send(Rows().selected);
  const bool exists = row >= 0 && row < Send(Rows().count);
  Send(Rows().select, static_cast<WPARAM>(exists ? row : -1));
  const LRESULT now = Send(Rows().selected);
  if (layout_.kind == ControlKind::kComboBox) SetSelection(0, GetWindowTextLengthW(window_));
  return now != before;
}

int Win32Control::SelectedRow() const {
  if (!HasRows()) return -1;
  // In a combo box the text decides: typing "50" selects the row "50".
  if (layout_.kind == ControlKind::kComboBox)
    return static_cast<int>(SendText(CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1), Text()));
  return static_cast<int>(Send(Rows().selected));
}

}  // namespace halden
