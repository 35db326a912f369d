#include "update/manifest.h"

#include <algorithm>

#include "foundation/text_file.h"
#include "foundation/xml_tree.h"

namespace tv {
namespace {

constexpr const wchar_t* kRoot = L"TarnvaleUpdate";

bool Refuse(std::wstring* why, const std::wstring& text) {
  if (why) *why = L"the update manifest cannot be used: " + text;
  return false;
}

bool AllDigits(const std::wstring& s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
}

bool IsDate(const std::wstring& s) {
  if (s.size() != 10 || s[4] != L'-' || s[7] != L'-') return false;
  if (!AllDigits(s.substr(0, 4)) || !AllDigits(s.substr(5, 2)) || !AllDigits(s.substr(8, 2))) return false;
  const int month = std::stoi(s.substr(5, 2));
  const int day = std::stoi(s.substr(8, 2));
  return month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

// The one element of that name below the root, refusing a second: two versions in one manifest
// would leave it to chance which is believed.
const XmlTreeItem* One(const XmlTree& level, const wchar_t* name, std::wstring* why, bool required) {
  const XmlTreeItem* first = level.FindItem(name);
  if (!first) {
    if (required) Refuse(why, std::wstring(L"it has no <") + name + L"> element");
    return nullptr;
  }
  if (level.FindItemReverse(name) != first) {
    Refuse(why, std::wstring(L"it has more than one <") + name + L"> element");
    return nullptr;
  }
  XmlTree* sub = nullptr;
  for (XmlTree::Node* n = level.GetHead(); n; n = n->GetNext()) {
    if (n->GetItem() == first) sub = n->GetSubTree();
  }
  if (sub) {
    Refuse(why, std::wstring(L"its <") + name + L"> element holds elements instead of text");
    return nullptr;
  }
  return first;
}

std::wstring BodyOf(const XmlTreeItem* item) { return item && item->GetBody() ? item->GetBody() : L""; }

}  // namespace

bool ReadManifest(const std::vector<std::uint8_t>& bytes, UpdateManifest& out, std::wstring* why) {
  if (bytes.size() > kMaxManifestBytes) return Refuse(why, L"it is larger than 64 KB");
  if (bytes.empty()) return Refuse(why, L"it is empty");
  const std::wstring text = DecodeTextFile(bytes.data(), bytes.size());
  XmlTree tree(kTrue);
  const wchar_t* cursor = text.c_str();
  if (!tree.Get(nullptr, cursor))
    return Refuse(why, L"it is not XML that can be read (line " + std::to_wstring(tree.GetParseErrorLine()) + L")");
  if (tree.GetCount() != 1 || !tree.GetHead()->GetItem() || BodyOf(tree.GetHead()->GetItem()) != L"" ||
      std::wstring(tree.GetHead()->GetItem()->GetName()) != kRoot)
    return Refuse(why, L"its root element is not <TarnvaleUpdate>");
  const XmlTree* level = tree.GetHead()->GetSubTree();
  if (!level) return Refuse(why, L"<TarnvaleUpdate> is empty");

  std::wstring problem;
  UpdateManifest m;
  const XmlTreeItem* version = One(*level, L"Version", &problem, true);
  if (!version) return why ? (*why = problem, false) : false;
  std::wstring versionWhy;
  if (!ParsePackageVersion(BodyOf(version), m.version, &versionWhy)) return Refuse(why, versionWhy);

  const XmlTreeItem* package = One(*level, L"Package", &problem, true);
  if (!package) return why ? (*why = problem, false) : false;
  m.package = BodyOf(package);
  if (m.package.empty()) return Refuse(why, L"<Package> names no file");
  const wchar_t* size = package->GetAttribValue(L"Size");
  if (!size || !AllDigits(size) || std::wstring(size).size() > 10)
    return Refuse(why, L"<Package> has no Size in bytes");
  m.size = std::stoull(size);
  if (m.size == 0 || m.size > kMaxPackageBytes)
    return Refuse(why, L"<Package> gives a size of " + std::wstring(size) + L" bytes, outside 1 byte to 512 MB");
  const wchar_t* hash = package->GetAttribValue(L"SHA256");
  if (!hash || !DigestFromHex(hash, m.sha256))
    return Refuse(why, L"<Package> has no SHA256 of 64 hexadecimal digits");

  const XmlTreeItem* released = One(*level, L"Released", &problem, true);
  if (!released) return why ? (*why = problem, false) : false;
  m.released = BodyOf(released);
  if (!IsDate(m.released)) return Refuse(why, L"<Released> is not a date such as 2024-06-03");

  problem.clear();
  const XmlTreeItem* notes = One(*level, L"Notes", &problem, false);
  if (!notes && !problem.empty()) return why ? (*why = problem, false) : false;
  m.notes = BodyOf(notes);
  if (m.notes.size() > kMaxNotesChars) return Refuse(why, L"<Notes> is longer than 1000 characters");
  out = std::move(m);
  return true;
}

std::wstring WriteManifest(const UpdateManifest& manifest) {
  XmlTree tree(kTrue);
  XmlTreeItem* root = tree.AddItem(kRoot, nullptr);
  XmlTree* level = tree.AddSubTree(root);
  level->AddItem(L"Version", manifest.version.ToString().c_str());
  XmlTreeItem* package = level->AddItem(L"Package", manifest.package.c_str());
  package->AddAttrib(L"Size", std::to_wstring(manifest.size).c_str());
  package->AddAttrib(L"SHA256", DigestToHex(manifest.sha256).c_str());
  level->AddItem(L"Released", manifest.released.c_str());
  if (!manifest.notes.empty()) level->AddItem(L"Notes", manifest.notes.c_str());
  wchar_t* none = nullptr;
  std::wstring text(tree.Put(none), L'\0');
  wchar_t* cursor = text.data();
  (void)tree.Put(cursor);
  while (!text.empty() && text.back() == L'\0') text.pop_back();
  return text;
}

}  // namespace tv
