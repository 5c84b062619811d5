// press_ok TITLE: waits for a dialog of this title, lets it stand for a while and presses Enter in it.

#include <windows.h>

int main(int, char** words) {
  HWND dialog = nullptr;
  while (!(dialog = FindWindowA(nullptr, words[1]))) Sleep(20);
  Sleep(600);
  return PostMessageA(dialog, WM_KEYDOWN, VK_RETURN, 1) ? 0 : 1;
}
