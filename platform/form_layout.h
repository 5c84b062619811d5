#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace halden {

/// In twips (1/1440 inch), from the top left corner of the window's client area.
struct Bounds {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

/// 0x00BBGGRR, or 0x80000000 plus the index of a system colour.
using Color = std::uint32_t;
inline constexpr Color kWindowColor = 0x80000005;
inline constexpr Color kWindowTextColor = 0x80000008;
inline constexpr Color kButtonFaceColor = 0x8000000F;
inline constexpr Color kButtonTextColor = 0x80000012;

inline constexpr std::uint8_t kRussianCharset = 204;

struct Font {
  std::string name = "MS Sans Serif";
  double points = 8.25;
  bool bold = false;
  std::uint8_t charset = 0;
};

enum class ControlKind {
  kLabel,         ///< right-justified, sizes itself to its text with a fixed right edge; never has the focus
  kTextBox,       ///< read-only text; lines end in CR LF
  kListBox,       ///< at most one row selected; a tab in a row's text starts its second, aligned column
  kDropDownList,  ///< combo box without an edit box: the user can only pick a row
  kComboBox,      ///< combo box with an edit box for any text; picking a row copies its text there
  kButton,
};

/// A control of a form's design. An "&" in the caption of a label or button marks its access key: it presses
/// the button, or moves the focus from the label to the next control that can have it.
struct ControlLayout {
  std::string name = {};
  ControlKind kind = ControlKind::kLabel;
  Bounds bounds = {};
  std::string text = {};
  bool tab_stop = true;
  bool multi_line = false;      ///< text boxes only; each line is centred
  bool default_button = false;  ///< Enter presses it unless another button has the focus
  bool cancel_button = false;   ///< Esc presses it
  Font font = {};
  Color back_color = kWindowColor;
  Color fore_color = kWindowTextColor;
  /// Runs when a button is pressed, a list box row is clicked, or a list box's selection changes.
  std::function<void()> click = {};
  /// Runs when the user is about to move the focus away; setting `cancel` keeps the focus here. Enter, Esc
  /// and the close box don't move the focus, so they don't run it.
  std::function<void(bool& cancel)> validate = {};
};

/// The design of a window: a fixed-size dialog in the middle of the screen, without minimize and maximize
/// buttons and without a task bar entry.
struct WindowLayout {
  std::string name = {};
  std::string caption = {};
  int width = 0;   ///< of the client area, twips
  int height = 0;  ///< of the client area, twips
  int icon = 0;    ///< number of the icon resource
  Font font = {};
  std::vector<ControlLayout> controls = {};  ///< in tab order
  std::function<void()> activate = {};       ///< runs when the window becomes the active one
  /// Runs when the user asks to close the window. The toolkit itself does nothing: the form decides.
  std::function<void()> close_box = {};
};

}  // namespace halden
