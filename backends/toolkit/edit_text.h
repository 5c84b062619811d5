#pragma once

#include <algorithm>
#include <string>

namespace halden {

/// The text of an edit box with its selection, behind which the caret stands. Positions count characters.
class EditText {
 public:
  const std::u32string& Text() const { return text_; }
  int SelectionStart() const { return start_; }
  int Caret() const { return start_ + length_; }

  /// Replaces everything; the caret stands in front of the text.
  void Set(std::u32string text) {
    text_ = std::move(text);
    start_ = length_ = 0;
  }
  /// Clipped to the text.
  void Select(int start, int length) {
    start_ = std::clamp(start, 0, Size());
    length_ = std::clamp(length, 0, Size() - start_);
  }
  void SelectAll() { Select(0, Size()); }
  void MoveCaret(int position) { Select(position, 0); }
  /// Steps from the caret, or out of a selection to its end on that side.
  void StepCaret(int step) { MoveCaret(length_ == 0 ? start_ + step : step < 0 ? start_ : Caret()); }

  /// Replaces the selection.
  void Insert(const std::u32string& text) {
    text_.replace(start_, length_, text);
    MoveCaret(start_ + static_cast<int>(text.size()));
  }
  /// Removes the selection, or the character in front of the caret.
  void Backspace() {
    if (length_ == 0 && start_ > 0) Select(start_ - 1, 1);
    Insert({});
  }
  /// Removes the selection, or the character behind the caret.
  void Delete() {
    if (length_ == 0) Select(start_, 1);
    Insert({});
  }

 private:
  int Size() const { return static_cast<int>(text_.size()); }

  std::u32string text_;
  int start_ = 0;
  int length_ = 0;
};

}  // namespace halden
