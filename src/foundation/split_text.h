// Cutting text into the pieces between one separator character: lines of a file, names of a
// key path, items of a joined list.
#pragma once

#include <string_view>
#include <vector>

namespace tv {

// The pieces of `text` between occurrences of `separator`, in order, viewing `text` (which must
// outlive them). With `skipEmpty` pieces of no characters (doubled, leading or trailing
// separators) are left out; without it an empty text is one empty piece and a trailing
// separator ends in one.
std::vector<std::wstring_view> SplitText(std::wstring_view text, wchar_t separator, bool skipEmpty);

}  // namespace tv
