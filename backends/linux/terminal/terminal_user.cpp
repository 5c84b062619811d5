#include "backends/linux/terminal/terminal_user.h"

#include <algorithm>

#include "backends/text/characters.h"

namespace halden {

namespace {

/// The row to which a key moves in a list of `count` rows, which isn't empty. `row` may be -1: none is
/// selected.
int MovedRow(int row, int count, int page, KeyCode code) {
  switch (code) {
    case KeyCode::kUp:
      return std::max(row - 1, 0);
    case KeyCode::kDown:
      return std::min(row + 1, count - 1);
    case KeyCode::kPageUp:
      return std::max(row - page, 0);
    case KeyCode::kPageDown:
      return std::min(row + page, count - 1);
    case KeyCode::kHome:
      return 0;
    case KeyCode::kEnd:
      return count - 1;
    default:
      return row;
  }
}

bool MovesRow(KeyCode code) {
  return code == KeyCode::kUp || code == KeyCode::kDown || code == KeyCode::kPageUp ||
         code == KeyCode::kPageDown || code == KeyCode::kHome || code == KeyCode::kEnd;
}

/// The next row after the selected one that begins with this character, in upper or lower case; -1 if there
/// is none. The search continues at the top, so repeating a letter goes round the rows that begin with it.
int RowBeginningWith(const MemoryControl& list, char32_t character) {
  const int count = static_cast<int>(list.rows.size());
  for (int i = 1; i <= count; ++i) {
    const int row = (list.selected + i) % count;
    const std::u32string text = DecodeUtf8(list.rows[row]);
    if (!text.empty() && LowerCase(text.front()) == LowerCase(character)) return row;
  }
  return -1;
}

}  // namespace

void TerminalUser::Press(MemoryWindow& window, const Key& key) {
  if (drop_down_.control >= 0 && PressInDropDown(window, key)) return;
  if (key.alt && key.code == KeyCode::kCharacter) {
    window.PressAccessKey(key.character);
    return;
  }
  const ControlKind kind =
      window.Focus() < 0 ? ControlKind::kLabel : window.Control(window.Focus()).layout.kind;
  const bool has_drop_down = kind == ControlKind::kDropDownList || kind == ControlKind::kComboBox;
  const bool opens = key.alt ? key.code == KeyCode::kDown : key.code == KeyCode::kF4;
  if (has_drop_down && opens) return OpenDropDown(window);
  if ((has_drop_down || kind == ControlKind::kListBox) && PressInRows(window, key)) return;
  if (kind == ControlKind::kComboBox && PressInEdit(window, key)) return;
  if (kind == ControlKind::kButton && PressOnButton(window, key)) return;
  PressCommon(window, key);
}

/// The keys that do the same in every control.
void TerminalUser::PressCommon(MemoryWindow& window, const Key& key) {
  switch (key.code) {
    case KeyCode::kEnter:
      return window.PressEnter();
    case KeyCode::kEscape:
      return window.PressEscape();
    case KeyCode::kTab:
      return window.StepFocus(1);
    case KeyCode::kBackTab:
      return window.StepFocus(-1);
    case KeyCode::kF4:
      if (key.alt) window.PressCloseBox();
      return;
    default:
      return;
  }
}

/// Opens the list of the control with the focus, unless it is empty.
void TerminalUser::OpenDropDown(const MemoryWindow& window) {
  const MemoryControl& control = window.Control(window.Focus());
  if (!control.rows.empty()) drop_down_ = {window.Focus(), std::max(control.selected, 0)};
}

/// False: the list has closed, and the window gets the key as well: Tab picks a row and moves on.
bool TerminalUser::PressInDropDown(MemoryWindow& window, const Key& key) {
  const int control = drop_down_.control;
  const int count = static_cast<int>(window.Control(control).rows.size());
  if (MovesRow(key.code) && !key.alt) {
    drop_down_.row = MovedRow(drop_down_.row, count, VisibleRows(window.Control(control)), key.code);
    return true;
  }
  const bool picks = key.code == KeyCode::kEnter || key.code == KeyCode::kTab;
  const int row = drop_down_.row;
  drop_down_ = {};
  if (picks) window.PickRow(control, row);
  return key.alt || key.code == KeyCode::kEnter || key.code == KeyCode::kEscape || key.code == KeyCode::kF4;
}

/// In a list box or a closed combo box, of which the selected row changes right away.
bool TerminalUser::PressInRows(MemoryWindow& window, const Key& key) {
  const int focus = window.Focus();
  const MemoryControl& list = window.Control(focus);
  const bool has_edit = list.layout.kind == ControlKind::kComboBox;
  int row = list.selected;
  if (key.code == KeyCode::kCharacter) {
    if (has_edit) return false;
    if (key.character == U' ' && list.layout.kind == ControlKind::kDropDownList) {
      OpenDropDown(window);
      return true;
    }
    row = RowBeginningWith(list, key.character);
  } else if (MovesRow(key.code) && !(has_edit && (key.code == KeyCode::kHome || key.code == KeyCode::kEnd))) {
    row = MovedRow(row, static_cast<int>(list.rows.size()), VisibleRows(list), key.code);
  } else {
    return false;
  }
  if (row != list.selected) window.PickRow(focus, row);  // the arrow keys count as clicks on the row
  return true;
}

/// In the edit field of a combo box.
bool TerminalUser::PressInEdit(MemoryWindow& window, const Key& key) {
  switch (key.code) {
    case KeyCode::kCharacter:
      window.Edit([&](EditText& edit) { edit.Insert({key.character}); });
      return true;
    case KeyCode::kBackspace:
      window.Edit([](EditText& edit) { edit.Backspace(); });
      return true;
    case KeyCode::kDelete:
      window.Edit([](EditText& edit) { edit.Delete(); });
      return true;
    case KeyCode::kLeft:
      window.Edit([](EditText& edit) { edit.StepCaret(-1); });
      return true;
    case KeyCode::kRight:
      window.Edit([](EditText& edit) { edit.StepCaret(1); });
      return true;
    case KeyCode::kHome:
      window.Edit([](EditText& edit) { edit.MoveCaret(0); });
      return true;
    case KeyCode::kEnd:
      window.Edit([](EditText& edit) { edit.MoveCaret(static_cast<int>(edit.Text().size())); });
      return true;
    default:
      return false;
  }
}

/// Arrows move between buttons as Tab does.
bool TerminalUser::PressOnButton(MemoryWindow& window, const Key& key) {
  switch (key.code) {
    case KeyCode::kCharacter:
      if (key.character == U' ') {
        window.Press(window.Focus());
      } else {
        window.PressAccessKey(key.character);
      }
      return true;
    case KeyCode::kUp:
    case KeyCode::kLeft:
      window.StepFocus(-1);
      return true;
    case KeyCode::kDown:
    case KeyCode::kRight:
      window.StepFocus(1);
      return true;
    default:
      return false;
  }
}

}  // namespace halden
