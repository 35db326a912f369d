// The registered window message by which the product's processes talk to each other's windows,
// and the commands it carries in its first parameter.
#pragma once

namespace tv {

// The name every process registers; the system hands out the same number to all of them.
inline constexpr const wchar_t* kAppMessageName = L"BrellickMessage";

enum AppCommand : unsigned {
  kCmdSettingsChanged = 2,     // settings changed elsewhere: reload them
  kCmdPressControl = 6,        // press the control whose id is the second parameter
  kCmdActivatePrevious = 121,  // a second instance asks the first to come forward
  kCmdLinkClicked = 150,       // a link in a message box was clicked
  kCmdEndAgent = 301,          // end the session's agent
  kCmdReloadAgent = 302,       // the agent reloads its settings
  kCmdActivityReport = 303,    // activity seen (second parameter: an ActivityKind)
  kCmdShowWarning = 304,       // show the warning for the session in the second parameter
};

// What the agent saw, as reported with kCmdActivityReport and to the hook callback.
enum ActivityKind : int {
  kActivityNone = 0,
  kActivityMouse = 1,
  kActivityKeyboard = 2,
  kActivityCpu = 3,
  kActivitySessionChange = 4,
  kActivityAudio = 5,         // sound played or recorded in the session
  kActivityPresentation = 6,  // a presentation or full-screen program in the session
};

// The message's number in this process (registered on first use; 0 if registration failed).
// Windows only: the portable build has no window messages.
unsigned GetAppMessage();

// Registers the window (a window handle, or null to stop) that is sent an activity report
// (kCmdActivityReport with the kind) on every signal of an agent in this process: the
// configuration utility's main window. Any thread.
void SetActivityReportWindow(void* window);
// The window registered, or null.
void* GetActivityReportWindow();

}  // namespace tv
