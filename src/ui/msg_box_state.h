// The message-box family's process-wide state and the platform's half of it. Internal to the
// family: callers use msg_box.h.
#pragma once

#include <cstdint>
#include <string>

#include "ui/msg_box.h"

namespace tv {

struct MsgBoxState {
  MsgPauseResumeCallback pauseResume = nullptr;
  MsgExLinkCallback link = nullptr;
  void* linkContext = nullptr;
  MsgExButtonCallback button = nullptr;
  void* buttonContext = nullptr;
  unsigned timerInterval = 0;
  MsgExTimerCallback timer = nullptr;
  void* timerContext = nullptr;
  int tick = 0;
  std::uint16_t activatePrevId = 0;
  void* currentBox = nullptr;
};

// The one state of the process (boxes live on one UI thread, so no lock).
MsgBoxState& GetMsgBoxState();

// ---- implemented per platform
// Shows the system's box; `text` is final.
int ShowPlainMsgBox(void* owner, std::uint32_t type, const std::wstring& text);
// Shows the extended box; `text` is final (error text already appended).
int ShowMsgExBox(void* owner, std::uint32_t flags, const std::wstring& text, int* dontShowAgain);
// String-table entry `id`, "" when missing.
std::wstring LoadMsgString(int id);
// The text for error `code`, "" when the system has none.
std::wstring MsgSystemErrorText(DWORD code);
// Opens `address` in the browser.
void OpenLinkAddress(const std::wstring& address);
BOOL SetBoxText(void* box, const std::wstring& text);

}  // namespace tv
