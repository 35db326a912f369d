#include "settings/program_names.h"

#include <cwctype>

namespace tv {
namespace {

wchar_t Lower(wchar_t c) { return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c))); }

bool SameText(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

}  // namespace

std::wstring ProgramNameProblem(std::wstring_view entry) {
  if (entry.empty()) return L"an entry is empty; give a program name such as render.exe";
  const std::wstring shown(entry.substr(0, 60));
  if (entry.size() > kMaxProgramNameChars) {
    return L"\"" + shown + L"...\" is longer than a file name can be (" + std::to_wstring(kMaxProgramNameChars) +
           L" characters)";
  }
  if (entry.find_first_of(L"\\/:") != std::wstring_view::npos) {
    return L"\"" + shown + L"\" holds a folder or drive; give the program's file name alone, such as render.exe";
  }
  if (entry == L"*") return L"\"*\" alone would name every program and keep every session alive";
  for (std::size_t i = 0; i < entry.size(); ++i) {
    const wchar_t c = entry[i];
    if (c == L'*' && i + 1 == entry.size()) continue;
    if (c == L'*' || c == L'?') {
      return L"\"" + shown + L"\" has a wildcard in the middle; only one * at the end is allowed, as in render*";
    }
    if (c < 32 || c == L'<' || c == L'>' || c == L'"' || c == L'|') {
      return L"\"" + shown + L"\" holds a character that no file name may hold";
    }
  }
  if (entry.front() == L' ' || entry.back() == L' ') {
    return L"\"" + shown + L"\" begins or ends with a blank, which no program's name does";
  }
  return {};
}

bool ProgramNameMatches(std::wstring_view pattern, std::wstring_view image) {
  if (!pattern.empty() && pattern.back() == L'*') {
    const std::wstring_view stem = pattern.substr(0, pattern.size() - 1);
    return image.size() >= stem.size() && SameText(stem, image.substr(0, stem.size()));
  }
  return SameText(pattern, image);
}

std::wstring FirstListedProgram(const std::vector<std::wstring>& patterns, const std::vector<std::wstring>& running) {
  for (const std::wstring& image : running) {
    for (const std::wstring& pattern : patterns) {
      if (ProgramNameMatches(pattern, image) && ProgramNameProblem(pattern).empty()) return image;
    }
  }
  return {};
}

}  // namespace tv
