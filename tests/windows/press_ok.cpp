// press_ok TITLE MILLISECONDS: waits for a dialog of this title, lets it stand for so long and presses Enter
// in it. Gives up after 20 s.

#include <cstdlib>
#include <windows.h>

int main(int count, char** words) {
  if (count != 3) return 2;
  constexpr int kPause = 20, kPauses = 1000;
  for (int i = 0; i < kPauses; ++i) {
    if (const HWND dialog = FindWindowA(nullptr, words[1])) {
      Sleep(static_cast<DWORD>(std::atoi(words[2])));
      return PostMessageA(dialog, WM_KEYDOWN, VK_RETURN, 1) ? 0 : 1;
    }
    Sleep(kPause);
  }
  return 1;
}
