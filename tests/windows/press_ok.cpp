// press_ok TITLE: waits for a dialog with this title, leaves it open for a while, then presses Enter in it.

#include <windows.h>

int main(int, char** words) {
  HWND dialog = nullptr;
  while (!(dialog = FindWindowA(nullptr, words[1]))) Sleep(20);
  Sleep(600);
  return PostMessageA(dialog, WM_KEYDOWN, VK_RETURN, 1) ? 0 : 1;
}
