#include "foundation/object_names.h"

#include <random>

namespace tv {

namespace {
std::wstring WithTag(std::wstring name, const std::wstring& tag) {
  if (!tag.empty()) name += L"-" + tag;
  return name;
}
}  // namespace

std::wstring IdleEventName(const std::wstring& stem, DWORD session, const std::wstring& tag) {
  return WithTag(stem + L"EventIdle-" + std::to_wstring(static_cast<long>(session)), tag);
}

std::wstring CancelEventName(const std::wstring& stem, DWORD session, const std::wstring& tag) {
  return WithTag(stem + L"EventCancel-" + std::to_wstring(static_cast<long>(session)), tag);
}

std::wstring QuitEventName(const std::wstring& stem, const std::wstring& tag) {
  return WithTag(stem + L"EventQuit", tag);
}

std::wstring ReloadEventName(const std::wstring& stem, DWORD session, const std::wstring& tag) {
  return WithTag(stem + L"EventReload-" + std::to_wstring(static_cast<long>(session)), tag);
}

bool IsValidObjectTag(const std::wstring& tag) {
  if (tag.empty() || tag.size() > 32) return false;
  for (wchar_t c : tag) {
    if (!((c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f'))) return false;
  }
  return true;
}

std::wstring NewObjectTag() {
  // The names only need to be unguessable by another user: the system's random source, read
  // once per set of objects.
  static thread_local std::random_device source;
  const unsigned long long value = (static_cast<unsigned long long>(source()) << 32) ^ source();
  static constexpr wchar_t kDigits[] = L"0123456789abcdef";
  std::wstring out(16, L'0');
  for (int i = 15, shift = 0; i >= 0; --i, shift += 4) out[i] = kDigits[(value >> shift) & 0xF];
  return out;
}

}  // namespace tv
