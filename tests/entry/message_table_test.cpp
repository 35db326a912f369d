// Reads every event-log text back from the built TV64.DLL, as the event viewer does.
#include <gtest/gtest.h>

#ifdef _WIN32

#include <string>

#include "launcher_location.h"
#include "service/event_texts.h"
#include "platform/win32/windows_include.h"

namespace tv {
namespace {

// The text `id` has in `module`, inserts left as they are; empty when there is none.
std::wstring Lookup(HMODULE module, DWORD id) {
  wchar_t buffer[1024] = {};
  const DWORD n = ::FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS, module, id, 0,
                                   buffer, static_cast<DWORD>(std::size(buffer)), nullptr);
  return std::wstring(buffer, n);
}

// The entries of the library's message table: its blocks of consecutive identifiers.
std::size_t LibraryEntryCount(HMODULE module) {
  HRSRC found = ::FindResourceW(module, MAKEINTRESOURCEW(1), RT_MESSAGETABLE);
  HGLOBAL loaded = found ? ::LoadResource(module, found) : nullptr;
  const auto* table = loaded ? static_cast<const MESSAGE_RESOURCE_DATA*>(::LockResource(loaded)) : nullptr;
  if (!table) return 0;
  std::size_t count = 0;
  for (DWORD i = 0; i < table->NumberOfBlocks; ++i) count += table->Blocks[i].HighId - table->Blocks[i].LowId + 1;
  return count;
}

TEST(MessageTable, EveryEventTextReadsBackExactlyFromTheLibrary) {
  const std::wstring path = test::LauncherFolder() + L"TV64.DLL";
  HMODULE module = ::LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(module, nullptr) << "cannot load " << testing::PrintToString(path) << ": " << ::GetLastError();

  // The portable table is the one the simulator prints; the library's must match it exactly, and
  // hold no entry beyond it.
  ASSERT_EQ(LibraryEntryCount(module), AllEventTexts().size());
  for (const EventTextEntry& e : AllEventTexts()) {
    EXPECT_EQ(Lookup(module, e.id), e.text) << std::hex << e.id;
  }
  // Neighbours without a text are really absent, so no identifier was shifted onto another.
  for (DWORD missing : {0x60000000u, 0x60000004u, 0x6000000bu, 0xa0000001u, 0xe0000001u, 0x40000001u})
    EXPECT_TRUE(Lookup(module, missing).empty()) << std::hex << missing;
  ::FreeLibrary(module);
}

}  // namespace
}  // namespace tv

#else

TEST(MessageTable, OnlyOnWindows) { GTEST_SKIP() << "the message table lives in TV64.DLL"; }

#endif  // _WIN32
