#include "service/event_texts.h"

#include <algorithm>
#include <cwchar>

namespace tv {

namespace {
constexpr EventTextEntry kTexts[] = {
    {0x60000001, L"Tarnvale service started.\r\n"},
    {0x60000002, L"Tarnvale service initiated a stop sequence.\r\n"},
    {0x60000003, L"Tarnvale service stopped.\r\n"},
    {0x60000006, L"Tarnvale started monitoring the user '%1'. \r\n"},
    {0x60000007, L"Tarnvale skipped the user '%1' from monitoring, because that user was listed in the 'Do not "
                 L"apply to' list. \r\n"},
    {0x60000008, L"Tarnvale skipped the user '%1' from monitoring, because the user was a member of the group '%2' "
                 L"listed in the 'Do not apply to' list.\r\n"},
    {0x60000009, L"Tarnvale skipped the user '%1' from monitoring, because the 'Apply To' list was not empty, and "
                 L"the user was not included in it. \r\n"},
    {0x6000000a, L"Tarnvale logged off the user '%1'.\r\n"},
    {0x60000012, L"Tarnvale service initiated a shutdown because no user has logged on to the computer during the "
                 L"shutdown timeout period.\r\n"},
    {0x60000014, L"Tarnvale service initiated a suspend because no user has logged on to the computer during the "
                 L"shutdown timeout period.\r\n"},
    {0x60000017, L"Tarnvale logged off the stale session for user '%1'.\r\n"},
    {0x60000022, L"Tarnvale warned the user '%1' in session %2 after %3 idle minute(s), by %4; the session was "
                 L"%5. Without activity it is logged off in %6 minute(s).\r\n"},
    {0x60000023, L"At the log-off of the user '%1', session %2 had been idle for %3 minute(s); it was %4 and %5, "
                 L"and %6.\r\n"},
    {0x60000030, L"Tarnvale %1 is installed, and the update source '%2' offers the newer version %3.\r\n"},
    {0x60000031, L"Tarnvale %1 is up to date with the update source '%2'.\r\n"},
    {0x60000032, L"Tarnvale verified the package of version %1 from '%2' and started its installation; the "
                 L"Windows Installer writes its log to '%3'.\r\n"},
    {0x60000040, L"Tarnvale did not warn or log off the user '%1' at the idle time-out, because %2. It looks again "
                 L"after the next time-out.\r\n"},
    {0xa000000c, L"Tarnvale did not start monitoring because Tarnvale was not enabled at that time.\r\n"},
    {0xa000000d, L"Tarnvale did not process a logon event because Tarnvale was not enabled at that time.\r\n"},
    {0xa000000e, L"Tarnvale did not process the idle timeout for user '%1' because Tarnvale was not enabled at that "
                 L"time.\r\n"},
    {0xa0000016, L"Tarnvale did not log off user '%1' because that user was the most recent active user.\r\n"},
    {0xa0000019, L"Tarnvale did not process the idle timeout for user '%1' because according to its schedule "
                 L"Tarnvale was set to be inactive at that time.\r\n"},
    {0xa000001a, L"Tarnvale found the setting '%1' unusable as stored: %2.\r\n"},
    {0xa000001b, L"Tarnvale received the request to quit its work (control code 129): no session is monitored "
                 L"until the service is started again.\r\n"},
    {0xa000001d, L"The monitor process for the user '%1' ended while the session was monitored; Tarnvale started "
                 L"it again. (Attempt %2)\r\n"},
    {0xa000001f, L"The input hooks of the monitor process for the user '%1' had stopped reporting input; Tarnvale "
                 L"installed them again.\r\n"},
    {0xa0000020, L"Tarnvale skipped the user '%1' from monitoring, because the user's groups could be read neither "
                 L"from the session's logon nor from the domain (Code %2), and a group in the 'Do not apply to' list "
                 L"may include the user.\r\n"},
    {0xa0000021, L"Tarnvale could not read the groups of the user '%1' from the session's logon or from the domain "
                 L"(Code %2), so it applied the 'Apply To' list without them.\r\n"},
    {0xa0000024, L"Tarnvale could not show the warning to the user '%1' in session %2. (Code %3)\r\n"},
    {0xa0000033, L"Tarnvale could not check for updates: %1. (Update source '%2')\r\n"},
    {0xa0000034, L"Tarnvale refused the update package '%1' and ran nothing: %2.\r\n"},
    {0xe000000b, L"Tarnvale could not log off the user '%1'. (Code %2)\r\n"},
    {0xe000000f, L"Tarnvale could not start the monitor process for the user '%1'. (Code %2)\r\n"},
    {0xe0000013, L"Tarnvale encountered an error returned from InitiateSystemShutdownEx().\r\n"},
    {0xe0000015, L"Tarnvale encountered an error returned from SetSuspendState().\r\n"},
    {0xe0000018, L"Tarnvale could not log off the stale session for user '%1'. (Code %2)\r\n"},
    {0xe000001c, L"Tarnvale found the object '%1' already present when it meant to create it. It was not used: "
                 L"Tarnvale uses an object of its own instead.\r\n"},
    {0xe000001e, L"The monitor process for the user '%1' kept ending, so Tarnvale stopped monitoring that session "
                 L"rather than log it off unwarned. (Code %2)\r\n"},
    {0xe0000035, L"Tarnvale could not start the installation of the verified update package '%1': %2.\r\n"},
};
}  // namespace

std::span<const EventTextEntry> AllEventTexts() { return kTexts; }

const wchar_t* FindEventText(DWORD id) {
  for (const EventTextEntry& e : kTexts) {
    if (e.id == id) return e.text;
  }
  return nullptr;
}

std::wstring FormatEventText(DWORD id, const std::vector<std::wstring>& inserts) {
  const wchar_t* text = FindEventText(id);
  if (!text) {
    wchar_t head[32];
    std::swprintf(head, 32, L"Event 0x%08lx", static_cast<unsigned long>(id));
    std::wstring out = head;
    for (const std::wstring& s : inserts) out += L" [" + s + L"]";
    return out;
  }
  std::wstring out;
  for (const wchar_t* p = text; *p; ++p) {
    if (*p == L'%' && p[1] >= L'1' && p[1] <= L'9') {
      // FormatMessage reads the whole number after the percent sign.
      const wchar_t* q = p + 1;
      std::size_t n = 0;
      while (*q >= L'0' && *q <= L'9' && n < 100) n = n * 10 + static_cast<std::size_t>(*q++ - L'0');
      if (n >= 1 && n <= inserts.size()) {
        out += inserts[n - 1];
      } else {
        out.append(p, q);
      }
      p = q - 1;
      continue;
    }
    out += *p;
  }
  return out;
}

std::wstring TrimEventText(std::wstring text) {
  while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' ')) text.pop_back();
  return text;
}

}  // namespace tv
