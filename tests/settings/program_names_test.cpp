#include "settings/program_names.h"

#include <gtest/gtest.h>

namespace tv {
namespace {

TEST(ProgramNames, EntriesThatCannotNameAProgramAreRefusedWithTheirReason) {
  const struct {
    std::wstring entry;
    const wchar_t* says;  // a piece of the reason; null when the entry is usable
  } cases[] = {
      {L"render.exe", nullptr},
      {L"render*", nullptr},
      {L"Teams.exe", nullptr},
      {L"my tool.exe", nullptr},
      {std::wstring(255, L'a'), nullptr},
      {L"", L"empty"},
      {std::wstring(256, L'a'), L"longer than a file name"},
      {L"C:\\Tools\\render.exe", L"folder or drive"},
      {L"tools/render.exe", L"folder or drive"},
      {L"c:render.exe", L"folder or drive"},
      {L"*", L"every program"},
      {L"*.exe", L"wildcard in the middle"},
      {L"ren*der.exe", L"wildcard in the middle"},
      {L"render?.exe", L"wildcard in the middle"},
      {L"render**", L"wildcard in the middle"},
      {L"a|b.exe", L"no file name may hold"},
      {L"render.exe ", L"blank"},
  };
  for (const auto& c : cases) {
    const std::wstring problem = ProgramNameProblem(c.entry);
    if (!c.says) {
      EXPECT_EQ(problem, L"") << c.entry;
    } else {
      EXPECT_NE(problem.find(c.says), std::wstring::npos) << c.entry << " -> " << problem;
    }
  }
}

TEST(ProgramNames, MatchingIgnoresCaseAndATrailingStarTakesAnyRest) {
  const struct {
    const wchar_t* pattern;
    const wchar_t* image;
    bool matches;
  } cases[] = {
      {L"render.exe", L"RENDER.EXE", true}, {L"render.exe", L"render.exe.bak", false},
      {L"render.exe", L"xrender.exe", false}, {L"render*", L"render", true},
      {L"render*", L"Render64.exe", true},  {L"render*", L"rende.exe", false},
  };
  for (const auto& c : cases) EXPECT_EQ(ProgramNameMatches(c.pattern, c.image), c.matches) << c.pattern << " " << c.image;

  // A stored mistake never matches, even what its text would seem to name.
  EXPECT_EQ(FirstListedProgram({L"*", L"*.exe", L"C:\\x\\render.exe"}, {L"render.exe", L"x.exe"}), L"");
  EXPECT_EQ(FirstListedProgram({L"zoom*", L"render.exe"}, {L"explorer.exe", L"Render.exe", L"Zoom.exe"}), L"Render.exe");
  EXPECT_EQ(FirstListedProgram({}, {L"render.exe"}), L"");
}

}  // namespace
}  // namespace tv
