#pragma once

#include <utility>
#include <windows.h>

#include "platform/form_layout.h"

namespace halden {

/// An object of the system's drawing, deleted with this one; null where the system had no room for it.
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

/// Of the screen that the window is on: its dots for each inch.
int DotsPerInch(HWND window);

inline int ToDots(int twips, int dots_per_inch) {
  constexpr int kTwipsPerInch = 1440;
  return MulDiv(twips, dots_per_inch, kTwipsPerInch);
}

COLORREF SystemColor(Color color);

/// Another font stands in for one that the system doesn't have.
GdiObject MakeFont(const Font& font, int dots_per_inch);

}  // namespace halden
