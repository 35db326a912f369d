#include "settings/kept_alive_record.h"

#include <utility>

namespace tv {
namespace {

// The decimal number at the start of `text` up to its blank, which must follow it.
bool TakeNumber(const std::wstring& text, std::size_t& pos, DWORD& out) {
  const std::size_t blank = text.find(L' ', pos);
  if (blank == std::wstring::npos || blank == pos || blank - pos > 10) return false;
  unsigned long long value = 0;
  for (std::size_t i = pos; i < blank; ++i) {
    if (text[i] < L'0' || text[i] > L'9') return false;
    value = value * 10 + static_cast<unsigned>(text[i] - L'0');
  }
  if (value > 0xFFFFFFFFull) return false;
  out = static_cast<DWORD>(value);
  pos = blank + 1;
  return true;
}

}  // namespace

std::wstring KeptAliveValueName(DWORD session) { return std::to_wstring(session) + L".KeptAlive"; }

std::wstring FormatKeptAlive(const KeptAliveRecord& record) {
  return std::to_wstring(record.at) + L" " + std::to_wstring(static_cast<DWORD>(record.source)) + L" " +
         record.program;
}

bool ParseKeptAlive(const std::wstring& text, KeptAliveRecord& out) {
  std::size_t pos = 0;
  DWORD at = 0, source = 0;
  if (!TakeNumber(text, pos, at) || !TakeNumber(text, pos, source)) return false;
  if (source > static_cast<DWORD>(KeepSource::kPresentation)) return false;
  KeptAliveRecord record{at, static_cast<KeepSource>(source), text.substr(pos)};
  // Only a program's sparing names one.
  if ((record.source == KeepSource::kProgram) == record.program.empty()) return false;
  out = std::move(record);
  return true;
}

}  // namespace tv
