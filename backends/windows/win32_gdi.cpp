#include "backends/windows/win32_gdi.h"

#include <cmath>

#include "backends/windows/wide_text.h"

namespace halden {
namespace {

/// Whether the system writes in this face where the font is asked for.
bool HasFace(const GdiObject& font, const wchar_t* face) {
  wchar_t used[LF_FACESIZE] = {};
  const HDC drawing = CreateCompatibleDC(nullptr);
  const HGDIOBJ before = SelectObject(drawing, font.Get());
  GetTextFaceW(drawing, LF_FACESIZE, used);
  SelectObject(drawing, before);
  DeleteDC(drawing);
  return lstrcmpiW(used, face) == 0;
}

}  // namespace

int DotsPerInch(HWND window) {
  // Systems from before screens of different density don't have the call.
  const auto per_window = reinterpret_cast<UINT(WINAPI*)(HWND)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32.dll"), "GetDpiForWindow")));
  if (per_window) return static_cast<int>(per_window(window));
  const HDC screen = GetDC(nullptr);
  const int dots = GetDeviceCaps(screen, LOGPIXELSX);
  ReleaseDC(nullptr, screen);
  return dots;
}

COLORREF SystemColor(Color color) {
  constexpr Color kOfSystem = 0x80000000;
  return (color & kOfSystem) ? GetSysColor(static_cast<int>(color & ~kOfSystem)) : color;
}

GdiObject MakeFont(const Font& font, int dots_per_inch) {
  constexpr double kPointsPerInch = 72;
  LOGFONTW wanted{};
  wanted.lfHeight = -std::lround(font.points * dots_per_inch / kPointsPerInch);
  wanted.lfWeight = font.bold ? FW_BOLD : FW_NORMAL;
  wanted.lfCharSet = font.charset;
  WideText(font.name).copy(wanted.lfFaceName, LF_FACESIZE - 1);
  GdiObject made(CreateFontIndirectW(&wanted));
  if (HasFace(made, wanted.lfFaceName)) return made;
  // The system would rather change the face than the character set; to a text in Unicode the face is more.
  wanted.lfCharSet = DEFAULT_CHARSET;
  GdiObject other(CreateFontIndirectW(&wanted));
  return HasFace(other, wanted.lfFaceName) ? std::move(other) : std::move(made);
}

}  // namespace halden
