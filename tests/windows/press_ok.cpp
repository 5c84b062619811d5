// press_ok TITLE MILLISECONDS: waits for a message box of this title, lets it stand for so long and presses
// its OK button. Gives up after 20 s.

#include <cstdlib>
#include <windows.h>

int main(int count, char** words) {
  if (count != 3) return 2;
  constexpr int kPause = 20, kPauses = 1000;
  for (int i = 0; i < kPauses; ++i) {
    if (const HWND box = FindWindowA(nullptr, words[1])) {
      Sleep(static_cast<DWORD>(std::atoi(words[2])));
      return PostMessageA(box, WM_COMMAND, IDOK, 0) ? 0 : 1;
    }
    Sleep(kPause);
  }
  return 1;
}
