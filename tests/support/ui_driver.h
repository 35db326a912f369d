// Driving another process's windows from a Windows test under Wine and Xvfb: start the program,
// wait for its windows, read and set what controls show, press buttons without blocking on the
// boxes they open, click with the real X pointer, and take a registry key's exact content.
#pragma once

#ifdef _WIN32

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "platform/win32/windows_include.h"

namespace tv::test {

// How long a test waits for a window, a text or a process of the program it drives.
inline constexpr ::DWORD kUiLimitMs = 20000;

// Polls `condition` every 50 ms until it holds (true) or `limitMs` passes (false).
bool Eventually(const std::function<bool()>& condition, ::DWORD limitMs = kUiLimitMs);

// A program started for one test; one still running when the owner goes is terminated.
class ChildProcess {
 public:
  ChildProcess() = default;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  // Starts `exe` with `arguments` (may be empty). 0 with the system's error when it cannot.
  BOOL Start(const std::wstring& exe, const std::wstring& arguments);
  ::DWORD Id() const { return info_.dwProcessId; }
  // The exit code, or -1 when the process has not ended within `limitMs`.
  int Wait(::DWORD limitMs = kUiLimitMs);

 private:
  PROCESS_INFORMATION info_{};
};

// A window of the test's own process on a thread of its own that answers what is sent to it, so
// that the driven program never waits on the test: hidden, it stands for a window the program
// looks for by class; shown, it takes the foreground.
class PumpedWindow {
 public:
  PumpedWindow(const wchar_t* className, bool shown);
  PumpedWindow(const PumpedWindow&) = delete;
  PumpedWindow& operator=(const PumpedWindow&) = delete;
  ~PumpedWindow();
  HWND Get() const { return window_; }

 private:
  std::atomic<HWND> window_{nullptr};
  std::atomic<::DWORD> threadId_{0};
  std::atomic<bool> ready_{false};
  std::thread thread_;
};

// A visible top-level window of `process` with class `className` and exactly the caption
// `caption`, or null.
HWND FindTopWindow(::DWORD process, const wchar_t* className, const wchar_t* caption);
// The same, waiting up to `limitMs` for it to appear.
HWND WaitForTopWindow(::DWORD process, const wchar_t* className, const wchar_t* caption, ::DWORD limitMs = kUiLimitMs);

// What the window answers to WM_GETTEXT ("" when it does not answer within the limit).
std::wstring TextOf(HWND window);
std::wstring ItemText(HWND dialog, int id);
// Sets what the control shows (WM_SETTEXT, so the control notifies its dialog as on typing).
BOOL SetItemText(HWND dialog, int id, const std::wstring& text);
// Waits until control `id` of `dialog` shows exactly `text`.
bool WaitForItemText(HWND dialog, int id, const std::wstring& text, ::DWORD limitMs = kUiLimitMs);

// The message of a box: the text control of the product's extended box, else the static of
// the system's message box.
std::wstring BoxMessage(HWND box);

// Posts a button press to `dialog` as the button itself would send it. Posted, never sent: a
// button that opens a modal box would otherwise hold the test until somebody closes that box.
BOOL PostPress(HWND dialog, int id);
// Posts a press of the button whose caption, without '&' and case aside, is `caption`. 0 when
// the dialog has no such button.
BOOL PostPressByCaption(HWND dialog, const wchar_t* caption);
// Posts BM_CLICK to control `id`: a check box toggles and notifies its dialog as on a real click.
BOOL PostClickItem(HWND dialog, int id);
// The control of `window`'s thread that has the keyboard focus.
HWND FocusOf(HWND window);

// Moves the X pointer to the middle of `window` and clicks the left button there with xdotool,
// so the click arrives the way a person's does. 0 when xdotool cannot be started.
BOOL XdoClick(HWND window);
// Drags with the real X pointer: presses the left button at `from`, moves to `to` and releases
// there, both in `window`'s client pixels. 0 when xdotool cannot be started.
BOOL XdoDrag(HWND window, POINT from, POINT to);

// A key's values and subkeys, by path below it ("Sub\\Name"), with the type and the exact data.
using RegSnapshot = std::map<std::wstring, std::pair<::DWORD, std::vector<BYTE>>>;
// Everything under `root`\`path`; empty when the key is missing.
RegSnapshot SnapshotKey(HKEY root, const std::wstring& path);

}  // namespace tv::test

#endif  // _WIN32
