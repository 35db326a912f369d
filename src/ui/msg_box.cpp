// The message-box family's functions common to both platforms: text resolution, formatting,
// error texts and the callback settings. Showing is the platform's (msg_box_state.h).
#include "ui/msg_box.h"

#include <cstdio>
#include <cwchar>

#include "ui/msg_box_state.h"
#include "platform/last_error.h"

namespace tv {
namespace {

constexpr std::size_t kPlainChars = 1024;
constexpr std::size_t kExChars = 2048;
constexpr std::uint32_t kPlainForeground = 0x10000;
constexpr std::uint32_t kPlainWarningOk = 0x30;

std::wstring FormatV(const wchar_t* format, std::va_list args, std::size_t capacity) {
  const std::wstring pattern = ResolveMsgText(format);
  std::wstring out(capacity, L'\0');
  const int n = std::vswprintf(out.data(), capacity, pattern.c_str(), args);
  // vswprintf fails on a result that does not fit; the product's boxes show what fits instead.
  out.resize(n >= 0 ? static_cast<std::size_t>(n) : std::wcslen(out.c_str()));
  return out;
}

std::wstring Cut(std::wstring text, std::size_t capacity) {
  if (text.size() >= capacity) text.resize(capacity - 1);
  return text;
}

int ShowPlain(void* owner, std::uint32_t type, const std::wstring& text) {
  MsgBoxState& s = GetMsgBoxState();
  if (s.pauseResume) s.pauseResume(0);
  const int result = ShowPlainMsgBox(owner, type | kPlainForeground, PlainMsgText(text));
  if (s.pauseResume) s.pauseResume(1);
  return result;
}

// The link callback MsgExFmtLink installs for its one box: the context is the link's text.
int OpenLinkCallback(void*, void* context) {
  const auto* link = static_cast<const std::wstring*>(context);
  std::wstring address = *link;
  if (address.find(L"://") == std::wstring::npos && address.rfind(L"mailto:", 0) != 0) address = L"https://" + address;
  OpenLinkAddress(address);
  return 0;
}

}  // namespace

MsgBoxState& GetMsgBoxState() {
  static MsgBoxState state;
  return state;
}

std::wstring ResolveMsgText(const wchar_t* textOrId) {
  int id = 0;
  if (IsMsgTextId(textOrId, id)) return id ? LoadMsgString(id) : std::wstring();
  return textOrId;
}

int Msg(void* owner, std::uint32_t type, const wchar_t* text) {
  return ShowPlain(owner, type, Cut(ResolveMsgText(text), kPlainChars));
}

int MsgFmtV(void* owner, std::uint32_t type, const wchar_t* format, std::va_list args) {
  return ShowPlain(owner, type, FormatV(format, args, kPlainChars));
}

int MsgFmt(void* owner, std::uint32_t type, const wchar_t* format, ...) {
  std::va_list args;
  va_start(args, format);
  const int result = MsgFmtV(owner, type, format, args);
  va_end(args);
  return result;
}

namespace {
// The text of `format` (if any) followed by the system's words for `code` when `failed`.
int ShowWithErrorV(void* owner, std::uint32_t type, bool failed, DWORD code, const wchar_t* format,
                   std::va_list args) {
  if (!failed && !format) return kResultOk;
  if (type == 0xFFFFFFFFu) type = kPlainWarningOk;
  std::wstring text;
  if (format) text = FormatV(format, args, kPlainChars);
  if (failed) {
    if (!text.empty()) text += L"\n\n";
    text += GetLastErrorText(code);
  }
  return ShowPlain(owner, type, Cut(text, kPlainChars));
}
}  // namespace

int MsgLastError(void* owner, std::uint32_t type, const wchar_t* format, ...) {
  const ErrorCode error = GetLastErrorCode();
  std::va_list args;
  va_start(args, format);
  const int result = ShowWithErrorV(owner, type, error != 0, static_cast<DWORD>(error), format, args);
  va_end(args);
  return result;
}

int MsgHRESULT(void* owner, std::int32_t hresult, std::uint32_t type, const wchar_t* format, ...) {
  std::va_list args;
  va_start(args, format);
  const int result = ShowWithErrorV(owner, type, hresult < 0, static_cast<DWORD>(hresult), format, args);
  va_end(args);
  return result;
}

int MsgEx(void* owner, std::uint32_t flags, const wchar_t* text, int* dontShowAgain) {
  const ErrorCode error = GetLastErrorCode();
  const MsgExFlags f(flags);
  std::wstring message = Cut(ResolveMsgText(text), kExChars);
  if (f.appendLastError && error) message = ComposeMsgText(message, f, GetLastErrorText(error));
  return ShowMsgExBox(owner, flags, message, dontShowAgain);
}

int MsgExFmtV(void* owner, std::uint32_t flags, int* dontShowAgain, const wchar_t* format, std::va_list args) {
  const ErrorCode error = GetLastErrorCode();
  std::wstring text = FormatV(format, args, dontShowAgain ? kPlainChars : kExChars);
  SetLastErrorCode(error);
  return MsgEx(owner, flags, text.c_str(), dontShowAgain);
}

int MsgExFmt(void* owner, std::uint32_t flags, const wchar_t* format, ...) {
  std::va_list args;
  va_start(args, format);
  const int result = MsgExFmtV(owner, flags, nullptr, format, args);
  va_end(args);
  return result;
}

int MsgExFmtLink(const wchar_t* link, void* owner, std::uint32_t flags, int* dontShowAgain, const wchar_t* format,
                 ...) {
  MsgBoxState& s = GetMsgBoxState();
  const MsgExLinkCallback savedCallback = s.link;
  void* savedContext = s.linkContext;
  std::wstring target = link ? ResolveMsgText(link) : std::wstring();
  s.link = &OpenLinkCallback;
  s.linkContext = &target;
  std::va_list args;
  va_start(args, format);
  const int result = MsgExFmtV(owner, flags, dontShowAgain, format, args);
  va_end(args);
  // Only this box opens the link; the box after it has the link callback it had before.
  s.link = savedCallback == &OpenLinkCallback ? nullptr : savedCallback;
  s.linkContext = savedCallback == &OpenLinkCallback ? nullptr : savedContext;
  return result;
}

void MsgExSetLinkCallback(MsgExLinkCallback callback, void* context) {
  GetMsgBoxState().link = callback;
  GetMsgBoxState().linkContext = context;
}

void MsgExSetButtonCallback(MsgExButtonCallback callback, void* context) {
  GetMsgBoxState().button = callback;
  GetMsgBoxState().buttonContext = context;
}

void MsgExSetTimerCallback(unsigned intervalMs, MsgExTimerCallback callback, void* context) {
  MsgBoxState& s = GetMsgBoxState();
  s.timerInterval = intervalMs;
  s.timer = callback;
  s.timerContext = context;
  s.tick = 0;
}

void MsgSetPauseResumeCallback(MsgPauseResumeCallback callback) { GetMsgBoxState().pauseResume = callback; }

void MsgExSetActivatePrevID(std::uint16_t id) { GetMsgBoxState().activatePrevId = id; }

BOOL MsgExSetText(void* box, const wchar_t* text) {
  if (!box) return Fail(err::kInvalidHandle);
  return SetBoxText(box, ResolveMsgText(text));
}

void* MsgExGetCurrentBox() { return GetMsgBoxState().currentBox; }

const wchar_t* GetLastErrorText(DWORD code) {
  static wchar_t buffer[kPlainChars];
  if (code == 0) code = GetLastErrorCode();
  std::wstring text = MsgSystemErrorText(code);
  if (text.empty() && (code & 0xFFFF0000u) == 0x80070000u) text = MsgSystemErrorText(code & 0xFFFFu);
  if (text.empty() && code == 0x80072EEEu) text = L"The password was not allowed.";
  if (text.empty()) {
    wchar_t unknown[64];
    if (code >= 0x80020000u && code <= 0x8002FFFFu)
      std::swprintf(unknown, 64, L"IDispatch error #%d", static_cast<int>(code & 0xFFFFu));
    else
      std::swprintf(unknown, 64, L"Unknown error 0x%0lX", static_cast<unsigned long>(code));
    text = unknown;
  }
  std::wcsncpy(buffer, text.c_str(), kPlainChars - 1);
  buffer[kPlainChars - 1] = L'\0';
  return buffer;
}

}  // namespace tv
