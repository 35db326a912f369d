// Fuzzes the XML reader and writer. The input is UTF-16 text (byte pairs, low byte first),
// read quietly. Whatever reads, and whatever part of a failed read stays in the tree, must
// write without fault; a document that read must write to text that reads back to the same
// tree and writes again to the very same text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string>

#include "foundation/xml_syntax.h"
#include "foundation/xml_tree.h"

namespace {

using tv::XmlTree;
using tv::XmlTreeItem;

void Check(bool condition) {
  if (!condition) std::abort();
}

bool SameText(const wchar_t* a, const wchar_t* b) {
  if (!a || !b) return a == b;
  return std::wcscmp(a, b) == 0;
}

bool SameTree(const XmlTree& a, const XmlTree& b) {
  if (a.GetCount() != b.GetCount()) return false;
  for (auto *x = a.GetHead(), *y = b.GetHead(); x; x = x->GetNext(), y = y->GetNext()) {
    const XmlTreeItem &i = *x->GetItem(), &j = *y->GetItem();
    if (!SameText(i.GetName(), j.GetName()) || !SameText(i.GetBody(), j.GetBody())) return false;
    if (i.GetListAttr().size() != j.GetListAttr().size()) return false;
    for (auto ia = i.GetListAttr().begin(), ja = j.GetListAttr().begin(); ia != i.GetListAttr().end(); ++ia, ++ja) {
      if (!SameText(ia->GetName(), ja->GetName()) || !SameText(ia->GetValue(), ja->GetValue())) return false;
    }
    if ((x->GetSubTree() == nullptr) != (y->GetSubTree() == nullptr)) return false;
    if (x->GetSubTree() && !SameTree(*x->GetSubTree(), *y->GetSubTree())) return false;
  }
  return true;
}

std::wstring Write(const XmlTree& tree) {
  wchar_t* none = nullptr;
  std::size_t count = tree.Put(none);
  Check(count > 0);
  std::wstring text(count, L'#');
  wchar_t* out = text.data();
  Check(tree.Put(out) == count && out == text.data() + count);
  Check(text.back() == 0 && std::wcslen(text.c_str()) == count - 1);
  text.pop_back();
  return text;
}

// A prolog reads back as itself only when every line of it starts with a character the
// measuring does not skip: leading white space or a comment shortens what is kept (the
// measuring is deliberate), and a leading byte-order mark is stepped over.
bool PrologRereads(const wchar_t* prolog) {
  if (!prolog) return true;
  for (const wchar_t* p = prolog; *p; ++p) {
    if (p != prolog && p[-1] != L'\n') continue;
    if (tv::xml::IsWhite(*p) || std::wcsncmp(p, L"<!--", 4) == 0) return false;
    if (p == prolog && *p == 0xFEFF) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::wstring text;
  for (std::size_t i = 0; i + 1 < size; i += 2) text += static_cast<wchar_t>(data[i] | (data[i + 1] << 8));

  XmlTree tree(tv::kTrue);
  const wchar_t* p = text.c_str();
  bool read = tree.Get(nullptr, p) != 0;
  Check(p >= text.c_str() && p <= text.c_str() + text.size());
  if (!read) {
    Check(tree.GetParseError() != 0 && !tree.GetParseErrorText().empty());
    Write(tree);
    return 0;
  }
  Check(tree.GetParseError() == 0);
  bool keep_prolog = PrologRereads(tree.GetProlog());
  if (!keep_prolog) tree.SetProlog(nullptr);
  std::wstring written = Write(tree);

  XmlTree again(tv::kTrue);
  const wchar_t* q = written.c_str();
  Check(again.Get(nullptr, q) != 0);
  Check(SameTree(tree, again));
  if (keep_prolog) Check(SameText(tree.GetProlog(), again.GetProlog()));
  Check(Write(again) == written);
  return 0;
}
