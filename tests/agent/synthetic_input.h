// Synthetic input for the Windows agent tests: SendInput reaches the low-level hooks of every
// process on the desktop, the agent's included, flagged as injected.
#pragma once

#ifdef _WIN32

#include "platform/win32/windows_include.h"

namespace tv::test {

// Shift pressed, or released, alone: one input event each, so that a test can make exactly one
// activity (a press and release are two, and the second would wait for the next second).
inline bool ShiftDown(bool down) {
  INPUT in{};
  in.type = INPUT_KEYBOARD;
  in.ki.wVk = VK_SHIFT;
  in.ki.dwFlags = down ? 0 : KEYEVENTF_KEYUP;
  return ::SendInput(1, &in, sizeof(INPUT)) == 1;
}

// One press and release of Shift: input that changes nothing on the desktop.
inline bool TypeKey() { return ShiftDown(true) && ShiftDown(false); }

// A one-pixel move and back, so the pointer stays where it was.
inline bool NudgeMouse() {
  INPUT in[2] = {};
  for (INPUT& i : in) {
    i.type = INPUT_MOUSE;
    i.mi.dwFlags = MOUSEEVENTF_MOVE;
  }
  in[0].mi.dx = 1;
  in[1].mi.dx = -1;
  return ::SendInput(2, in, sizeof(INPUT)) == 2;
}

}  // namespace tv::test

#endif  // _WIN32
