// Waits that keep the calling thread's window messages flowing: every wait of the thread classes
// runs in slices of 100 ms and empties the message queue between slices, so that a thread owning
// windows keeps answering while it waits. Where there is no message queue, a hook stands in for it.
#pragma once

#include <functional>

#include "platform/types.h"

namespace tv {

inline constexpr DWORD kInfinite = 0xFFFFFFFF;
// The length of one slice of a pumping wait.
inline constexpr DWORD kWaitSliceMs = 100;
// Wake mask for message-aware waits: any input, posted or sent message, timer, paint or hot key.
inline constexpr DWORD kWakeAllInput = 0x1CFF;

// Runs on the pumping thread each time ProcessAllMessages has emptied the queue (so after every
// slice of a pumping wait), with the window whose messages were pumped (null: all of the
// thread's). Answering FALSE counts as having met a quit message. It lets code without a real
// message queue (tests, the portable build) observe each slice and act between slices.
using MessagePumpHook = std::function<BOOL(void* hwnd)>;

// Installs `hook` for the whole process (empty: none) and answers the one it replaces.
MessagePumpHook SetMessagePumpHook(MessagePumpHook hook);

// Removes, translates and dispatches every message waiting for `hwnd` (null: every message of the
// calling thread), then runs the hook. FALSE if a quit message was among them (or the hook said
// so); TRUE otherwise, also when nothing waited.
BOOL ProcessAllMessages(void* hwnd);

// The wait behind the pumping waits of the thread and event classes. A zero timeout answers at
// once whether `handle` is signalled. Otherwise it waits in slices of kWaitSliceMs, message-aware
// with kWakeAllInput when `pumpAllInput`, and answers TRUE when the object is signalled, when the
// wait fails or is abandoned (a broken object must not hang its waiter), or, if
// `stopOnQuitAll`, once QuitAll was raised; FALSE when the time-out is used up. The time-out is
// counted in whole slices that timed out (250 ms: three slices); kInfinite never runs out. After
// every slice that did not end the wait, the messages of `hwnd` are pumped.
BOOL PumpingWait(void* handle, DWORD timeout, BOOL pumpAllInput, void* hwnd, bool stopOnQuitAll);

// The process-wide quit-all flag: raised once, never cleared; every thread wait ends on it.
void RaiseQuitAll();
BOOL IsQuitAllRaised();

}  // namespace tv
