// The texts of the service's event-log entries, as the event viewer shows them. On Windows they
// live in the message table of TV64.DLL; the simulator prints them on any platform, so they are
// kept here once more, character for character (trailing blanks and line ends included).
#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/types.h"

namespace tv {

struct EventTextEntry {
  DWORD id;
  const wchar_t* text;  // "%1" the account name, "%2" a second insertion (a group or an error code)
};

// Every entry, in identifier order.
std::span<const EventTextEntry> AllEventTexts();

// The raw text of `id` (with its "%n" insertions and line end), or null for an unknown identifier.
const wchar_t* FindEventText(DWORD id);

// The text of `id` with "%1", "%2", ... replaced by `inserts` (an insertion without a string stays
// as it is), as FormatMessage fills it. An unknown identifier gives "Event 0x60000099" followed
// by the insertions in brackets, so that nothing the service wrote is lost.
std::wstring FormatEventText(DWORD id, const std::vector<std::wstring>& inserts);

// `text` without its trailing line end and blanks: the form a one-line timeline wants.
std::wstring TrimEventText(std::wstring text);

}  // namespace tv
