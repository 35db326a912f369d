// The settings file: a registry key mirrored as XML (RegXmlTree), moved between key, tree, text
// and file. An import changes the key only when the whole document parsed and every element in
// it can be written; if the store then fails part-way, the key's old content is put back where
// the store allows it.
//
// File format: UTF-16LE with a byte-order mark, CR LF line ends, "<?xml version="1.0"?>", then
// the key's top level without an enclosing root: a KEY element per subkey (in the registry's
// order), a DATA element for the default value, a DATA element per named value (in enumeration
// order). A DATA element carrying only its Name stands for a value that does not exist; an
// import writes nothing for it.
#pragma once

#include <string>

#include "foundation/reg_xml_tree.h"
#include "platform/registry.h"
#include "platform/types.h"
#include "settings/reg_key.h"

namespace tv {

// Why the last import on this thread failed, for a caller that names the line to the user.
struct SettingsFileFailure {
  ErrorCode error = 0;    // what the import left in the last-error slot (0 after success)
  int xmlMessage = 0;     // the XML reader's failure (its string-table number), 0 when it parsed
  int line = 0;           // the line the reader stopped in, with xmlMessage
  std::wstring text;      // the message shown, or that would have been shown when quiet
  bool restored = false;  // the store failed while writing and the old content was put back
};
const SettingsFileFailure& GetLastSettingsFileFailure();

// ---- key <-> tree

// Appends the content of the open key to `tree`: KEY elements for the subkeys that open for
// reading, the default value, then the named values. Each filter, when not null, is a list of
// names separated by ";" that are taken (compared as the registry compares); the value filter
// names the default value "NULL". With `filterDeep` the filters also apply below the top level.
// Values narrow deliberately: REG_SZ of at most 1042 bytes as text (longer as ""), REG_BINARY as
// hex, every other type as a 32-bit number (0 when its data is longer than 4 bytes). Value names
// longer than 255 characters are left out. FALSE when the key cannot be enumerated.
BOOL ReadRegKeyToTree(RegKey& key, RegXmlTree& tree, const wchar_t* subkeyFilter = nullptr,
                      const wchar_t* valueFilter = nullptr, BOOL filterDeep = kFalse);
// Opens `subkeyName` of the key for reading, appends a KEY element for it and reads the subkey
// into its subtree. FALSE when the subkey cannot be opened.
BOOL ReadRegSubKeyToTree(RegKey& key, const wchar_t* subkeyName, RegXmlTree& tree,
                         const wchar_t* subkeyFilter = nullptr, const wchar_t* valueFilter = nullptr,
                         BOOL filterDeep = kFalse);

// Whether every element of the tree can be written to a registry (KEY elements with a Name of
// at most 255 characters and no "\", value Names of at most 254, string Values of at most 520,
// number Values of at most 19 characters, binary Values of hex digits). The first problem is
// described in `problem` (may be null). FALSE (err::kInvalidData) when there is one.
BOOL CheckRegTree(const XmlTree& tree, std::wstring* problem = nullptr);

// Writes every element of the tree's level into the open key: KEY elements as subkeys (created
// when missing), all others as values by their type (REG_SZ text, REG_BINARY bytes, REG_DWORD
// number; the sized integer types as the number 0). The tree is checked first (CheckRegTree), so
// FALSE before anything is written for a tree that cannot be written; after that FALSE only
// when the store fails, and then the key is partly written.
BOOL WriteRegKeyFromTree(RegKey& key, XmlTree& tree);
// Writes one KEY element (at `position`, or the tree's first KEY element when null): creates the
// subkey its Name names and writes the element's subtree into it.
BOOL WriteRegSubKeyFromTree(RegKey& key, XmlTree& tree, XmlTree::Node* position = nullptr);

// ---- key <-> text

// The settings-file text of the open key (without byte-order mark).
BOOL ExportRegKeyToText(RegKey& key, std::wstring* text);
// Parses `text` and checks it (CheckRegTree); only then replaces everything under the key with
// what it says. A parse error or a problem found by the check is shown to `window` unless
// `quiet`. On failure GetLastSettingsFileFailure
// says why; the key is unchanged unless the store failed during the write and the old content
// could not be put back either.
BOOL ImportRegKeyFromText(void* window, RegKey& key, const wchar_t* text, int quiet);

// ---- key <-> file

// Exports the open key to the file (UTF-16LE with byte-order mark, replaced as a whole). FALSE
// for a key that is not open or a file that cannot be written.
BOOL ExportRegKey(void* window, RegKey& key, const wchar_t* filePath, int quiet);
// Reads the file (any byte-order mark, else the ANSI code page) and imports it as
// ImportRegKeyFromText does.
BOOL ImportRegKey(void* window, RegKey& key, const wchar_t* filePath, int quiet);
// As ExportRegKey, with a single KEY element named `subkeyName` at the top level that holds the
// subkey of `keyPath` (a full path with its root name).
BOOL ExportRegSubKey(void* window, const wchar_t* keyPath, const wchar_t* subkeyName, const wchar_t* filePath,
                     int quiet, KeyStore& store = DefaultKeyStore());
// Opens (creating) `keyPath`, parses and checks the file, and replaces the subkey `subkeyName`
// with the content of the file's first KEY element (whatever that element's Name).
BOOL ImportRegSubKey(void* window, const wchar_t* keyPath, const wchar_t* subkeyName, const wchar_t* filePath,
                     int quiet, KeyStore& store = DefaultKeyStore());

// ---- a key store persisted as a settings file

// Saves the key at `keyPath` of the in-memory store (a root name alone for a whole root; a
// missing key as an empty one) to the file.
BOOL SaveKeyStoreToFile(MemKeyStore& store, const wchar_t* keyPath, const wchar_t* filePath);
// Replaces the content of the key at `keyPath` (created when missing) with the file's content,
// quietly. A missing file fails with err::kFileNotFound and changes nothing.
BOOL LoadKeyStoreFromFile(MemKeyStore& store, const wchar_t* keyPath, const wchar_t* filePath);

}  // namespace tv
