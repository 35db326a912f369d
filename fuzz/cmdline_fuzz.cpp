// Command lines come from whoever starts the program: every parsing function must stay inside its
// buffers, terminate what it writes, and point only into the text it was given, whatever the text.
//
// Input layout: two bytes choose buffer sizes, then the text. A byte below 0xF0 is one character;
// 0xF0 and above takes the next two bytes as one 16-bit character. The first NUL separates the
// argument from the switch name handed to the matching functions.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>
#include <vector>

#include "foundation/cmdline.h"

namespace {

using tv::BOOL;

void Check(bool condition) {
  if (!condition) std::abort();
}

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

// A buffer of exactly `size` characters on the heap, so that AddressSanitizer sees any write past it.
struct Exact {
  explicit Exact(std::size_t n) : size(n), data(new wchar_t[n]) {
    for (std::size_t i = 0; i < n; ++i) data[i] = L'#';
  }
  std::size_t size;
  std::unique_ptr<wchar_t[]> data;

  // Written output is terminated within the buffer and is the start of the full answer.
  void ExpectCutOf(const std::wstring& full) const {
    if (size == 0) return;
    const std::size_t n = std::wcslen(data.get());  // ASan stops this if there is no terminator
    Check(n < size);
    Check(n == std::min(full.size(), size - 1));
    Check(full.compare(0, n, data.get(), n) == 0);
  }
};

bool Inside(const wchar_t* p, const std::wstring& text) {
  return p >= text.c_str() && p <= text.c_str() + text.size();
}

void Exercise(const std::wstring& text, const std::wstring& name, const std::vector<std::size_t>& sizes) {
  const wchar_t* line = text.c_str();
  const std::size_t big = text.size() + 3;

  {
    const wchar_t* p = line;
    const BOOL quoted = tv::SkipLeadingWhiteSpaces(p);
    Check(Inside(p, text));
    Check(!IsBlank(*p));
    Check(!quoted || p > line);
  }

  // Program path.
  Exact path(big);
  const BOOL has_path = tv::GetCmdLnPath(line, path.data.get(), path.size);
  const std::wstring full_path = path.data.get();
  Check(text.find(full_path) != std::wstring::npos);
  Check(has_path == !full_path.empty());

  // Arguments.
  Exact args(big);
  const wchar_t* arg = tv::GetCmdLnArg(line, args.data.get(), args.size);
  Check(arg == tv::GetCmdLnArg(line));
  if (arg) {
    Check(Inside(arg, text) && *arg && !IsBlank(*arg));
    Check(std::wcscmp(arg, args.data.get()) == 0);
  } else {
    Check(args.data[0] == L'\0');
  }
  const std::wstring full_args = arg ? arg : L"";

  // One-pass split.
  Exact ppath(big), pargs(big);
  const wchar_t* parsed = tv::ParseCmdLn(line, ppath.data.get(), ppath.size, pargs.data.get(), pargs.size);
  const std::wstring full_ppath = ppath.data.get();
  const std::wstring full_pargs = parsed ? parsed : L"";
  Check(text.find(full_ppath) != std::wstring::npos);
  if (parsed) Check(Inside(parsed, text) && *parsed && parsed >= line + full_ppath.size());
  Check(full_pargs == pargs.data.get());

  // Switch data.
  Exact data(big);
  const wchar_t* rest = nullptr;
  const BOOL has_data = tv::GetCmdLineSwitchData(line, data.data.get(), data.size, rest);
  const std::wstring full_data = data.data.get();
  if (rest) Check(has_data && Inside(rest, text) && *rest && !IsBlank(*rest) && rest > line);
  if (!has_data) Check(!rest && full_data.empty());
  Check(text.find(full_data) != std::wstring::npos);

  // Cleaning, by copy and in place.
  Exact clean(big);
  tv::RemoveWhiteSpacesAndQuotes(clean.data.get(), line, clean.size);
  const std::wstring full_clean = clean.data.get();
  Check(full_clean.size() <= text.size());
  {
    Exact in_place(big);
    std::wmemcpy(in_place.data.get(), line, text.size() + 1);
    tv::RemoveWhiteSpacesAndQuotes(in_place.data.get(), nullptr, in_place.size);
    Check(full_clean == in_place.data.get());
  }

  // Quoting: never shrinks, grows by exactly two or not at all.
  std::wstring full_quoted;
  {
    Exact quoted(big);
    std::wmemcpy(quoted.data.get(), line, text.size() + 1);
    const BOOL ok = tv::AddQuotesIfSpace(quoted.data.get(), quoted.size);
    Check(ok);
    full_quoted = quoted.data.get();
    Check(full_quoted == text || full_quoted.size() == text.size() + 2);
  }

  // The same answers through buffers of every awkward size, and null buffers.
  for (std::size_t size : sizes) {
    Exact b1(size), b2(size), b3(size), b4(size), b5(size), b6(size);
    Check(tv::GetCmdLnPath(line, b1.data.get(), size) == has_path);
    b1.ExpectCutOf(full_path);
    Check(tv::GetCmdLnArg(line, b2.data.get(), size) == arg);
    b2.ExpectCutOf(full_args);
    Check(tv::ParseCmdLn(line, b3.data.get(), size, b4.data.get(), size) == parsed);
    b3.ExpectCutOf(full_ppath);
    b4.ExpectCutOf(full_pargs);
    const wchar_t* rest2 = nullptr;
    Check(tv::GetCmdLineSwitchData(line, b5.data.get(), size, rest2) == has_data && rest2 == rest);
    b5.ExpectCutOf(full_data);
    tv::RemoveWhiteSpacesAndQuotes(b6.data.get(), line, size);
    b6.ExpectCutOf(full_clean);

    // In place on a buffer holding only as much of the text as fits, perhaps unterminated.
    Exact in_place(size);
    const std::size_t n = std::min(size, text.size() + 1);
    if (n) std::wmemcpy(in_place.data.get(), line, n);
    tv::RemoveWhiteSpacesAndQuotes(in_place.data.get(), nullptr, size);
    if (size) Check(std::wcslen(in_place.data.get()) < size);

    Exact quote(size);
    if (n) std::wmemcpy(quote.data.get(), line, n);
    const bool terminated = size > text.size();
    const BOOL ok = tv::AddQuotesIfSpace(quote.data.get(), size);
    if (terminated) {
      const std::wstring after = quote.data.get();
      Check(after.size() < size);
      Check(after == (ok ? full_quoted : text));
    } else {
      Check(!ok);
    }
  }
  tv::GetCmdLnPath(line, nullptr, 5);
  tv::GetCmdLnArg(line, nullptr, 5);
  tv::ParseCmdLn(line, nullptr, 5, nullptr, 5);
  tv::GetCmdLineSwitchData(line, nullptr, 5, rest);
  tv::RemoveWhiteSpacesAndQuotes(nullptr, line, 5);

  // Matching: the three tests must agree where their meanings overlap.
  const wchar_t* nm = name.c_str();
  const BOOL option = tv::IsCmdLineOption(line, nm);
  const BOOL prefix = tv::IsCmdLineSwitchPrefix(line, nm);
  const BOOL with_data = tv::IsCmdLinePrefix(line, nm);
  if (option && (line[0] == L'/' || line[0] == L'-')) Check(prefix);
  if (with_data) Check(has_data);
  if (option) Check(!text.empty() && !name.empty());
  tv::IsCmdLineOption(nm, line);
  tv::IsCmdLineSwitchPrefix(nm, line);
  tv::IsCmdLinePrefix(nm, line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  if (count < 2) return 0;
  const std::vector<std::size_t> sizes = {0, 1, 2, std::size_t{bytes[0]} % 8, std::size_t{bytes[1]} % 48};
  std::wstring chars;
  for (std::size_t i = 2; i < count; ++i) {
    if (bytes[i] < 0xF0) {
      chars.push_back(static_cast<wchar_t>(bytes[i]));
    } else if (i + 2 < count) {
      chars.push_back(static_cast<wchar_t>(bytes[i + 1] | (bytes[i + 2] << 8)));
      i += 2;
    }
  }
  const std::size_t split = chars.find(L'\0');
  const std::wstring text = chars.substr(0, split);
  std::wstring name;
  if (split != std::wstring::npos) name = chars.substr(split + 1, chars.find(L'\0', split + 1) - split - 1);
  Exercise(text, name, sizes);
  return 0;
}
