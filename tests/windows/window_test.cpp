#include <cstdlib>
#include <gtest/gtest.h>

#include "backends/windows/windows_platform.h"
#include "tests/port_dialog_flows.h"
#include "tests/windows/screen_user.h"
#include "ui/monitor_window.h"

using namespace halden;

namespace {

LOGFONTW FontOf(HWND window) {
  LOGFONTW font{};
  GetObjectW(reinterpret_cast<HFONT>(SendMessageW(window, WM_GETFONT, 0, 0)), sizeof font, &font);
  return font;
}

/// The colours in which the dialog has the control drawn: of the text and of the background.
std::pair<COLORREF, COLORREF> ColorsOf(HWND form, HWND control) {
  const HDC drawing = GetDC(control);
  SendMessageW(form, WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(drawing), reinterpret_cast<LPARAM>(control));
  const std::pair colors(GetTextColor(drawing), GetBkColor(drawing));
  ReleaseDC(control, drawing);
  return colors;
}

WNDPROC edit_procedure;

/// Selects all of an edit box's text when it gets the focus, as Windows does in a combo box. Wine doesn't.
LRESULT CALLBACK SelectAllOnFocus(HWND edit, UINT message, WPARAM word, LPARAM data) {
  const LRESULT result = CallWindowProcW(edit_procedure, edit, message, word, data);
  if (message == WM_SETFOCUS) SendMessageW(edit, EM_SETSEL, 0, -1);
  return result;
}

HWND EditOf(HWND combo) {
  return FindWindowExW(combo, nullptr, L"Edit", nullptr);
}

}  // namespace

TEST(Win32PortDialog, EveryFlowOfAUserHasItsResult) {
  for (const Flow& flow : PortDialogFlows()) {
    SCOPED_TRACE(flow.name);
    FormFixture machine(flow.machine);
    Win32Toolkit toolkit(GetModuleHandleW(nullptr));
    ScreenUser user(kPortControls, flow.steps);
    EXPECT_EQ(Ask(machine, toolkit, flow.presets), flow.expected);
    EXPECT_EQ(user.messages, flow.messages);
  }
}

TEST(Win32PortDialog, KeepsTheSelectionBehindAMessageAndCentresItsCombos) {
  const int density = std::stoi(std::getenv("HALDEN_DPI"));
  SetProcessDPIAware();
  FormFixture machine;
  Win32Toolkit toolkit(GetModuleHandleW(nullptr));
  const auto place_of = [](HWND window) {
    RECT place{};
    GetWindowRect(window, &place);
    return place;
  };
  const auto play_windows = [](FormUser& user) {
    const HWND edit = EditOf(static_cast<ScreenUser&>(user).Control("cboRate"));
    edit_procedure = reinterpret_cast<WNDPROC>(
        SetWindowLongPtrW(edit, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&SelectAllOnFocus)));
  };
  const auto look = [&](FormUser& user) {
    const auto& screen = static_cast<ScreenUser&>(user);
    const HWND rate = screen.Control("cboRate");
    EXPECT_EQ(SendMessageW(rate, CB_GETEDITSEL, 0, 0), MAKELONG(1, 2)) << "all but the first character of 5x";
    POINT form{};
    ClientToScreen(screen.Form(), &form);
    for (const auto& [box, row_top] : {std::pair(screen.Control("cboCh"), 1560), std::pair(rate, 2010)}) {
      const RECT place = place_of(box);
      const int row_height = MulDiv(315, density, 1440),
                row_middle = MulDiv(2 * row_top + 315, density, 2880);
      EXPECT_NEAR((place.top + place.bottom) / 2 - form.y, row_middle, 1) << "a combo's middle in its row";
      EXPECT_LE(place.bottom - place.top, row_height + density / 48)
          << "a combo is hardly higher than its row";
    }
    const RECT box = place_of(rate), edit = place_of(EditOf(rate));
    EXPECT_NEAR(edit.top - box.top, box.bottom - edit.bottom, 1) << "the text's room above and below";
    EXPECT_LE(edit.bottom - edit.top, -FontOf(rate).lfHeight * 3 / 2) << "room for hardly more than the text";
  };
  ScreenUser user(kPortControls, {play_windows, Type("cboRate", "5x"), Enter(), look, Escape()});
  Ask(machine, toolkit, {false, 2, 3, 12.5f});
  EXPECT_EQ(user.messages, 1);
}

TEST(Win32MonitorWindow, MatchesItsLayoutAtThisDensity) {
  const int density = std::stoi(std::getenv("HALDEN_DPI"));
  SetProcessDPIAware();
  const auto dots = [density](int twips) { return (twips * density + 720) / 1440; };
  const HWND host = CreateWindowW(L"STATIC", L"host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 100, 100,
                                  nullptr, nullptr, nullptr, nullptr);
  FormFixture machine(RussianOptions());
  Win32Toolkit toolkit(GetModuleHandleW(nullptr));
  Platform shown = machine.PlatformOn(toolkit);
  MonitorWindow window(shown);
  window.Load("Halden-Text");
  const auto look = [&](FormUser& user) {
    const auto& screen = static_cast<ScreenUser&>(user);
    const HWND form = screen.Form(), value = screen.Control("txtValue"), info = screen.Control("txtInfo");
    EXPECT_FALSE(IsWindowEnabled(host)) << "the thread's other windows must wait";
    EXPECT_FALSE(GetWindowLongW(form, GWL_EXSTYLE) & WS_EX_TOPMOST) << "only while it comes to the front";
    EXPECT_EQ(ScreenUser::WindowText(form), "Настройки Halden-Text (v3.2.2)");
    RECT client{}, place{};
    GetClientRect(form, &client);
    GetWindowRect(value, &place);
    MapWindowPoints(nullptr, form, reinterpret_cast<POINT*>(&place), 2);
    EXPECT_EQ(client.right, dots(6060));
    EXPECT_EQ(client.bottom, dots(1650));
    EXPECT_EQ(place.left, dots(173));
    EXPECT_EQ(place.bottom, dots(570 + 360));
    EXPECT_EQ(FontOf(info).lfHeight, -(density * 11 + 48) / 96);
    EXPECT_EQ(FontOf(info).lfWeight, FW_BOLD);
    EXPECT_EQ(Utf8Text(FontOf(value).lfFaceName), "Fixedsys");
    EXPECT_EQ(ColorsOf(form, value), std::pair(RGB(0, 255, 0), RGB(0, 0, 0)));
    EXPECT_EQ(ColorsOf(form, info), std::pair(GetSysColor(COLOR_BTNTEXT), GetSysColor(COLOR_BTNFACE)));
  };
  const ScreenUser user({"cmdClose", "txtInfo", "txtValue"}, {look, Enter()});
  EXPECT_TRUE(window.ShowModal());
  EXPECT_TRUE(IsWindowEnabled(host));
  DestroyWindow(host);
}

TEST(Win32Toolkit, AMissingFontIsReplacedAndTextsKeepEveryCharacter) {
  Win32Toolkit toolkit(GetModuleHandleW(nullptr));
  const auto other = toolkit.NewWindow({.controls = {{.text = "Ω漢😀", .font = {.name = "No such font"}}}});
  ASSERT_TRUE(other);
  EXPECT_TRUE(other->SetFontCharset(0, kRussianCharset));
  EXPECT_EQ(other->Text(0), "Ω漢😀");
}
