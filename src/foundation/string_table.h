// The program's string table: user-visible texts looked up by number, so they can be translated
// in one place. A negative number passed where a text is expected means "string-table entry of
// that number" (the message-box family's convention).
#pragma once

#include <string>

namespace tv {

// The text of entry `id`, or an empty string when the table has no such entry.
const wchar_t* LoadStr(int id);

// The text itself when `text` is not null, else string-table entry |id|: the message functions
// take either a text or a (negative) string-table number.
std::wstring TextOrString(const wchar_t* text, int id);

}  // namespace tv
