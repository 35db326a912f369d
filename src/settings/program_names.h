// The program list of KeepAliveProcesses: which entries are usable, and which running program an
// entry names. One set of rules for the configuration utility (which refuses a bad entry), the
// service's setting check (which reports one it finds stored) and the session monitor (which
// matches the session's processes against the list).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tv {

// The longest file name the file systems allow; an image name cannot be longer.
inline constexpr std::size_t kMaxProgramNameChars = 255;

// Why `entry` cannot name a program, as one sentence without a full stop for a message box and
// the event log; "" when it can. An entry is an image name ("render.exe"), optionally ending in
// one "*" that stands for any rest ("render*"). Refused: an empty entry, one with a folder or
// drive ("C:\Tools\render.exe"), a wildcard other than that one trailing "*" (a lone "*"
// included, which would keep every session alive), a character no file name may hold, and one
// longer than a file name.
std::wstring ProgramNameProblem(std::wstring_view entry);

// Whether program list entry `pattern` names the image `image` ("RENDER.EXE" for "render.exe";
// "render*" for "render64.exe"), compared without regard to case.
bool ProgramNameMatches(std::wstring_view pattern, std::wstring_view image);

// The first image of `running` that a usable entry of `patterns` names; "" when none does.
// Unusable entries name nothing, so a stored mistake cannot keep a session alive.
std::wstring FirstListedProgram(const std::vector<std::wstring>& patterns, const std::vector<std::wstring>& running);

}  // namespace tv
