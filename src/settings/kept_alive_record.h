// Which source besides input last kept a session at its idle mark, as the service records it for
// each session beside the reason it watches the session (watch_reasons.h), so that the
// configuration utility in that session can name the program that keeps it in use. The agent's
// own sources reach the utility directly; a listed program is seen only by the service.
#pragma once

#include <string>

#include "platform/types.h"

namespace tv {

// The values are stored: never renumber them.
enum class KeepSource : DWORD {
  kNone = 0,
  kNoInputYet = 1,    // IdleFromFirstInput: the session has had no input yet
  kProgram = 2,       // KeepAliveProcesses: a listed program runs in the session
  kAudio = 3,         // KeepAliveAudio: sound plays or records in the session
  kPresentation = 4,  // KeepAlivePresentation: the session presents or shows a full-screen program
};

// One sparing. `at` (the service's tick count) tells one sparing from the next with the same
// source, so a reader that remembers the text it saw last notices every new one.
struct KeptAliveRecord {
  Tick at = 0;
  KeepSource source = KeepSource::kNone;
  std::wstring program;  // the image name for kProgram, else empty
};

// The REG_SZ value of `session` in the key of the watch reasons: "<session>.KeptAlive".
std::wstring KeptAliveValueName(DWORD session);

// "<at> <source> <program>", the program last since an image name may hold blanks.
std::wstring FormatKeptAlive(const KeptAliveRecord& record);

// The record `text` holds; false (and `out` untouched) for text that is not one, such as a value
// a newer or older service wrote in another form.
bool ParseKeptAlive(const std::wstring& text, KeptAliveRecord& out);

}  // namespace tv
