// Fuzzes the settings-file import. The input is the bytes of a file (so the byte-order-mark and
// encoding detection run too), imported into an in-memory key that holds known content beside a
// sibling key that must never change. A file that fails changes nothing at all; a file that
// imports leaves the key holding exactly what its elements say (modelled here independently),
// and exporting that key and importing the export again is a fixed point.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "foundation/reg_xml_tree.h"
#include "foundation/text_file.h"
#include "foundation/utf16.h"
#include "platform/registry.h"
#include "settings/reg_key.h"
#include "settings/settings_file.h"

namespace {

using namespace tv;

void Check(bool condition) {
  if (!condition) std::abort();
}

struct Value {
  std::wstring name;
  DWORD type;
  std::vector<std::uint8_t> data;
};

// A key: its name, its values in any order, its subkeys in the registry's order.
struct Level {
  std::wstring name;
  std::vector<Value> values;
  std::vector<Level> keys;
};

std::vector<std::uint8_t> Number(DWORD n) {
  return {static_cast<std::uint8_t>(n), static_cast<std::uint8_t>(n >> 8), static_cast<std::uint8_t>(n >> 16),
          static_cast<std::uint8_t>(n >> 24)};
}

// What the import should make of a tree, worked out from the elements alone.
void Apply(const XmlTree& tree, Level& level) {
  for (const XmlTree::Node* node = tree.GetHead(); node; node = node->GetNext()) {
    const XmlTreeItem& item = *node->GetItem();
    const wchar_t* name = item.GetAttribValue(L"Name");
    if (std::wstring(item.GetName()) == L"KEY") {
      auto it = std::find_if(level.keys.begin(), level.keys.end(),
                             [&](const Level& k) { return CompareRegNames(k.name, name) == 0; });
      if (it == level.keys.end()) {
        level.keys.push_back(Level{name, {}, {}});
        it = level.keys.end() - 1;
      }
      if (node->GetSubTree()) Apply(*node->GetSubTree(), *it);
      continue;
    }
    const wchar_t* type = item.GetAttribValue(L"Type");
    const wchar_t* text = item.GetAttribValue(L"Value");
    if (!type && !text) continue;
    Value v{name ? name : L"", reg::kDword, {}};
    switch (RegXmlTypeFromText(type)) {
      case RegXmlTreeItemType::kRegSz:
        v.type = reg::kSz;
        v.data = ToUtf16Le(text ? text : L"", true);
        break;
      case RegXmlTreeItemType::kRegBinary:
        v.type = reg::kBinary;
        Check(DecodeRegXmlHex(text, &v.data));
        break;
      case RegXmlTreeItemType::kRegDword:
        v.data = Number(ParseRegXmlNumber(text));
        break;
      default:
        v.data = Number(0);
    }
    auto it = std::find_if(level.values.begin(), level.values.end(),
                           [&](const Value& old) { return CompareRegNames(old.name, v.name) == 0; });
    if (it == level.values.end()) {
      level.values.push_back(std::move(v));
    } else {
      it->type = v.type;  // the first spelling stays, as the registry keeps it
      it->data = std::move(v.data);
    }
  }
}

Level Read(const RegKey& key) {
  Level level;
  std::wstring name;
  for (DWORD i = 0; key.GetValueByIndex(i, &name); ++i) {
    Value v{name, 0, {}};
    Check(key.GetValue(name.c_str(), &v.type, &v.data));
    level.values.push_back(std::move(v));
  }
  for (DWORD i = 0; key.GetSubKeyByIndex(i, &name); ++i) {
    RegKey child(key, name.c_str(), false);
    Check(child.IsOpen());
    level.keys.push_back(Read(child));
    level.keys.back().name = name;
  }
  return level;
}

bool Same(Level& expected, const Level& actual) {
  if (expected.values.size() != actual.values.size() || expected.keys.size() != actual.keys.size()) return false;
  for (const Value& v : expected.values) {
    auto it = std::find_if(actual.values.begin(), actual.values.end(), [&](const Value& a) { return a.name == v.name; });
    if (it == actual.values.end() || it->type != v.type || it->data != v.data) return false;
  }
  std::sort(expected.keys.begin(), expected.keys.end(),
            [](const Level& a, const Level& b) { return CompareRegNames(a.name, b.name) < 0; });
  for (std::size_t i = 0; i < expected.keys.size(); ++i) {
    if (expected.keys[i].name != actual.keys[i].name) return false;
    if (!Same(expected.keys[i], actual.keys[i])) return false;
  }
  return true;
}

std::wstring Text(const Level& level) {
  std::wstring out;
  for (const Value& v : level.values) {
    out += v.name + L"=" + std::to_wstring(v.type) + L":";
    for (std::uint8_t b : v.data) out += std::to_wstring(b) + L",";
    out += L";";
  }
  for (const Level& k : level.keys) out += k.name + L"{" + Text(k) + L"}";
  return out;
}

void Seed(MemKeyStore& store) {
  store.Clear();
  RegKey target(L"HKCU\\Software\\Target", true, store);
  Check(target.PutStr(nullptr, L"default"));
  Check(target.PutDword(L"Timeout", 30));
  const std::uint8_t bin[] = {1, 2, 3};
  Check(target.PutBin(L"Bin", bin, sizeof(bin)));
  Check(target.PutBin(L"Expand", bin, sizeof(bin), reg::kExpandSz));
  RegKey sub(target, L"Exclude", true);
  Check(sub.PutStr(L"1", L"someone"));
  RegKey sibling(L"HKCU\\Software\\Sibling", true, store);
  Check(sibling.PutStr(L"Keep", L"me"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 64 * 1024) return 0;
  static MemKeyStore store;
  Seed(store);
  const Level before = Read(RegKey(L"HKCU\\Software", false, store));

  const std::wstring text = DecodeTextFile(data, size);
  RegKey target(L"HKCU\\Software\\Target", true, store);
  const BOOL imported = ImportRegKeyFromText(nullptr, target, text.c_str(), kTrue);
  if (!imported) {
    Check(GetLastSettingsFileFailure().error != 0);
    Check(Text(Read(RegKey(L"HKCU\\Software", false, store))) == Text(before));
    return 0;
  }

  RegXmlTree tree(kTrue);
  const wchar_t* at = text.c_str();
  Check(tree.Get(nullptr, at));
  Level expected;
  Apply(tree, expected);
  Check(Same(expected, Read(target)));
  Level sibling = before.keys[0];  // "Sibling" sorts before "Target"
  Check(Same(sibling, Read(RegKey(L"HKCU\\Software\\Sibling", false, store))));

  std::wstring first, second;
  Check(ExportRegKeyToText(target, &first));
  RegKey again(L"HKCU\\Software\\Again", true, store);
  Check(ImportRegKeyFromText(nullptr, again, first.c_str(), kTrue));
  Check(ExportRegKeyToText(again, &second));
  Check(first == second);
  return 0;
}
