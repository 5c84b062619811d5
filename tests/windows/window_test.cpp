#include <array>
#include <cstdlib>
#include <gtest/gtest.h>

#include "platform/windows/win32_toolkit.h"
#include "tests/port_dialog_flows.h"
#include "tests/windows/screen_user.h"
#include "ui/monitor_window.h"

using namespace halden;

namespace {

/// Left, top, right and bottom of a window in the dialog's client area.
using Place = std::array<int, 4>;

Place PlaceOf(HWND window) {
  RECT rect{};
  GetWindowRect(window, &rect);
  MapWindowPoints(nullptr, GetParent(window), reinterpret_cast<POINT*>(&rect), 2);
  return {rect.left, rect.top, rect.right, rect.bottom};
}

LOGFONTW FontOf(HWND window) {
  LOGFONTW font{};
  GetObjectW(reinterpret_cast<HFONT>(SendMessageW(window, WM_GETFONT, 0, 0)), sizeof font, &font);
  return font;
}

/// The colours with which the dialog has the control drawn: of its text, and behind it.
std::pair<COLORREF, COLORREF> ColorsOf(HWND form, HWND control) {
  const HDC drawing = GetDC(control);
  const auto brush = SendMessageW(form, WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(drawing),
                                  reinterpret_cast<LPARAM>(control));
  LOGBRUSH behind{};
  GetObjectW(reinterpret_cast<HBRUSH>(brush), sizeof behind, &behind);
  EXPECT_EQ(GetBkColor(drawing), behind.lbColor);
  const COLORREF text = GetTextColor(drawing);
  ReleaseDC(control, drawing);
  return {text, behind.lbColor};
}

struct ShownWindow : testing::Test {
  FormMachine machine{RussianMachine()};
  Win32Toolkit toolkit{GetModuleHandleW(nullptr)};
};

}  // namespace

TEST(PortDialog, RunsItsFlowsOnTheScreen) {
  for (const Flow& flow : PortDialogFlows()) {
    SCOPED_TRACE(flow.name);
    FormMachine machine(flow.machine);
    Win32Toolkit toolkit(GetModuleHandleW(nullptr));
    ScreenUser user(kPortControls, flow.steps);
    EXPECT_EQ(Ask(machine, toolkit, flow.presets), flow.expected);
    EXPECT_EQ(user.messages, flow.messages);
    EXPECT_FALSE(user.abandoned);
  }
}

TEST_F(ShownWindow, FitsTheDensityOfTheScreen) {
  const char* const told = std::getenv("HALDEN_DPI");
  const int density = told ? std::atoi(told) : 96;
  SetProcessDPIAware();
  const auto dots = [density](int twips) { return (twips * density + 720) / 1440; };
  const auto at = [&](int left, int top, int width, int height) {
    return Place{dots(left), dots(top), dots(left + width), dots(top + height)};
  };
  const auto look = [&](FormUser& user) {
    const auto& screen = static_cast<ScreenUser&>(user);
    RECT client{}, outer{};
    GetClientRect(screen.Form(), &client);
    GetWindowRect(screen.Form(), &outer);
    EXPECT_EQ(client.right, dots(2745));
    EXPECT_EQ(client.bottom, dots(3015));
    EXPECT_NEAR(outer.left + outer.right, GetSystemMetrics(SM_CXSCREEN), 1);
    EXPECT_EQ(PlaceOf(screen.Control("cmdCancel")), at(1440, 2490, 1155, 375));
    EXPECT_EQ(PlaceOf(screen.Control("cboCh")), at(1260, 1560, 1365, 315));
    const auto [left, top, right, bottom] = PlaceOf(screen.Control("lblRate"));
    EXPECT_EQ(right, dots(1200));
    EXPECT_GT(left, 0);
    EXPECT_GT(right - left, dots(400)) << "as wide as its text";
    EXPECT_EQ(FontOf(screen.Control("lblCh")).lfHeight, -(density * 11 + 48) / 96);
  };
  const ScreenUser user(kPortControls, {look, Escape()});
  Ask(machine, toolkit, {});
}

TEST_F(ShownWindow, AClickOnTheSelectedRowIsOneToo) {
  const auto store = [this](FormUser&) {
    machine.sim.device(2).SetDefaultLine({.BaudRate = 1200, .ByteSize = 8});
  };
  const ScreenUser user(kPortControls,
                        {store, PickRow("lstPort", 2), SeeText("lstPort", "COM12\t1200,N,8,1"), Escape()});
  Ask(machine, toolkit, {false, 2, 0, 0});
}

TEST_F(ShownWindow, LooksAsItsDesignSays) {
  const HWND host = CreateWindowW(L"STATIC", L"host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 100, 100,
                                  nullptr, nullptr, nullptr, nullptr);
  Platform shown = machine.PlatformOn(toolkit);
  MonitorWindow window(shown);
  window.Load("Halden-Text");
  const auto look = [&](FormUser& user) {
    const auto& screen = static_cast<ScreenUser&>(user);
    const HWND form = screen.Form();
    constexpr LONG kBorder = WS_THICKFRAME | WS_MINIMIZEBOX | WS_MAXIMIZEBOX | WS_CAPTION | WS_SYSMENU;
    EXPECT_EQ(GetWindowLongW(form, GWL_STYLE) & kBorder, WS_CAPTION | WS_SYSMENU);
    EXPECT_TRUE(GetWindow(form, GW_OWNER)) << "or it would stand in the task bar";
    EXPECT_FALSE(IsWindowVisible(GetWindow(form, GW_OWNER)));
    EXPECT_FALSE(IsWindowEnabled(host));
    EXPECT_EQ(ScreenUser::WindowText(form), "Настройки Halden-Text (v3.2.2)");
    const HWND value = screen.Control("txtValue"), info = screen.Control("txtInfo");
    EXPECT_EQ(ColorsOf(form, value), std::make_pair(RGB(0, 255, 0), RGB(0, 0, 0)));
    EXPECT_EQ(ColorsOf(form, info), std::make_pair(GetSysColor(COLOR_BTNTEXT), GetSysColor(COLOR_BTNFACE)));
    EXPECT_EQ(Utf8Text(FontOf(value).lfFaceName), "Fixedsys");
    EXPECT_EQ(Utf8Text(FontOf(info).lfFaceName), "MS Sans Serif");
    EXPECT_EQ(FontOf(value).lfWeight, FW_NORMAL);
    EXPECT_EQ(FontOf(info).lfWeight, FW_BOLD);
    toolkit.SetPointer(Pointer::kHourglass);
    SendMessageW(form, WM_SETCURSOR, reinterpret_cast<WPARAM>(form), MAKELPARAM(HTCLIENT, WM_MOUSEMOVE));
    EXPECT_EQ(GetCursor(), LoadCursor(nullptr, IDC_WAIT));
    toolkit.SetPointer(Pointer::kDefault);
    EXPECT_EQ(GetCursor(), LoadCursor(nullptr, IDC_ARROW));
  };
  ScreenUser user({"cmdClose", "txtInfo", "txtValue"}, {look, Enter()});
  EXPECT_TRUE(window.ShowModal());
  EXPECT_TRUE(IsWindowEnabled(host));
  DestroyWindow(host);
}

TEST_F(ShownWindow, ComesToTheFrontAndIsAnOrdinaryOneAgain) {
  const auto window = toolkit.NewWindow({.caption = "window"});
  for (const bool topmost : {true, false}) {
    window->SetTopmost(topmost);
    EXPECT_EQ((GetWindowLongW(reinterpret_cast<HWND>(window->Handle()), GWL_EXSTYLE) & WS_EX_TOPMOST) != 0,
              topmost);
  }
}

TEST_F(ShownWindow, TakesAnotherFontForOneThatIsMissingAndEveryCharacter) {
  const auto window = toolkit.NewWindow(
      {.controls = {{.text = "Ω漢😀", .font = {.name = "No such font"}}, {.kind = ControlKind::kComboBox}}});
  ASSERT_TRUE(window);
  EXPECT_TRUE(window->SetFontCharset(0, kRussianCharset));
  EXPECT_EQ(window->Text(0), "Ω漢😀");
  window->SetText(1, "a😀bc");
  window->SetSelection(1, 2, 9);
  DWORD start = 0, end = 0;
  SendMessageW(FindWindowExW(reinterpret_cast<HWND>(window->Handle()), nullptr, L"ComboBox", nullptr),
               CB_GETEDITSEL, reinterpret_cast<WPARAM>(&start), reinterpret_cast<LPARAM>(&end));
  EXPECT_EQ(std::make_pair(start, end), (std::make_pair<DWORD, DWORD>(3, 5)));
}
