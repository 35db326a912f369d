// Character classes, the entity table and the shared counters of the XML reader and writer.
#pragma once

#include <cstddef>

namespace tv::xml {

// The five entities, searched in this order by both the reader and the writer.
struct Entity {
  wchar_t ch;
  const wchar_t* text;
  std::size_t length;
};
inline constexpr Entity kEntities[] = {
    {L'"', L"&quot;", 6}, {L'\'', L"&apos;", 6}, {L'<', L"&lt;", 4}, {L'>', L"&gt;", 4}, {L'&', L"&amp;", 5},
};

// White space is exactly these four; nothing else (no form feed, no Unicode spaces).
inline bool IsWhite(wchar_t c) { return c == L' ' || c == L'\n' || c == L'\t' || c == L'\r'; }

inline bool IsAsciiLetter(wchar_t c) { return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z'); }

// Names are ASCII only: a letter or underscore, then letters, digits, '_', '-' and '.'.
inline bool IsNameStart(wchar_t c) { return IsAsciiLetter(c) || c == L'_'; }
inline bool IsNameChar(wchar_t c) {
  return IsAsciiLetter(c) || (c >= L'0' && c <= L'9') || c == L'_' || c == L'-' || c == L'.';
}

inline wchar_t AsciiLower(wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + 32) : c; }

// Compares without regard to ASCII case; other letters must match exactly, so the answer does
// not depend on the process's locale.
inline bool EqualNoCase(const wchar_t* a, const wchar_t* b) {
  for (;; ++a, ++b) {
    if (AsciiLower(*a) != AsciiLower(*b)) return false;
    if (*a == 0) return true;
  }
}

// The reader's line number and the writer's depth. Process-wide on purpose: one read or write
// runs at a time, and the messages and the indentation read them from wherever they are.
extern int g_line;
extern int g_depth;

}  // namespace tv::xml
