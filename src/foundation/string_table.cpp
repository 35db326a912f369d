// The string table's texts, grouped by the part of the program that shows them. Texts are the
// product's own and are kept exactly, including their punctuation.
#include "foundation/string_table.h"

#include <algorithm>
#include <iterator>

namespace tv {
namespace {

struct Entry {
  int id;
  const wchar_t* text;
};

constexpr Entry kStrings[] = {
    // ---- XML reader and writer
    {21901, L"Error parsing XML document in line %d:\n\n%s: %s"},
    {21902, L"Unclosed comment"},
    {21903, L"Syntax error"},
    {21904, L"Unexpected"},
    {21905, L"Missing name of an element"},
    {21906, L"Missing '='"},
    {21907, L"Unquoted attribute value"},
    {21908, L"Missing closing quote"},
    {21909, L"Missing closing tag"},
    {21910, L"No XML data found."},
    // ---- Weekly schedule
    {21410, L"The schedule cannot be read from character %d on: \"%ls\""},
    {21411, L"The schedule cannot be checked: the current time is not a valid time."},
    // ---- (further groups are added above this line, each under its own heading)
};

}  // namespace

const wchar_t* LoadStr(int id) {
  auto it = std::find_if(std::begin(kStrings), std::end(kStrings), [id](const Entry& e) { return e.id == id; });
  return it == std::end(kStrings) ? L"" : it->text;
}

std::wstring TextOrString(const wchar_t* text, int id) {
  if (text) return text;
  return LoadStr(id < 0 ? -id : id);
}

}  // namespace tv
