// Splitting a command line into the program path and its arguments, and recognising switches and
// their data. Everything works on wide text in place or into caller buffers: nothing allocates,
// so these run before anything else is set up. Switches begin with "/" or "-"; switch names
// compare without regard to case (ASCII and Latin-1 letters, identically on every toolchain).
// Blanks are the space and the tab. A buffer is given with its size in characters; every copy
// stops at size - 1 and is terminated, and a null buffer or a size of 0 simply receives nothing.
#pragma once

#include <cstddef>

#include "platform/types.h"

namespace tv {

// Advances `text` over blanks; if a double quote follows, steps over it and the blanks after
// it and answers TRUE (the text was quoted), else FALSE. A null text stays null (FALSE).
BOOL SkipLeadingWhiteSpaces(const wchar_t*& text);
inline BOOL SkipLeadingWhiteSpaces(wchar_t*& text) {
  const wchar_t* p = text;
  const BOOL quoted = SkipLeadingWhiteSpaces(p);
  text += p - text;
  return quoted;
}

// Copies the program path of `commandLine` into `buffer`: after leading blanks, a quoted path runs
// to the next double quote (or the end), an unquoted one to the first blank. Answers FALSE with
// an empty buffer when there is no path (only blanks, or an empty pair of quotes).
BOOL GetCmdLnPath(const wchar_t* commandLine, wchar_t* buffer, std::size_t size);

// The arguments of `commandLine`: skips the program path as GetCmdLnPath delimits it, then blanks,
// one opening double quote and blanks again, and answers a pointer into `commandLine` at what
// remains (null when nothing does). A line whose first non-blank character (after an optional
// quote) is "/" has no program path: the arguments start at that "/". The remainder is copied
// into `buffer` when one is given (emptied when nothing remains). Note that only the opening
// quote is dropped: `a.exe "x y"` gives `x y"`.
const wchar_t* GetCmdLnArg(const wchar_t* commandLine, wchar_t* buffer = nullptr, std::size_t size = 0);

// Splits `commandLine` in one pass: a quoted path runs to its closing quote and the arguments start
// after the blanks and quote characters that follow; an unquoted path runs to the first blank and
// the arguments start after the blanks that follow. `pathOut` and `argsOut` may each be null.
// Answers a pointer into `commandLine` at the arguments, or null when there are none.
const wchar_t* ParseCmdLn(const wchar_t* commandLine, wchar_t* pathOut, std::size_t pathSize,
                          wchar_t* argsOut = nullptr, std::size_t argsSize = 0);

// TRUE if `argument`, with one leading "/" or "-" removed, is `name` as a whole (case ignored).
// A name may carry its own prefix ("/service" and "service" are the same name). A null or empty
// argument or name is FALSE.
BOOL IsCmdLineOption(const wchar_t* argument, const wchar_t* name);

// TRUE if `argument` begins with "/" or "-" and the text after it begins with `name` (case
// ignored, anything may follow). A name given with its own prefix ("/msg") also matches after
// that prefix, so "/msg:3" and "//msg" both match "/msg". A null or empty name is FALSE.
BOOL IsCmdLineSwitchPrefix(const wchar_t* argument, const wchar_t* name);

// TRUE if `argument` begins with `name` (case ignored) immediately followed by ":" or "=".
BOOL IsCmdLinePrefix(const wchar_t* argument, const wchar_t* name);

// The data of a switch: the text after the first ":" or "=" in `argument`. Data that begins with a
// double quote runs up to and including the closing quote (the quotes are kept); otherwise it runs
// to the first blank. `rest` is set to the first non-blank character after the data, or null at
// the end of the text. Without ":" or "=" (or with a null or empty argument) the buffer is
// emptied, `rest` is null and the answer is FALSE.
BOOL GetCmdLineSwitchData(const wchar_t* argument, wchar_t* buffer, std::size_t size, const wchar_t*& rest);

// Copies `source` into `destination` without leading and trailing blanks and without one pair of
// double quotes enclosing the rest (blanks inside the quotes are kept: the quotes protect them).
// With a null source the text already in `destination` is cleaned in place. The result never
// grows, and is cut at size - 1.
void RemoveWhiteSpacesAndQuotes(wchar_t* destination, const wchar_t* source, std::size_t size);

// In place: encloses `text` in double quotes if it contains a blank and is not already enclosed.
// Answers TRUE when the text is ready for a command line (quoted now or no quotes needed); FALSE
// with the text unchanged when the buffer cannot hold two more characters (error 122), or when
// the text is null or not terminated within `size` (error 87).
BOOL AddQuotesIfSpace(wchar_t* text, std::size_t size);

}  // namespace tv
