// The names of the service's kernel objects as both ends spell them: the service that creates
// them and the agent and warning processes it starts. A tag is a fresh random suffix the service
// chooses each time it creates a set of objects, so that nobody can create (squat on) the names
// before the service does; the process the service starts learns the tags from its command line
// ("/tag:<hex>" for the session's events, "/quit:<hex>" for the quit event). Without a tag the
// names are the product's plain ones, which is what a process started by hand looks for.
#pragma once

#include <string>

#include "platform/types.h"

namespace tv {

// "<stem>EventIdle-<session>[-<tag>]", "<stem>EventCancel-<session>[-<tag>]",
// "<stem>EventQuit[-<tag>]", all without the namespace prefix.
std::wstring IdleEventName(const std::wstring& stem, DWORD session, const std::wstring& tag);
std::wstring CancelEventName(const std::wstring& stem, DWORD session, const std::wstring& tag);
std::wstring QuitEventName(const std::wstring& stem, const std::wstring& tag);
// "<stem>EventReload-<session>-<tag>": the service tells the session's agent to read the
// settings again. Only tagged: an agent started by hand has no service to hear from.
std::wstring ReloadEventName(const std::wstring& stem, DWORD session, const std::wstring& tag);

// A tag as the service writes it: 1 to 32 lower-case hexadecimal digits. Anything else on a
// command line is refused, never used as part of a name.
bool IsValidObjectTag(const std::wstring& tag);

// 16 random hexadecimal digits (64 bits from the system's random source).
std::wstring NewObjectTag();

}  // namespace tv
