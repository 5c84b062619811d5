#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace halden {

/// Twips (a 1440th of an inch) from the top left corner of the window's client area.
struct Bounds {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

/// 0x00BBGGRR, or 0x80000000 and the number of one of the system's colours.
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
  kLabel,         ///< right-justified and as wide as its text: the right edge stays. Never has the focus
  kTextBox,       ///< shows text that the user can't change; lines end in CR LF
  kListBox,       ///< rows of which one is selected, or none; a tab starts a row's second, aligned column
  kDropDownList,  ///< a combo box of which the user can only pick a row
  kComboBox,      ///< a combo box with an edit box that takes any text; picking a row copies its text there
  kButton,
};

/// A control as the form's design has it. An "&" in the caption of a label or button marks its access key: a
/// button is pressed by it, a label's goes to the next control that can have the focus.
struct ControlLayout {
  std::string name = {};
  ControlKind kind = ControlKind::kLabel;
  Bounds bounds = {};
  std::string text = {};
  bool tab_stop = true;
  bool multi_line = false;      ///< of a text box
  bool default_button = false;  ///< Enter presses it unless another button has the focus
  bool cancel_button = false;   ///< Esc presses it
  Font font = {};
  Color back_color = kWindowColor;
  Color fore_color = kWindowTextColor;
  /// A button was pressed; a list box row was clicked, or its selected row has become another one.
  std::function<void()> click = {};
  /// The focus is about to leave by the user's act; `cancel` set to true keeps it. Enter, Esc and the close
  /// box don't move the focus.
  std::function<void(bool& cancel)> validate = {};
};

/// A window: a fixed dialog without minimize or maximize button or task bar entry, shown in the screen's
/// centre.
struct WindowLayout {
  std::string name = {};
  std::string caption = {};
  int width = 0;   ///< of the client area, twips
  int height = 0;  ///< of the client area, twips
  int icon = 0;    ///< number of the icon resource
  Font font = {};
  std::vector<ControlLayout> controls = {};  ///< in tab order
  std::function<void()> activate = {};       ///< the window has become the active one
  /// The user wants it closed; what becomes of it is the form's choice.
  std::function<void()> close_box = {};
};

}  // namespace halden
