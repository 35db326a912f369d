#include "foundation/cmdline.h"

#include <cstring>
#include <cwchar>

#include "platform/last_error.h"

namespace tv {
namespace {

constexpr wchar_t kQuote = L'"';

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }
bool IsSwitchMark(wchar_t c) { return c == L'/' || c == L'-'; }
bool IsDataMark(wchar_t c) { return c == L':' || c == L'='; }

// towlower answers differently on Windows (its own tables) and glibc (the C locale knows only
// ASCII), so switch names fold by a fixed rule: ASCII and Latin-1 capitals, nothing else.
wchar_t Fold(wchar_t c) {
  if (c >= L'A' && c <= L'Z') return static_cast<wchar_t>(c + 32);
  if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return static_cast<wchar_t>(c + 32);
  return c;
}

// Whether `text` begins with all of `prefix`, case ignored.
bool StartsWithNoCase(const wchar_t* text, const wchar_t* prefix) {
  for (; *prefix; ++text, ++prefix) {
    if (!*text || Fold(*text) != Fold(*prefix)) return false;
  }
  return true;
}

bool EqualsNoCase(const wchar_t* a, const wchar_t* b) {
  for (; *a && *b; ++a, ++b) {
    if (Fold(*a) != Fold(*b)) return false;
  }
  return *a == *b;
}

// Copies [begin, end) into the buffer, cut at size - 1 and terminated. A null buffer or a size
// of 0 receives nothing.
void CopyRange(wchar_t* buffer, std::size_t size, const wchar_t* begin, const wchar_t* end) {
  if (!buffer || size == 0) return;
  std::size_t n = static_cast<std::size_t>(end - begin);
  if (n > size - 1) n = size - 1;
  std::memmove(buffer, begin, n * sizeof(wchar_t));
  buffer[n] = L'\0';
}

void Clear(wchar_t* buffer, std::size_t size) {
  if (buffer && size) buffer[0] = L'\0';
}

// Length of `text`, but never reading past `size` characters.
std::size_t BoundedLength(const wchar_t* text, std::size_t size) {
  std::size_t n = 0;
  while (n < size && text[n]) ++n;
  return n;
}

const wchar_t* EndOfString(const wchar_t* p) { return p + std::wcslen(p); }

// The end of an unquoted token: the first blank or the end of the text.
const wchar_t* EndOfToken(const wchar_t* p) {
  while (*p && !IsBlank(*p)) ++p;
  return p;
}

// The closing quote at or after `p`, or the end of the text when the quote was never closed.
const wchar_t* FindQuote(const wchar_t* p) {
  while (*p && *p != kQuote) ++p;
  return p;
}

// Delimits the program path the way GetCmdLnPath and GetCmdLnArg agree on. `p` is past the
// leading blanks (and the opening quote when `quoted`).
const wchar_t* EndOfPath(const wchar_t* p, bool quoted) { return quoted ? FindQuote(p) : EndOfToken(p); }

}  // namespace

BOOL SkipLeadingWhiteSpaces(const wchar_t*& text) {
  if (!text) return kFalse;
  while (IsBlank(*text)) ++text;
  if (*text != kQuote) return kFalse;
  ++text;
  while (IsBlank(*text)) ++text;
  return kTrue;
}

BOOL GetCmdLnPath(const wchar_t* commandLine, wchar_t* buffer, std::size_t size) {
  Clear(buffer, size);
  if (!commandLine) return kFalse;
  const wchar_t* p = commandLine;
  const bool quoted = SkipLeadingWhiteSpaces(p);
  const wchar_t* end = EndOfPath(p, quoted);
  if (end == p) return kFalse;
  CopyRange(buffer, size, p, end);
  return kTrue;
}

const wchar_t* GetCmdLnArg(const wchar_t* commandLine, wchar_t* buffer, std::size_t size) {
  Clear(buffer, size);
  if (!commandLine) return nullptr;
  const wchar_t* p = commandLine;
  const bool quoted = SkipLeadingWhiteSpaces(p);
  // The service and the installer start the program with arguments alone; a switch right at the
  // start therefore cannot be a program path.
  if (*p != L'/') {
    p = EndOfPath(p, quoted);
    if (quoted && *p == kQuote) ++p;
    SkipLeadingWhiteSpaces(p);
  }
  if (!*p) return nullptr;
  CopyRange(buffer, size, p, EndOfString(p));
  return p;
}

const wchar_t* ParseCmdLn(const wchar_t* commandLine, wchar_t* pathOut, std::size_t pathSize, wchar_t* argsOut,
                          std::size_t argsSize) {
  Clear(pathOut, pathSize);
  Clear(argsOut, argsSize);
  if (!commandLine) return nullptr;
  const wchar_t* p = commandLine;
  while (IsBlank(*p)) ++p;
  if (*p == kQuote) {
    const wchar_t* begin = ++p;
    p = FindQuote(p);
    CopyRange(pathOut, pathSize, begin, p);
    // Quotes left over after the path (a doubled closing quote, or the opening quote of the
    // first argument) belong to no argument.
    while (IsBlank(*p) || *p == kQuote) ++p;
  } else {
    const wchar_t* begin = p;
    p = EndOfToken(p);
    CopyRange(pathOut, pathSize, begin, p);
    while (IsBlank(*p)) ++p;
  }
  if (!*p) return nullptr;
  CopyRange(argsOut, argsSize, p, EndOfString(p));
  return p;
}

BOOL IsCmdLineOption(const wchar_t* argument, const wchar_t* name) {
  if (!argument || !*argument || !name || !*name) return kFalse;
  if (IsSwitchMark(*argument)) ++argument;
  if (IsSwitchMark(*name)) ++name;
  if (!*name) return kFalse;
  return EqualsNoCase(argument, name) ? kTrue : kFalse;
}

BOOL IsCmdLineSwitchPrefix(const wchar_t* argument, const wchar_t* name) {
  if (!argument || !name || !*name || !IsSwitchMark(*argument)) return kFalse;
  const wchar_t* after = argument + 1;
  if (StartsWithNoCase(after, name)) return kTrue;
  // Only a leading switch mark may be dropped from the name: dropping any first letter would let
  // "/ser-load" pass for "user-load".
  if (IsSwitchMark(name[0]) && name[1] && StartsWithNoCase(after, name + 1)) return kTrue;
  return kFalse;
}

BOOL IsCmdLinePrefix(const wchar_t* argument, const wchar_t* name) {
  if (!argument || !name || !*name) return kFalse;
  if (!StartsWithNoCase(argument, name)) return kFalse;
  return IsDataMark(argument[std::wcslen(name)]) ? kTrue : kFalse;
}

BOOL GetCmdLineSwitchData(const wchar_t* argument, wchar_t* buffer, std::size_t size, const wchar_t*& rest) {
  Clear(buffer, size);
  rest = nullptr;
  if (!argument) return kFalse;
  const wchar_t* mark = argument;
  while (*mark && !IsDataMark(*mark)) ++mark;
  if (!*mark) return kFalse;
  const wchar_t* begin = mark + 1;
  const wchar_t* end;
  if (*begin == kQuote) {
    end = FindQuote(begin + 1);
    if (*end == kQuote) ++end;
  } else {
    end = EndOfToken(begin);
  }
  CopyRange(buffer, size, begin, end);
  while (IsBlank(*end)) ++end;
  rest = *end ? end : nullptr;
  return kTrue;
}

void RemoveWhiteSpacesAndQuotes(wchar_t* destination, const wchar_t* source, std::size_t size) {
  if (!destination || size == 0) return;
  const wchar_t* text = source ? source : destination;
  const std::size_t length = source ? std::wcslen(source) : BoundedLength(destination, size);
  std::size_t begin = 0, end = length;
  while (begin < end && IsBlank(text[begin])) ++begin;
  while (end > begin && IsBlank(text[end - 1])) --end;
  if (end - begin >= 2 && text[begin] == kQuote && text[end - 1] == kQuote) {
    ++begin;
    --end;
  }
  // memmove: in place, the cleaned text slides left over itself.
  CopyRange(destination, size, text + begin, text + end);
}

BOOL AddQuotesIfSpace(wchar_t* text, std::size_t size) {
  if (!text || size == 0) return Fail(err::kInvalidParameter);
  const std::size_t length = BoundedLength(text, size);
  if (length == size) return Fail(err::kInvalidParameter);
  bool blank = false;
  for (std::size_t i = 0; i < length && !blank; ++i) blank = IsBlank(text[i]);
  if (!blank) return kTrue;
  if (length >= 2 && text[0] == kQuote && text[length - 1] == kQuote) return kTrue;
  if (length + 3 > size) return Fail(err::kInsufficientBuffer);
  std::memmove(text + 1, text, length * sizeof(wchar_t));
  text[0] = kQuote;
  text[length + 1] = kQuote;
  text[length + 2] = L'\0';
  return kTrue;
}

}  // namespace tv
