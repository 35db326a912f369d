#include "config_ui/custom_message.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/string_table.h"
#include "platform/last_error.h"
#include "platform/message_box.h"
#include "platform/registry.h"
#include "settings/my_config.h"
#include "settings/my_opts.h"

namespace tv {
namespace {

TEST(CustomMessage, StoredTextIsTrimmedCutAndEmptyForTheBuiltInOne) {
  const wchar_t* builtIn = LoadStr(100);
  ASSERT_GT(std::wcslen(builtIn), 20u);
  MemKeyStore store;
  MyOpts opts(store);

  EXPECT_EQ(MessageForEditor(opts.MessageText, builtIn), builtIn) << "an empty setting opens on the built-in";
  StoreEditedMessage(L" \t\r\nLeave now: %d.\r\n\r\n ", builtIn, opts.MessageText, kMessageTextChars);
  EXPECT_STREQ(opts.MessageText, L"Leave now: %d.");
  EXPECT_EQ(MessageForEditor(opts.MessageText, builtIn), L"Leave now: %d.");
  StoreEditedMessage(L"a \t b", builtIn, opts.MessageText, kMessageTextChars);
  EXPECT_STREQ(opts.MessageText, L"a \t b") << "inner blanks stay";

  // Edited back to the built-in text, with a stray line break: stored as empty.
  StoreEditedMessage((std::wstring(builtIn) + L"\r\n").c_str(), builtIn, opts.MessageText, kMessageTextChars);
  EXPECT_STREQ(opts.MessageText, L"");
  StoreEditedMessage(L" \r\n\t", builtIn, opts.MessageText, kMessageTextChars);
  EXPECT_STREQ(opts.MessageText, L"");

  // Only 511 characters are read; the trim applies to what was read.
  const std::wstring longText = std::wstring(510, L'x') + L" y";
  StoreEditedMessage(longText.c_str(), builtIn, opts.MessageText, kMessageTextChars);
  EXPECT_EQ(std::wstring(opts.MessageText), std::wstring(510, L'x'));
  wchar_t small[4];
  StoreEditedMessage(L"abcdef", builtIn, small, 4);
  EXPECT_STREQ(small, L"abc");
  StoreEditedMessage(nullptr, builtIn, small, 4);
  EXPECT_STREQ(small, L"");
}

TEST(CustomMessage, ReadOnlyEditorShowsTheTextButCannotStoreIt) {
  CustomMessageEditor readOnly(L"Policy text", true);
  EXPECT_FALSE(readOnly.OkEnabled());
  EXPECT_EQ(readOnly.Text(), L"Policy text");
  SetLastErrorCode(0);
  EXPECT_FALSE(readOnly.ReadBack(L"changed"));
  EXPECT_EQ(GetLastErrorCode(), err::kAccessDenied);
  EXPECT_EQ(readOnly.Text(), L"Policy text");

  CustomMessageEditor editor(L"", false);
  EXPECT_TRUE(editor.OkEnabled());
  ASSERT_TRUE(editor.ReadBack(std::wstring(600, L'z')));
  EXPECT_EQ(editor.Text().size(), 511u);
}

TEST(CustomMessage, DataLossWarningGatesOkAndEnableTick) {
  DataLossWarning warning;
  EXPECT_FALSE(warning.OkEnabled());
  warning.OnAgreeClicked(true);
  EXPECT_TRUE(warning.OkEnabled());
  warning.OnAgreeClicked(false);
  EXPECT_FALSE(warning.OkEnabled()) << "unticking disables OK again";

  MemKeyStore store;
  MyConfig config(store);
  EXPECT_TRUE(MustShowDataLossWarning(config));
  EXPECT_FALSE(OnDataLossWarningClosed(kAnswerCancel, config));
  EXPECT_FALSE(OnDataLossWarningClosed(0, config));
  EXPECT_TRUE(MustShowDataLossWarning(config)) << "a refusal is asked again next time";
  EXPECT_TRUE(OnDataLossWarningClosed(kAnswerOk, config));
  EXPECT_FALSE(MustShowDataLossWarning(config));
  config.RestoreHiddenMsg();
  EXPECT_TRUE(MustShowDataLossWarning(config)) << "restoring defaults asks again";
}

}  // namespace
}  // namespace tv
