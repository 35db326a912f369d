// Command lines come from whoever starts the program: every parsing function must stay inside its
// buffers, terminate what it writes, and point only into the text it was given, whatever the text.
//
// Input layout: two bytes choose buffer sizes, then the text. A byte below 0xF0 is one character;
// 0xF0 and above takes the next two bytes as one 16-bit character. The first NUL separates the
// argument from the switch name handed to the matching functions.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string>

#include "foundation/cmdline.h"

namespace {

using tv::BOOL;

void Check(bool condition) {
  if (!condition) std::abort();
}

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

// A buffer of exactly `size` characters on the heap, so that AddressSanitizer sees any write past it.
struct Exact {
  explicit Exact(std::size_t n, const std::wstring* fill = nullptr) : size(n), data(new wchar_t[n]) {
    std::fill_n(data.get(), n, L'#');
    if (fill) std::wmemcpy(data.get(), fill->c_str(), std::min(n, fill->size() + 1));  // perhaps unterminated
  }
  wchar_t* get() const { return data.get(); }
  // Written output is terminated within the buffer and is the start of the full answer.
  void ExpectCutOf(const std::wstring& full) const {
    if (size == 0) return;
    const std::size_t n = std::wcslen(get());  // ASan stops this if there is no terminator
    Check(n == std::min(full.size(), size - 1) && full.compare(0, n, get(), n) == 0);
  }
  std::size_t size;
  std::unique_ptr<wchar_t[]> data;
};

bool Inside(const wchar_t* p, const std::wstring& text) {
  return p >= text.c_str() && p <= text.c_str() + text.size();
}

void Exercise(const std::wstring& text, const std::wstring& name, const std::size_t (&sizes)[5]) {
  const wchar_t* line = text.c_str();
  const std::size_t big = text.size() + 3;
  Exact path(big), args(big), ppath(big), pargs(big), data(big), clean(big), in_place(big, &text),
      quoted(big, &text);

  const BOOL has_path = tv::GetCmdLnPath(line, path.get(), big);
  const std::wstring full_path = path.get();
  Check(text.find(full_path) != std::wstring::npos && has_path == !full_path.empty());

  const wchar_t* arg = tv::GetCmdLnArg(line, args.get(), big);
  Check(arg == tv::GetCmdLnArg(line));
  if (arg) Check(Inside(arg, text) && *arg && !IsBlank(*arg));
  const std::wstring full_args = arg ? arg : L"";
  Check(full_args == args.get());

  const wchar_t* parsed = tv::ParseCmdLn(line, ppath.get(), big, pargs.get(), big);
  const std::wstring full_ppath = ppath.get(), full_pargs = parsed ? parsed : L"";
  Check(text.find(full_ppath) != std::wstring::npos && full_pargs == pargs.get());
  if (parsed) Check(Inside(parsed, text) && *parsed && parsed >= line + full_ppath.size());

  const wchar_t* rest = nullptr;
  const BOOL has_data = tv::GetCmdLineSwitchData(line, data.get(), big, rest);
  const std::wstring full_data = data.get();
  if (rest) Check(has_data && Inside(rest, text) && *rest && !IsBlank(*rest) && rest > line);
  if (!has_data) Check(!rest && full_data.empty());
  Check(text.find(full_data) != std::wstring::npos);

  // Cleaning by copy and in place agree; quoting grows by exactly two or not at all.
  tv::RemoveWhiteSpacesAndQuotes(clean.get(), line, big);
  tv::RemoveWhiteSpacesAndQuotes(in_place.get(), nullptr, big);
  const std::wstring full_clean = clean.get();
  Check(full_clean.size() <= text.size() && full_clean == in_place.get());
  Check(tv::AddQuotesIfSpace(quoted.get(), big));
  const std::wstring full_quoted = quoted.get();
  Check(full_quoted == text || full_quoted.size() == text.size() + 2);

  // The same answers through buffers of every awkward size.
  for (std::size_t size : sizes) {
    Exact b1(size), b2(size), b3(size), b4(size), b5(size), b6(size), b7(size, &text), b8(size, &text);
    Check(tv::GetCmdLnPath(line, b1.get(), size) == has_path);
    b1.ExpectCutOf(full_path);
    Check(tv::GetCmdLnArg(line, b2.get(), size) == arg);
    b2.ExpectCutOf(full_args);
    Check(tv::ParseCmdLn(line, b3.get(), size, b4.get(), size) == parsed);
    b3.ExpectCutOf(full_ppath);
    b4.ExpectCutOf(full_pargs);
    const wchar_t* rest2 = nullptr;
    Check(tv::GetCmdLineSwitchData(line, b5.get(), size, rest2) == has_data && rest2 == rest);
    b5.ExpectCutOf(full_data);
    tv::RemoveWhiteSpacesAndQuotes(b6.get(), line, size);
    b6.ExpectCutOf(full_clean);
    // In place and quoting on a buffer holding only as much of the text as fits.
    tv::RemoveWhiteSpacesAndQuotes(b7.get(), nullptr, size);
    if (size) Check(std::wcslen(b7.get()) < size);
    const BOOL ok = tv::AddQuotesIfSpace(b8.get(), size);
    if (size > text.size()) {
      Check(std::wcslen(b8.get()) < size && b8.get() == (ok ? full_quoted : text));
    } else {
      Check(!ok);
    }
  }
  // Null buffers are ignored whatever size comes with them.
  tv::GetCmdLnPath(line, nullptr, 5);
  tv::GetCmdLnArg(line, nullptr, 5);
  tv::ParseCmdLn(line, nullptr, 5, nullptr, 5);
  tv::GetCmdLineSwitchData(line, nullptr, 5, rest);
  tv::RemoveWhiteSpacesAndQuotes(nullptr, line, 5);

  // Matching: the three tests must agree where their meanings overlap.
  const BOOL option = tv::IsCmdLineOption(line, name.c_str());
  if (option) Check(!text.empty() && !name.empty());
  if (option && (line[0] == L'/' || line[0] == L'-')) Check(tv::IsCmdLineSwitchPrefix(line, name.c_str()));
  if (tv::IsCmdLinePrefix(line, name.c_str())) Check(has_data);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  if (count < 2) return 0;
  const std::size_t sizes[5] = {0, 1, 2, std::size_t{bytes[0]} % 8, std::size_t{bytes[1]} % 48};
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
