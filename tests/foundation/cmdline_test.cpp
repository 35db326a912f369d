#include "foundation/cmdline.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <utility>

#include "platform/last_error.h"

namespace tv {
namespace {

std::wstring Or(const wchar_t* p, const wchar_t* none = L"<null>") { return p ? p : none; }

TEST(CmdLine, SplitsProgramPathFromArguments) {
  // path: empty when GetCmdLnPath answers FALSE; args: GetCmdLnArg's, null when nothing remains;
  // parsed: ParseCmdLn's arguments. (Cuts by small buffers are fuzzed.)
  struct Case {
    const wchar_t *line, *path, *args, *parsed;
  };
  const Case cases[] = {
      {L"\"C:\\Prog Files\\a.exe\" /monitor", L"C:\\Prog Files\\a.exe", L"/monitor", L"/monitor"},
      {L"  /msg:3 /x", L"/msg:3", L"/msg:3 /x", L"/x"},  // arguments alone: no program path
      {L"\"/monitor\"", L"/monitor", L"/monitor\"", nullptr},
      {L"a.exe \"x y\"", L"a.exe", L"x y\"", L"\"x y\""},  // only the opening quote goes
      {L"\"a b.exe\" \"\" z", L"a b.exe", L"\" z", L"z"},
      {L" a.exe\t\t-load  ", L"a.exe", L"-load  ", L"-load  "},
      {L"\"a b.exe\"/x", L"a b.exe", L"/x", L"/x"},
      {L"\"never closed /x", L"never closed /x", nullptr, nullptr},
      {L"a.exe \" ", L"a.exe", nullptr, L"\" "},
      {L"\"\" /x", L"", L"/x", L"/x"},
      {L" \t ", L"", nullptr, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.line)));
    wchar_t path[32] = L"old", args[32] = L"old", ppath[32] = L"old", pargs[32] = L"old";
    EXPECT_EQ(GetCmdLnPath(c.line, path, 32), *c.path ? kTrue : kFalse);
    EXPECT_STREQ(path, c.path);
    const wchar_t* arg = GetCmdLnArg(c.line, args, 32);
    EXPECT_EQ(Or(arg), Or(c.args));
    EXPECT_EQ(std::wstring(args), Or(c.args, L""));
    EXPECT_EQ(Or(ParseCmdLn(c.line, ppath, 32, pargs, 32)), Or(c.parsed));
    EXPECT_EQ(std::wstring(pargs), Or(c.parsed, L""));
  }
}

TEST(CmdLine, SwitchMatchingIgnoresCaseAndPrefix) {
  struct Case {
    const wchar_t *argument, *name;
    BOOL option, switch_prefix, prefix;
  };
  const Case cases[] = {
      {L"-SERVICE", L"service", 1, 1, 0},
      {L"service", L"service", 1, 0, 0},
      {L"/services", L"service", 0, 1, 0},
      {L"//service", L"service", 0, 0, 0},  // one prefix only
      {L"/user-load:x", L"user-load", 0, 1, 0},
      {L"/msg", L"/msg", 1, 1, 0},  // a name may carry its own prefix
      {L"//monitor:5", L"/monitor", 0, 1, 0},
      {L"/MSG:3", L"/msg", 0, 1, 1},
      {L"/msgs:3", L"/msg", 0, 1, 0},
      {L"/mon", L"/monitor", 0, 0, 0},
      {L"/ser-load", L"user-load", 0, 0, 0},  // only a switch mark may be dropped from the name
      {L"/x", L"", 0, 0, 0},
      {L"/x", L"/", 0, 0, 0},
      {L"", L"x", 0, 0, 0},
      {L"/\u00C4NDERN", L"\u00E4ndern", 1, 1, 0},  // Latin-1 folds alike on both toolchains
      {L"/\u00D7", L"\u00F7", 0, 0, 0},             // ... but the signs between the letters do not
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.argument) + L" ~ " + c.name));
    EXPECT_EQ(IsCmdLineOption(c.argument, c.name), c.option);
    EXPECT_EQ(IsCmdLineSwitchPrefix(c.argument, c.name), c.switch_prefix);
    EXPECT_EQ(IsCmdLinePrefix(c.argument, c.name), c.prefix);
  }
  EXPECT_FALSE(IsCmdLineOption(nullptr, L"x"));
  EXPECT_FALSE(IsCmdLineSwitchPrefix(L"/x", nullptr));
  EXPECT_FALSE(IsCmdLinePrefix(nullptr, L"x"));
}

TEST(CmdLine, GetCmdLineSwitchDataReadsDataAndFindsTheRest) {
  struct Case {
    const wchar_t* argument;
    BOOL found;
    const wchar_t *data, *rest;
  };
  const Case cases[] = {
      {L"/time=\"10 min\"  /x", 1, L"\"10 min\"", L"/x"},
      {L"/monitor:12\ttail", 1, L"12", L"tail"},
      {L"/a=b:c", 1, L"b:c", nullptr},  // the first mark decides
      {L"/t:\"10 min  ", 1, L"\"10 min  ", nullptr},
      {L"/x:   ", 1, L"", nullptr},
      {L"/monitor 5", 0, L"", nullptr},
      {L"", 0, L"", nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.argument)));
    wchar_t data[32] = L"old";
    const wchar_t* rest = L"old";
    EXPECT_EQ(GetCmdLineSwitchData(c.argument, data, 32, rest), c.found);
    EXPECT_STREQ(data, c.data);
    EXPECT_EQ(Or(rest), Or(c.rest));
  }
}

TEST(CmdLine, CleaningAndQuotingKeepTheirBounds) {
  const std::pair<const wchar_t*, const wchar_t*> cleaned[] = {
      {L" \t\"  a b  \" \t", L"  a b  "},  // blanks protected by the quotes stay
      {L"\"\"x\"\"", L"\"x\""},             // one pair only
      {L" \"half", L"\"half"},
      {L"\"", L"\""},
      {L"\"\"", L""},
      {L" \t ", L""},
  };
  for (const auto& [source, expected] : cleaned) {
    wchar_t copy[32];
    RemoveWhiteSpacesAndQuotes(copy, source, 32);
    EXPECT_STREQ(copy, expected);
    wchar_t in_place[32];
    std::wcscpy(in_place, source);
    RemoveWhiteSpacesAndQuotes(in_place, nullptr, 32);
    EXPECT_STREQ(in_place, expected);
  }

  wchar_t plain[8] = L"abc";
  EXPECT_TRUE(AddQuotesIfSpace(plain, 8));
  EXPECT_STREQ(plain, L"abc");
  wchar_t exact[6] = L"a\tb";  // exactly two more characters and the terminator fit
  EXPECT_TRUE(AddQuotesIfSpace(exact, 6));
  EXPECT_STREQ(exact, L"\"a\tb\"");
  EXPECT_TRUE(AddQuotesIfSpace(exact, 6));  // already enclosed: not twice
  EXPECT_STREQ(exact, L"\"a\tb\"");
  wchar_t tight[5] = L"a b";
  EXPECT_FALSE(AddQuotesIfSpace(tight, 5));
  EXPECT_EQ(GetLastErrorCode(), err::kInsufficientBuffer);
  EXPECT_STREQ(tight, L"a b");
  wchar_t unterminated_text[3] = {L'a', L' ', L'b'};
  EXPECT_FALSE(AddQuotesIfSpace(unterminated_text, 3));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidParameter);
}

}  // namespace
}  // namespace tv
