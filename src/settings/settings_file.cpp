#include "settings/settings_file.h"

#include <cstdint>
#include <cwchar>
#include <exception>
#include <new>
#include <string_view>
#include <vector>

#include "foundation/string_table.h"
#include "foundation/text_file.h"
#include "foundation/utf16.h"
#include "platform/last_error.h"
#include "platform/message_box.h"

namespace tv {
namespace {

constexpr const wchar_t* kAttrName = L"Name";
constexpr const wchar_t* kAttrType = L"Type";
constexpr const wchar_t* kAttrValue = L"Value";

constexpr int kMsgKeyWithoutName = 21920;
constexpr int kMsgBadName = 21921;
constexpr int kMsgValueTooLong = 21922;
constexpr int kMsgNotHex = 21923;
constexpr int kMsgNoKeyElement = 21924;

// What a registry string value could hold in the product's fixed buffer: 520 characters and a
// terminator. Longer data exports as the empty string.
constexpr std::size_t kMaxStrBytes = (regxml::kMaxStrChars + 1) * 2;
// Room for a subkey or value name while enumerating, terminator included.
constexpr std::size_t kNameRoom = 256;
// Deeper than this neither the registry nor the XML reader goes.
constexpr int kMaxDepth = 512;

thread_local SettingsFileFailure t_failure;

// Runs a public operation so that no exception leaves it.
template <typename F>
BOOL Guarded(F&& body) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return Fail(err::kNotEnoughMemory);
  } catch (const std::exception&) {
    return Fail(err::kGenFailure);
  }
}

// Records the outcome of an import for GetLastSettingsFileFailure and answers it.
BOOL Finish(BOOL ok) {
  t_failure.error = ok ? err::kSuccess : GetLastErrorCode();
  if (!ok && t_failure.error == err::kSuccess) t_failure.error = err::kGenFailure;
  SetLastErrorCode(t_failure.error);
  return ok;
}

bool IsKeyElement(const XmlTreeItem& item) {
  const wchar_t* name = item.GetName();
  return name && std::wcscmp(name, L"KEY") == 0;
}

std::size_t Length(const wchar_t* text) { return text ? std::wcslen(text) : 0; }

// Limits count UTF-16 code units, as the registry and the Windows build count them, so that a
// file is accepted or refused alike on every toolchain.
std::size_t Units(const wchar_t* text) { return text ? Utf16Length(text) : 0; }

// A string-table text with its "%ls" filled by `name`, cut so that a hostile name cannot make
// the message unreadable.
std::wstring Describe(int message, const wchar_t* name) {
  std::wstring text = LoadStr(message);
  std::wstring shown = name ? name : L"";
  if (shown.size() > 40) shown = shown.substr(0, 40) + L"...";
  const std::size_t at = text.find(L"%ls");
  if (at != std::wstring::npos) text.replace(at, 3, shown);
  return text;
}

// ---- reading

// A list of names separated by ";", or everything when null.
class NameFilter {
 public:
  explicit NameFilter(const wchar_t* list) : list_(list) {}
  bool Passes(std::wstring_view name) const {
    if (!list_) return true;
    std::wstring_view rest(list_);
    for (;;) {
      const std::size_t end = rest.find(L';');
      if (CompareRegNames(rest.substr(0, end), name) == 0) return true;
      if (end == std::wstring_view::npos) return false;
      rest.remove_prefix(end + 1);
    }
  }
  const wchar_t* List() const { return list_; }

 private:
  const wchar_t* list_;
};

void ReadValue(const RegKey& key, RegXmlTree& tree, const std::wstring& name) {
  RegXmlTreeItem* item = tree.AddDataItem(name.c_str());
  const DWORD type = key.GetValueType(name.c_str());
  if (type == reg::kNone) return;
  std::vector<std::uint8_t> data;
  DWORD read = reg::kNone;
  if (type == reg::kSz) {
    std::wstring text;
    if (key.GetValue(name.c_str(), &read, &data) && data.size() <= kMaxStrBytes) {
      text = FromUtf16Le(data.data(), data.size(), true);
      while (Utf16Length(text) > regxml::kMaxStrChars) text.pop_back();  // stored without terminator
    }
    item->PutStr(text.c_str());
  } else if (type == reg::kBinary) {
    if (!key.GetValue(name.c_str(), &read, &data)) data.clear();
    item->PutBin(data.data(), data.size());
  } else {
    // Anything else is taken as a 32-bit number, so data longer than that reads as 0.
    std::uint8_t b[4] = {};
    DWORD number = 0;
    if (key.GetBin(name.c_str(), b, sizeof(b))) {
      number = static_cast<DWORD>(b[0]) | static_cast<DWORD>(b[1]) << 8 | static_cast<DWORD>(b[2]) << 16 |
               static_cast<DWORD>(b[3]) << 24;
    }
    item->PutDWORD(number);
  }
}

BOOL ReadLevel(RegKey& key, RegXmlTree& tree, const NameFilter& subkeys, const NameFilter& values, bool deep,
               int depth) {
  if (depth > kMaxDepth) return Fail(err::kInvalidData);
  const NameFilter all(nullptr);
  std::wstring name;
  for (DWORD i = 0;; ++i) {
    if (!key.GetSubKeyByIndex(i, &name)) {
      if (GetLastErrorCode() == err::kNoMoreItems) break;
      return kFalse;
    }
    if (Utf16Length(name) >= kNameRoom || !subkeys.Passes(name)) continue;
    RegKey child(key, name.c_str(), false);
    if (!child.IsOpen()) continue;  // one we may not read is left out, not the whole export
    RegXmlTree* subtree = tree.AddSubTreeItem(name.c_str());
    if (!ReadLevel(child, *subtree, deep ? subkeys : all, deep ? values : all, deep, depth + 1)) return kFalse;
  }
  if (values.Passes(L"NULL")) ReadValue(key, tree, std::wstring());
  int unnamed = 0;
  for (DWORD i = 0;; ++i) {
    if (!key.GetValueByIndex(i, &name)) {
      if (GetLastErrorCode() == err::kNoMoreItems) break;
      return kFalse;
    }
    if (name.empty()) {
      // The default value was read above; a store that lists it twice is not enumerated further.
      if (++unnamed == 2) break;
      continue;
    }
    if (Utf16Length(name) >= kNameRoom || !values.Passes(name)) continue;
    ReadValue(key, tree, name);
  }
  return kTrue;
}

std::wstring TreeText(const XmlTree& tree) {
  wchar_t* none = nullptr;
  const std::size_t count = tree.Put(none);
  std::wstring text(count, L'\0');
  wchar_t* out = text.data();
  tree.Put(out);
  if (!text.empty() && text.back() == 0) text.pop_back();
  return text;
}

// ---- checking

BOOL CheckLevel(const XmlTree& tree, std::wstring* problem);

BOOL Problem(std::wstring* problem, int message, const wchar_t* name) {
  if (problem) *problem = Describe(message, name);
  return Fail(err::kInvalidData);
}

BOOL CheckElement(const XmlTree::Node& node, std::wstring* problem) {
  const XmlTreeItem& item = *node.GetItem();
  const wchar_t* name = item.GetAttribValue(kAttrName);
  if (IsKeyElement(item)) {
    if (Length(name) == 0) return Problem(problem, kMsgKeyWithoutName, nullptr);
    if (Units(name) > reg::kMaxKeyNameChars || std::wcschr(name, L'\\')) return Problem(problem, kMsgBadName, name);
    return node.GetSubTree() ? CheckLevel(*node.GetSubTree(), problem) : kTrue;
  }
  if (Units(name) > regxml::kMaxValueNameChars) return Problem(problem, kMsgBadName, name);
  const wchar_t* value = item.GetAttribValue(kAttrValue);
  switch (RegXmlItemType(item)) {
    case RegXmlTreeItemType::kRegSz:
      if (Units(value) > regxml::kMaxStrChars) return Problem(problem, kMsgValueTooLong, name);
      break;
    case RegXmlTreeItemType::kRegDword:
      if (Units(value) > regxml::kMaxNumberChars) return Problem(problem, kMsgValueTooLong, name);
      break;
    case RegXmlTreeItemType::kRegBinary: {
      std::vector<std::uint8_t> bytes;
      if (!DecodeRegXmlHex(value, &bytes)) return Problem(problem, kMsgNotHex, name);
      break;
    }
    default:
      break;  // the sized integer types write the number 0, whatever their Value
  }
  return kTrue;
}

BOOL CheckLevel(const XmlTree& tree, std::wstring* problem) {
  for (const XmlTree::Node* node = tree.GetHead(); node; node = node->GetNext()) {
    if (!CheckElement(*node, problem)) return kFalse;
  }
  return kTrue;
}

// ---- writing (on a checked tree)

BOOL WriteValue(RegKey& key, const XmlTreeItem& item) {
  const wchar_t* name = item.GetAttribValue(kAttrName);
  const wchar_t* type = item.GetAttribValue(kAttrType);
  const wchar_t* value = item.GetAttribValue(kAttrValue);
  // The element an export writes for a value that does not exist: nothing to write.
  if (!type && !value) return kTrue;
  switch (RegXmlTypeFromText(type)) {
    case RegXmlTreeItemType::kRegSz:
      return key.PutStr(name, value ? value : L"");
    case RegXmlTreeItemType::kRegBinary: {
      std::vector<std::uint8_t> bytes;
      if (!DecodeRegXmlHex(value, &bytes)) return kFalse;
      return key.PutBin(name, bytes.data(), static_cast<DWORD>(bytes.size()), reg::kBinary);
    }
    case RegXmlTreeItemType::kRegDword:
      return key.PutDword(name, ParseRegXmlNumber(value));
    default:
      return key.PutDword(name, 0);
  }
}

BOOL WriteLevel(RegKey& key, const XmlTree& tree);

BOOL WriteKeyElement(RegKey& key, const XmlTree::Node& node, const wchar_t* nameOverride = nullptr) {
  const wchar_t* name = nameOverride ? nameOverride : node.GetItem()->GetAttribValue(kAttrName);
  if (Length(name) == 0) return Fail(err::kInvalidData);
  RegKey child(key, name, true);
  if (!child.IsOpen()) return kFalse;
  return node.GetSubTree() ? WriteLevel(child, *node.GetSubTree()) : kTrue;
}

BOOL WriteLevel(RegKey& key, const XmlTree& tree) {
  for (const XmlTree::Node* node = tree.GetHead(); node; node = node->GetNext()) {
    const BOOL ok = IsKeyElement(*node->GetItem()) ? WriteKeyElement(key, *node) : WriteValue(key, *node->GetItem());
    if (!ok) return kFalse;
  }
  return kTrue;
}

// ---- importing

// Parses and checks `text`; on failure the thread's failure record says why.
BOOL ParseChecked(void* window, const wchar_t* text, int quiet, RegXmlTree& tree) {
  const wchar_t* at = text ? text : L"";
  if (!tree.Get(window, at)) {
    t_failure.xmlMessage = tree.GetParseError();
    t_failure.line = tree.GetParseErrorLine();
    t_failure.text = tree.GetParseErrorText();
    return kFalse;
  }
  std::wstring problem;
  if (!CheckRegTree(tree, &problem)) {
    t_failure.text = problem;
    if (!quiet) ShowMessage(window, problem, MsgIcon::kError);
    return Fail(err::kInvalidData);
  }
  return kTrue;
}

// Replaces everything under `key` with `level` (null: nothing). A copy of the old content is
// taken first, so that a store failing half-way does not cost the settings already there: they
// are put back, unless the store refuses that too.
BOOL ReplaceContent(RegKey& key, const XmlTree* level) {
  MemKeyStore scratch;
  RegKey saved(RegRoot::kCurrentUser, L"Saved", true, scratch);
  if (!saved.IsOpen() || !key.CopyTo(saved)) return kFalse;  // nothing has changed yet
  if (key.DelAll() && (!level || WriteLevel(key, *level))) return kTrue;
  PreserveLastError keep;
  t_failure.restored = key.DelAll() && saved.CopyTo(key);
  return kFalse;
}

BOOL ImportText(void* window, RegKey& key, const wchar_t* text, int quiet) {
  if (!key.IsOpen()) return Fail(err::kInvalidHandle);
  RegXmlTree tree(quiet);
  if (!ParseChecked(window, text, quiet, tree)) return kFalse;
  return ReplaceContent(key, &tree);
}

BOOL WriteTreeFile(const XmlTree& tree, const wchar_t* filePath) { return WriteTextFile(filePath, TreeText(tree)); }

}  // namespace

const SettingsFileFailure& GetLastSettingsFileFailure() { return t_failure; }

BOOL ReadRegKeyToTree(RegKey& key, RegXmlTree& tree, const wchar_t* subkeyFilter, const wchar_t* valueFilter,
                      BOOL filterDeep) {
  return Guarded([&] {
    if (!key.IsOpen()) return Fail(err::kInvalidHandle);
    return ReadLevel(key, tree, NameFilter(subkeyFilter), NameFilter(valueFilter), filterDeep != 0, 0);
  });
}

BOOL ReadRegSubKeyToTree(RegKey& key, const wchar_t* subkeyName, RegXmlTree& tree, const wchar_t* subkeyFilter,
                         const wchar_t* valueFilter, BOOL filterDeep) {
  return Guarded([&] {
    if (Length(subkeyName) == 0) return Fail(err::kInvalidParameter);
    RegKey child(key, subkeyName, false);
    if (!child.IsOpen()) return kFalse;
    RegXmlTree* subtree = tree.AddSubTreeItem(subkeyName);
    return ReadLevel(child, *subtree, NameFilter(subkeyFilter), NameFilter(valueFilter), filterDeep != 0, 1);
  });
}

BOOL CheckRegTree(const XmlTree& tree, std::wstring* problem) {
  return Guarded([&] { return CheckLevel(tree, problem); });
}

BOOL WriteRegKeyFromTree(RegKey& key, XmlTree& tree) {
  return Guarded([&] {
    if (!key.IsOpen()) return Fail(err::kInvalidHandle);
    if (!CheckLevel(tree, nullptr)) return kFalse;
    return WriteLevel(key, tree);
  });
}

BOOL WriteRegSubKeyFromTree(RegKey& key, XmlTree& tree, XmlTree::Node* position) {
  return Guarded([&] {
    if (!key.IsOpen()) return Fail(err::kInvalidHandle);
    const XmlTree::Node* node = position ? position : tree.FindItemPos(L"KEY");
    if (!node || !IsKeyElement(*node->GetItem())) return Fail(err::kInvalidData);
    if (!CheckElement(*node, nullptr)) return kFalse;
    return WriteKeyElement(key, *node);
  });
}

BOOL ExportRegKeyToText(RegKey& key, std::wstring* text) {
  return Guarded([&] {
    if (!text) return Fail(err::kInvalidParameter);
    RegXmlTree tree;
    if (!ReadRegKeyToTree(key, tree)) return kFalse;
    *text = TreeText(tree);
    return kTrue;
  });
}

BOOL ImportRegKeyFromText(void* window, RegKey& key, const wchar_t* text, int quiet) {
  t_failure = SettingsFileFailure();
  return Finish(Guarded([&] { return ImportText(window, key, text, quiet); }));
}

BOOL ExportRegKey(void* window, RegKey& key, const wchar_t* filePath, int quiet) {
  return Guarded([&] {
    RegXmlTree tree;
    if (!ReadRegKeyToTree(key, tree)) return kFalse;
    return WriteTreeFile(tree, filePath);
  });
}

BOOL ImportRegKey(void* window, RegKey& key, const wchar_t* filePath, int quiet) {
  t_failure = SettingsFileFailure();
  return Finish(Guarded([&] {
    if (!key.IsOpen()) return Fail(err::kInvalidHandle);
    std::wstring text;
    if (!ReadTextFile(filePath, &text)) return kFalse;
    return ImportText(window, key, text.c_str(), quiet);
  }));
}

BOOL ExportRegSubKey(void* window, const wchar_t* keyPath, const wchar_t* subkeyName, const wchar_t* filePath,
                     int quiet, KeyStore& store) {
  return Guarded([&] {
    RegKey key(keyPath, false, store);
    if (!key.IsOpen()) return kFalse;
    RegXmlTree tree;
    if (!ReadRegSubKeyToTree(key, subkeyName, tree)) return kFalse;
    return WriteTreeFile(tree, filePath);
  });
}

BOOL ImportRegSubKey(void* window, const wchar_t* keyPath, const wchar_t* subkeyName, const wchar_t* filePath,
                     int quiet, KeyStore& store) {
  t_failure = SettingsFileFailure();
  return Finish(Guarded([&] {
    if (Length(subkeyName) == 0) return Fail(err::kInvalidParameter);
    RegKey parent(keyPath, true, store);
    if (!parent.IsOpen()) return kFalse;
    std::wstring text;
    if (!ReadTextFile(filePath, &text)) return kFalse;
    RegXmlTree tree(quiet);
    if (!ParseChecked(window, text.c_str(), quiet, tree)) return kFalse;
    const XmlTree::Node* node = tree.FindItemPos(L"KEY");
    if (!node) {
      t_failure.text = Describe(kMsgNoKeyElement, nullptr);
      if (!quiet) ShowMessage(window, t_failure.text, MsgIcon::kError);
      return Fail(err::kInvalidData);
    }
    bool existed;
    {
      RegKey probe(parent, subkeyName, false);
      existed = probe.IsOpen();
      if (!existed && GetLastErrorCode() != err::kFileNotFound) return kFalse;
    }
    RegKey subkey(parent, subkeyName, true);
    if (!subkey.IsOpen()) return kFalse;
    if (ReplaceContent(subkey, node->GetSubTree())) return kTrue;
    if (!existed) {
      PreserveLastError keep;
      subkey.Close();
      parent.DelSubKey(subkeyName);
    }
    return kFalse;
  }));
}

BOOL SaveKeyStoreToFile(MemKeyStore& store, const wchar_t* keyPath, const wchar_t* filePath) {
  return Guarded([&] {
    RegKey key(keyPath, false, store);
    RegXmlTree tree;
    if (key.IsOpen()) {
      if (!ReadRegKeyToTree(key, tree)) return kFalse;
    } else if (GetLastErrorCode() == err::kFileNotFound) {
      tree.AddDataItem(L"");  // what an empty key exports as
    } else {
      return kFalse;
    }
    return WriteTreeFile(tree, filePath);
  });
}

BOOL LoadKeyStoreFromFile(MemKeyStore& store, const wchar_t* keyPath, const wchar_t* filePath) {
  return Guarded([&] {
    std::wstring text;
    if (!ReadTextFile(filePath, &text)) return kFalse;
    RegKey key(keyPath, true, store);
    if (!key.IsOpen()) return kFalse;
    return ImportRegKeyFromText(nullptr, key, text.c_str(), kTrue);
  });
}

}  // namespace tv
