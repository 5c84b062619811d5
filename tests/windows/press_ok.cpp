// press_ok TITLE: waits for a dialog of this title, lets it stand for a while and presses Enter in it. Gives
// up after 20 s.

#include <windows.h>

int main(int, char** words) {
  constexpr int kPause = 20, kPauses = 1000, kWhile = 600;
  for (int i = 0; i < kPauses; ++i) {
    if (const HWND dialog = FindWindowA(nullptr, words[1])) {
      Sleep(kWhile);
      return PostMessageA(dialog, WM_KEYDOWN, VK_RETURN, 1) ? 0 : 1;
    }
    Sleep(kPause);
  }
  return 1;
}
