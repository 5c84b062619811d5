#include "backends/windows/win32_window.h"

#include <algorithm>
#include <utility>

#include "backends/text/characters.h"
#include "backends/windows/win32_text.h"

namespace halden {
namespace {

constexpr int kFirstId = 100;          // of the controls; the system gives low numbers a meaning (1 is IDOK)
constexpr UINT kSelectAgain = WM_APP;  // to our own window

/// Calls a handler of the form. No exception may pass through the system's code that called us.
template <class... T>
void Run(const std::function<void(T...)>& handler, T... arguments) noexcept {
  try {
    if (handler) handler(std::forward<T>(arguments)...);
  } catch (...) {  // out of memory: the event is lost
  }
}

/// A dialog without controls. DLGTEMPLATE is followed by three 16-bit words, all 0: no menu, the standard
/// class, no title.
HWND MakeDialog(HINSTANCE module, HWND owner, DLGPROC receive, void* self) {
  struct {
    DLGTEMPLATE dialog{};
    WORD no_menu = 0, standard_class = 0, no_title = 0;
  } design;
  design.dialog.style = DS_MODALFRAME | WS_POPUP | WS_CAPTION | WS_SYSMENU;
  return CreateDialogIndirectParamW(module, &design.dialog, owner, receive, reinterpret_cast<LPARAM>(self));
}

}  // namespace

void ShowPointer(Pointer pointer) {
  SetCursor(LoadCursor(nullptr, pointer == Pointer::kHourglass ? IDC_WAIT : IDC_ARROW));
}

bool CanShowWindows() {
  USEROBJECTFLAGS flags{};
  DWORD size = 0;
  return GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags, &size) &&
         (flags.dwFlags & WSF_VISIBLE) != 0;
}

Win32Window::Win32Window(WindowLayout layout, HINSTANCE module, const Pointer& pointer)
    : layout_(std::move(layout)), pointer_(pointer) {
  owner_ = CreateWindowExW(WS_EX_TOOLWINDOW, L"STATIC", nullptr, WS_POPUP, 0, 0, 0, 0, nullptr, nullptr,
                           nullptr, nullptr);
  window_ = owner_ ? MakeDialog(module, owner_, &Receive, this) : nullptr;
  if (!window_) return;
  try {
    SetCaption(layout_.caption);
    TakeIcons(module);
    MakeControls();
    PlaceInCentre();
  } catch (...) {  // the destructor doesn't run for a constructor that fails
    DestroyWindow(owner_);
    throw;
  }
}

Win32Window::~Win32Window() {
  Hide();
  if (!owner_ || DestroyWindow(owner_)) return;  // which destroys the windows that it owns too
  // Only the thread that made a window can destroy it. On another one the dialog is cut off from this object
  // and from the module, which may be unloaded next, and closes when its own thread dispatches messages.
  SetWindowLongPtrW(window_, DWLP_DLGPROC, 0);
  PostMessageW(owner_, WM_CLOSE, 0, 0);
}

bool Win32Window::Complete() const {
  return window_ && std::all_of(controls_.begin(), controls_.end(),
                                [](const Win32Control& control) { return control.Handle() != nullptr; });
}

void Win32Window::MakeControls() {
  controls_.reserve(layout_.controls.size());
  for (ControlLayout& design : layout_.controls) {
    const int id = kFirstId + ControlCount();
    controls_.emplace_back(std::move(design), window_, id);
  }
  layout_.controls.clear();
}

void Win32Window::TakeIcons(HINSTANCE module) {
  const wchar_t* const name = layout_.icon == 1 ? MAKEINTRESOURCEW(1) : L"ADC";
  const auto take = [&](WPARAM size, int width, int height) {
    const HANDLE icon =
        LoadImageW(module, name, IMAGE_ICON, GetSystemMetrics(width), GetSystemMetrics(height), LR_SHARED);
    SendMessageW(window_, WM_SETICON, size, reinterpret_cast<LPARAM>(icon));
  };
  take(ICON_BIG, SM_CXICON, SM_CYICON);
  take(ICON_SMALL, SM_CXSMICON, SM_CYSMICON);
}

/// Places the controls by the screen's density, and gives the size of the window around them.
SIZE Win32Window::Fit() {
  const int dots_per_inch = DotsPerInch(window_);
  for (Win32Control& control : controls_) control.Place(dots_per_inch);
  RECT outer{}, client{};
  GetWindowRect(window_, &outer);
  GetClientRect(window_, &client);
  return {ToDots(layout_.width, dots_per_inch) + (outer.right - outer.left) - client.right,
          ToDots(layout_.height, dots_per_inch) + (outer.bottom - outer.top) - client.bottom};
}

/// Centres the window on the screen of the thread's active window, in the size for that screen's density.
void Win32Window::PlaceInCentre() {
  const auto [width, height] = Fit();
  MONITORINFO screen{};
  screen.cbSize = sizeof screen;
  GetMonitorInfoW(MonitorFromWindow(GetActiveWindow(), MONITOR_DEFAULTTOPRIMARY), &screen);
  const RECT& work = screen.rcWork;
  SetWindowPos(window_, nullptr, work.left + (work.right - work.left - width) / 2,
               work.top + (work.bottom - work.top - height) / 2, width, height,
               SWP_NOZORDER | SWP_NOACTIVATE);
}

void Win32Window::SetCaption(const std::string& caption) {
  SetWindowTextW(window_, WideText(caption).c_str());
}

bool Win32Window::ShowModal() {
  if (visible_ || !IsWindow(window_) || !CanShowWindows()) return false;
  try {
    Show();
    ServeLoop();
  } catch (...) {
    Hide();
    throw;
  }
  Hide();
  return true;
}

void Win32Window::Show() {
  visible_ = true;
  PlaceInCentre();
  DisableOthers();
  ShowWindow(window_, SW_SHOW);
  SetForegroundWindow(window_);
  if (FocusedControl() < 0) SetFocus(first_focus_ >= 0 ? first_focus_ : NextFocus(-1, true));
}

void Win32Window::DisableOthers() {
  EnumThreadWindows(GetCurrentThreadId(), &Disable, reinterpret_cast<LPARAM>(this));
}

BOOL CALLBACK Win32Window::Disable(HWND window, LPARAM data) {
  auto& modal = *reinterpret_cast<Win32Window*>(data);
  if (window == modal.window_ || !IsWindowVisible(window) || !IsWindowEnabled(window)) return TRUE;
  try {
    modal.disabled_.push_back(window);
  } catch (...) {  // out of memory: leave it enabled, since nothing would enable it again
    return FALSE;
  }
  EnableWindow(window, FALSE);
  return TRUE;
}

void Win32Window::Hide() {
  if (!visible_) return;
  visible_ = false;
  // Before hiding: the system activates an enabled window of the thread, or else one of another program.
  for (const HWND window : disabled_) EnableWindow(window, TRUE);
  disabled_.clear();
  ShowWindow(window_, SW_HIDE);
  PostMessageW(window_, WM_NULL, 0, 0);  // wakes the loop in ServeLoop
}

void Win32Window::ServeLoop() {
  MSG message{};
  while (visible_ && IsWindow(window_)) {
    if (GetMessageW(&message, nullptr, 0, 0) <= 0) {  // WM_QUIT: ends the host's own loop too
      PostQuitMessage(static_cast<int>(message.wParam));
      return;
    }
    if (!KeepsFocus(message)) Dispatch(message);
  }
}

/// Passes a message to the dialog, and works around two quirks of the system.
void Win32Window::Dispatch(MSG& message) {
  const int control = Find(message.hwnd);
  if (message.message == WM_LBUTTONDOWN) pressed_ = control;
  if (message.message == WM_LBUTTONDOWN || message.message == WM_KEYDOWN) selection_.reset();
  // A multi-line text box would consume these keys even though it is read-only. Give them to the dialog.
  const bool dialog_key =
      message.message == WM_KEYDOWN &&
      (message.wParam == VK_TAB || message.wParam == VK_RETURN || message.wParam == VK_ESCAPE);
  if (dialog_key && control >= 0 && controls_[control].Layout().kind == ControlKind::kTextBox)
    message.hwnd = window_;
  if (!IsDialogMessageW(window_, &message)) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  if (message.message != WM_LBUTTONUP || std::exchange(pressed_, -1) != control || control < 0) return;
  // A list box reports a click only if it changes the selection, but the form needs every click.
  if (controls_[control].Layout().kind != ControlKind::kListBox) return;
  const LRESULT row = SendMessageW(message.hwnd, LB_ITEMFROMPOINT, 0, message.lParam);
  if (row == controls_[control].SelectedRow()) Click(control);
}

void Win32Window::SetTopmost(bool topmost) {
  SetWindowPos(window_, topmost ? HWND_TOPMOST : HWND_NOTOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
}

void Win32Window::SetEnabled(int control, bool enabled) {
  // Move the focus away first: the keyboard can't leave a disabled control.
  if (!enabled && visible_ && FocusedControl() == control) SendMessageW(window_, WM_NEXTDLGCTL, 0, FALSE);
  EnableWindow(controls_[control].Handle(), enabled);
}

void Win32Window::SetFocus(int control) {
  if (control < 0 || !controls_[control].CanFocus()) return;
  if (visible_) {
    SendMessageW(window_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(controls_[control].Handle()), TRUE);
  } else {
    first_focus_ = control;
  }
}

void Win32Window::SetSelection(int control, int start, int length) {
  selection_ = Selection{control, start, length};
  controls_[control].SetSelection(start, length);
}

void Win32Window::SelectRow(int control, int row) {
  const bool changed = controls_[control].SelectRow(row);
  if (changed && controls_[control].Layout().kind == ControlKind::kListBox)
    controls_[control].Layout().click();
}

std::optional<std::uint8_t> Win32Window::FontCharset(int control) const {
  return control == kForm ? layout_.font.charset : controls_[control].Layout().font.charset;
}

bool Win32Window::SetFontCharset(int control, std::uint8_t charset) {
  if (control != kForm) return controls_[control].SetFontCharset(charset);
  layout_.font.charset = charset;  // only kept: no text is drawn on the form itself
  return true;
}

INT_PTR CALLBACK Win32Window::Receive(HWND window, UINT message, WPARAM word, LPARAM data) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrW(window, DWLP_USER, data);
    return FALSE;  // the focus is set later, in Show
  }
  auto* const self = reinterpret_cast<Win32Window*>(GetWindowLongPtrW(window, DWLP_USER));
  try {
    return self ? self->Serve(message, word, data) : FALSE;
  } catch (...) {  // no exception may pass through the system's code
    return FALSE;
  }
}

INT_PTR Win32Window::Serve(UINT message, WPARAM word, LPARAM data) {
  switch (message) {
    case WM_COMMAND:
      ServeCommand(LOWORD(word), HIWORD(word));
      return TRUE;
    case WM_CLOSE:
      Run(layout_.close_box);
      return TRUE;
    case WM_ACTIVATE:
      if (LOWORD(word) != WA_INACTIVE && visible_) Run(layout_.activate);
      return FALSE;
    case WM_SETCURSOR:
      if (pointer_ == Pointer::kDefault) return FALSE;
      ShowPointer(pointer_);
      SetWindowLongPtrW(window_, DWLP_MSGRESULT, TRUE);
      return TRUE;
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORLISTBOX: {
      const int control = Find(reinterpret_cast<HWND>(data));
      return control < 0 ? FALSE
                         : reinterpret_cast<INT_PTR>(controls_[control].Paint(reinterpret_cast<HDC>(word)));
    }
    case WM_DPICHANGED: {
      // The position suggested by the system keeps the window under the pointer that drags it.
      const auto& place = *reinterpret_cast<const RECT*>(data);
      const auto [width, height] = Fit();
      SetWindowPos(window_, nullptr, place.left, place.top, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
      return TRUE;
    }
    case kSelectAgain:
      if (selection_) controls_[selection_->control].SetSelection(selection_->start, selection_->length);
      return TRUE;
    case DM_GETDEFID: {  // which button Enter presses
      const int focused = FocusedControl();
      const bool own = focused >= 0 && controls_[focused].Layout().kind == ControlKind::kButton;
      const int pressed = own ? focused : ControlWithRole(&ControlLayout::default_button);
      SetWindowLongPtrW(window_, DWLP_MSGRESULT, MAKELONG(kFirstId + pressed, DC_HASDEFID));
      return pressed >= 0;
    }
    default:
      return FALSE;
  }
}

void Win32Window::ServeCommand(int id, int event) {
  static_assert(BN_CLICKED == 0 && LBN_SELCHANGE == CBN_SELCHANGE);
  const int control = id == IDCANCEL ? ControlWithRole(&ControlLayout::cancel_button) : id - kFirstId;
  if (control < 0 || control >= ControlCount()) return;
  const ControlKind kind = controls_[control].Layout().kind;
  const bool is_button = kind == ControlKind::kButton;
  // When a message box has closed, the system returns the focus and selects the whole text of a combo box.
  // The form had set another selection before the message, so it is set again once the system is done.
  if (kind == ControlKind::kComboBox && event == CBN_SETFOCUS && selection_ && selection_->control == control)
    PostMessageW(window_, kSelectAgain, 0, 0);
  if (event == (is_button ? BN_CLICKED : LBN_SELCHANGE)) Click(control);
}

void Win32Window::Click(int control) {
  pressed_ = -1;
  if (IsWindowEnabled(controls_[control].Handle())) Run(controls_[control].Layout().click);
}

int Win32Window::Find(HWND window) const {
  const auto found = std::find_if(controls_.begin(), controls_.end(), [window](const Win32Control& control) {
    return control.Handle() == window || IsChild(control.Handle(), window);
  });
  return found == controls_.end() ? -1 : static_cast<int>(found - controls_.begin());
}

/// The first control after `from` that can have the focus; doesn't wrap. -1 if there is none.
int Win32Window::NextFocus(int from, bool tab_stops) const {
  for (int control = from + 1; control < ControlCount(); ++control) {
    const Win32Control& next = controls_[control];
    if (next.CanFocus() && (next.Layout().tab_stop || !tab_stops)) return control;
  }
  return -1;
}

int Win32Window::ControlWithRole(bool ControlLayout::*role) const {
  const auto found = std::find_if(controls_.begin(), controls_.end(),
                                  [role](const Win32Control& control) { return control.Layout().*role; });
  return found == controls_.end() ? -1 : static_cast<int>(found - controls_.begin());
}

/// The control that an access key leads to: its button, or the next control after its label. -1 if none.
int Win32Window::WithAccessKey(char32_t key) const {
  for (int control = 0; control < ControlCount(); ++control) {
    const ControlKind kind = controls_[control].Layout().kind;
    if (kind != ControlKind::kLabel && kind != ControlKind::kButton) continue;
    if (!Caption(Text(control)).HasAccessKey(key)) continue;
    return kind == ControlKind::kButton ? control : NextFocus(control, false);
  }
  return -1;
}

/// The control that gets the focus if this message is dispatched; -1 if it moves no focus.
int Win32Window::FocusTarget(const MSG& message) const {
  const bool backwards = GetKeyState(VK_SHIFT) < 0;
  switch (message.message) {
    case WM_LBUTTONDOWN:
    case WM_LBUTTONDBLCLK:
      return Find(message.hwnd);
    case WM_KEYDOWN:
      return message.wParam == VK_TAB ? Find(GetNextDlgTabItem(window_, GetFocus(), backwards)) : -1;
    case WM_SYSCHAR:
      return WithAccessKey(static_cast<char32_t>(message.wParam));
    default:
      return -1;
  }
}

/// Runs `validate` of the control with the focus, and returns true if the focus must stay. Must be called
/// before the message is dispatched: the system reports the loss of the focus only afterwards, when it is too
/// late to keep a clicked button from being pressed.
bool Win32Window::KeepsFocus(const MSG& message) {
  const int focused = FocusedControl();
  if (focused < 0 || !controls_[focused].Layout().validate) return false;
  const int target = FocusTarget(message);
  if (target < 0 || target == focused || !controls_[target].CanFocus()) return false;
  bool keep = false;
  Run<bool&>(controls_[focused].Layout().validate, keep);
  return keep || !visible_;
}

}  // namespace halden
