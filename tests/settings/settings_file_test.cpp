#include "settings/settings_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "foundation/text_file.h"
#include "foundation/utf16.h"
#include "platform/last_error.h"
#include "support/message_recorder.h"

#ifdef _WIN32
#include <process.h>
#endif

namespace tv {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

const wchar_t kDecl[] = L"<?xml version=\"1.0\"?>\r\n";

// Everything under a key, types and bytes included, as one comparable text.
std::wstring Dump(const RegKey& key, const std::wstring& indent = L"") {
  std::wstring out, name;
  for (DWORD i = 0; key.GetValueByIndex(i, &name); ++i) {
    DWORD type = 0;
    std::vector<std::uint8_t> data;
    EXPECT_TRUE(key.GetValue(name.c_str(), &type, &data));
    out += indent + L"[" + name + L"] " + std::to_wstring(type) + L":";
    for (std::uint8_t b : data) out += std::to_wstring(b) + L",";
    out += L"\n";
  }
  for (DWORD i = 0; key.GetSubKeyByIndex(i, &name); ++i) {
    out += indent + name + L"\\\n" + Dump(RegKey(key, name.c_str(), false), indent + L"  ");
  }
  return out;
}

// The settings of a typical key, of every type the export knows and some it narrows.
void Fill(RegKey& key) {
  ASSERT_TRUE(key.PutStr(nullptr, L"default"));
  ASSERT_TRUE(key.PutStr(L"A-Text", L"Gr\u00FC\u00DFe & <B>\"quoted\"</B> it's \u20AC"));
  const std::uint8_t bin[] = {0x00, 0x01, 0xAB, 0xFF};
  ASSERT_TRUE(key.PutBin(L"B-Binary", bin, sizeof(bin)));
  ASSERT_TRUE(key.PutBin(L"C-Empty", nullptr, 0));
  ASSERT_TRUE(key.PutDword(L"D-Number", 4294967295u));
  const Bytes expand = ToUtf16Le(L"%SystemRoot%", true);
  ASSERT_TRUE(key.PutBin(L"E-Expand", expand.data(), static_cast<DWORD>(expand.size()), reg::kExpandSz));
  const std::uint8_t qword[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  ASSERT_TRUE(key.PutBin(L"F-Qword", qword, sizeof(qword), reg::kQword));
  ASSERT_TRUE(key.PutStr(L"G-Long", std::wstring(600, L'x').c_str()));
  RegKey sub(key, L"Sub", true), inner(sub, L"Inner", true), other(key, L"apple", true);
  ASSERT_TRUE(inner.PutDword(L"n", 7));
  ASSERT_TRUE(other.PutStr(L"\u00E9t\u00E9", L"\u00E9"));
}

class SettingsFile : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = fs::temp_directory_path() / (std::string("tv-settings-file-") + info->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Joined as text: a non-ASCII name must not pass through the C library's locale.
  std::wstring Path(const std::wstring& name) const { return dir_.wstring() + L"/" + name; }
  std::wstring Export(RegKey& k) {
    std::wstring text;
    EXPECT_TRUE(ExportRegKeyToText(k, &text));
    return text;
  }

  MemKeyStore store_;
  RegKey key_{RegRoot::kCurrentUser, L"Software\\Test", true, store_};
  fs::path dir_;
};

TEST_F(SettingsFile, ExportWritesTheDocumentedLinesAndNarrowsTypes) {
  EXPECT_EQ(Export(key_), std::wstring(kDecl) + L"<DATA Name=\"\"/>\r\n");

  ASSERT_TRUE(key_.PutStr(nullptr, L"x"));
  ASSERT_TRUE(key_.PutDword(L"N", 7));
  RegKey s(key_, L"S", true);
  EXPECT_EQ(Export(key_), std::wstring(kDecl) +
                              L"<KEY Name=\"S\">\r\n\t<DATA Name=\"\"/>\r\n</KEY>\r\n"
                              L"<DATA Name=\"\" Type=\"REG_SZ\" Value=\"x\"/>\r\n"
                              L"<DATA Name=\"N\" Type=\"REG_DWORD\" Value=\"7\"/>\r\n");

  RegKey k(key_, L"Narrow", true);
  Fill(k);
  const std::wstring text = Export(k);
  for (const wchar_t* line : {L"<DATA Name=\"B-Binary\" Type=\"REG_BINARY\" Value=\"0001ABFF\"/>",
                              L"<DATA Name=\"C-Empty\" Type=\"REG_BINARY\" Value=\"\"/>",
                              L"<DATA Name=\"E-Expand\" Type=\"REG_DWORD\" Value=\"0\"/>",
                              L"<DATA Name=\"F-Qword\" Type=\"REG_DWORD\" Value=\"0\"/>",
                              L"<DATA Name=\"G-Long\" Type=\"REG_SZ\" Value=\"\"/>",
                              L"Value=\"Gr\u00FC\u00DFe &amp; &lt;B&gt;&quot;quoted&quot;&lt;/B&gt; it&apos;s \u20AC\""}) {
    EXPECT_NE(text.find(line), std::wstring::npos) << line;
  }
  // Subkeys first in the registry's order, then the default value, then the values as created.
  EXPECT_LT(text.find(L"\"apple\""), text.find(L"\"Sub\""));
  EXPECT_LT(text.find(L"\t<KEY Name=\"Inner\">"), text.find(L"<DATA Name=\"\" Type=\"REG_SZ\" Value=\"default\"/>"));
  EXPECT_LT(text.find(L"A-Text"), text.find(L"B-Binary"));

  // The longest string that fits the fixed buffer still exports; one more character does not.
  ASSERT_TRUE(key_.PutStr(L"Edge", std::wstring(520, L'y').c_str()));
  EXPECT_NE(Export(key_).find(std::wstring(520, L'y')), std::wstring::npos);
  ASSERT_TRUE(key_.PutStr(L"Edge", std::wstring(521, L'y').c_str()));
  EXPECT_NE(Export(key_).find(L"<DATA Name=\"Edge\" Type=\"REG_SZ\" Value=\"\"/>"), std::wstring::npos);
  // 521 characters stored without a terminator fit the byte count: cut at the buffer's 520.
  const Bytes unterminated = ToUtf16Le(std::wstring(521, L'z'));
  ASSERT_TRUE(key_.PutBin(L"Edge", unterminated.data(), static_cast<DWORD>(unterminated.size()), reg::kSz));
  EXPECT_NE(Export(key_).find(L"Value=\"" + std::wstring(520, L'z') + L"\"/>"), std::wstring::npos);
}

TEST_F(SettingsFile, ImportWritesWhatTheElementsSayByType) {
  ASSERT_TRUE(key_.PutStr(L"Old", L"goes"));
  RegKey(key_, L"OldKey", true);
  const std::wstring text = std::wstring(kDecl) +
                            L"<KEY Name=\"K\"><KEY Name=\"Deeper\"/><DATA Name=\"n\" Value=\"12\"/></KEY>\r\n"
                            L"<DATA Name=\"\"/>\r\n"
                            L"<DATA Name=\"Str\" Type=\"REG_SZ\"/>\r\n"
                            L"<DATA Name=\"Dup\" Type=\"REG_SZ\" Value=\"first\"/>\r\n"
                            L"<DATA Name=\"DUP\" Type=\"REG_DWORD\" Value=\"2\"/>\r\n";
  ASSERT_TRUE(ImportRegKeyFromText(nullptr, key_, text.c_str(), kTrue));
  EXPECT_EQ(GetLastSettingsFileFailure().error, err::kSuccess);
  EXPECT_FALSE(key_.FindValue(L"Old"));
  EXPECT_FALSE(RegKey(key_, L"OldKey", false).IsOpen());
  EXPECT_FALSE(key_.FindValue(nullptr));  // a Name-only element stands for no value
  std::wstring str = L"?";
  ASSERT_TRUE(key_.GetStr(L"Str", &str));
  EXPECT_EQ(str, L"");
  EXPECT_EQ(key_.GetValueType(L"dup"), reg::kDword);  // names are the registry's: the later one wins
  RegKey k(key_, L"K", false);
  EXPECT_EQ(k.GetInt(L"n", 0), 12u);
  EXPECT_TRUE(RegKey(k, L"Deeper", false).IsOpen());
}

TEST_F(SettingsFile, ImportsThatCannotBeWrittenChangeNothing) {
  Fill(key_);
  const std::wstring before = Dump(key_);
  const auto refused = [&](const std::wstring& body, int xmlMessage, int line) {
    test::MessageRecorder shown;
    const std::wstring text = std::wstring(kDecl) + body;
    EXPECT_FALSE(ImportRegKeyFromText(nullptr, key_, text.c_str(), kTrue)) << body;
    EXPECT_EQ(GetLastErrorCode(), err::kInvalidData);
    const SettingsFileFailure& failure = GetLastSettingsFileFailure();
    EXPECT_EQ(failure.error, err::kInvalidData);
    EXPECT_EQ(failure.xmlMessage, xmlMessage) << body;
    EXPECT_TRUE(!line || failure.line == line) << body << " stopped in line " << failure.line;
    EXPECT_FALSE(failure.text.empty());
    EXPECT_TRUE(shown.shown.empty());  // quiet
    EXPECT_EQ(Dump(key_), before) << body;
  };
  refused(L"<DATA Name=\"a\" Value=\"1\"/>\r\n\r\n<DATA Name=\"b\" Value=2/>", 21907, 4);
  refused(L"<KEY Name=\"\"/>", 0, 0);
  refused(L"<KEY Name=\"a\\b\"/>", 0, 0);
  refused(L"<KEY Name=\"" + std::wstring(256, L'k') + L"\"/>", 0, 0);
  refused(L"<DATA Name=\"ok\" Value=\"1\"/><DATA Name=\"" + std::wstring(255, L'n') + L"\" Value=\"1\"/>", 0, 0);
  refused(L"<DATA Name=\"s\" Type=\"REG_SZ\" Value=\"" + std::wstring(521, L's') + L"\"/>", 0, 0);
  refused(L"<DATA Name=\"d\" Type=\"REG_DWORD\" Value=\"00000000000000000001\"/>", 0, 0);
  refused(L"<DATA Name=\"d\" Value=\"00000000000000000001\"/>", 0, 0);  // no Type: a number too
  refused(L"<DATA Name=\"b\" Type=\"REG_BINARY\" Value=\"0x12\"/>", 0, 0);
  EXPECT_NE(GetLastSettingsFileFailure().text.find(L"\"b\""), std::wstring::npos);

  // The limits themselves are accepted.
  const std::wstring edge = std::wstring(kDecl) + L"<KEY Name=\"" + std::wstring(255, L'k') + L"\"/><DATA Name=\"" +
                            std::wstring(254, L'n') + L"\" Type=\"REG_SZ\" Value=\"" + std::wstring(520, L's') +
                            L"\"/><DATA Name=\"d\" Value=\"0000000000000000001\"/>" +
                            L"<DATA Name=\"i\" Type=\"INT8\" Value=\"not checked\"/>";
  ASSERT_TRUE(ImportRegKeyFromText(nullptr, key_, edge.c_str(), kTrue));
  EXPECT_EQ(key_.GetInt(L"d", 0), 1u);
  EXPECT_EQ(key_.GetStrSize(std::wstring(254, L'n').c_str()), 521u * 2);

  // Not quiet: the reason is shown once, with the line of a parse failure.
  test::MessageRecorder shown;
  const std::wstring broken = std::wstring(kDecl) + L"\r\n<DATA Name=\"a\" Value=\"1\">";
  EXPECT_FALSE(ImportRegKeyFromText(nullptr, key_, broken.c_str(), kFalse));
  ASSERT_EQ(shown.shown.size(), 1u);
  EXPECT_NE(shown.shown[0].text.find(L"line 3"), std::wstring::npos) << shown.shown[0].text;
  EXPECT_EQ(shown.shown[0].icon, MsgIcon::kError);
}

TEST_F(SettingsFile, AStoreFailingHalfWayPutsTheOldContentBackWhereItCan) {
  Fill(key_);
  const std::wstring before = Dump(key_);
  const std::wstring text = std::wstring(kDecl) + L"<DATA Name=\"a\" Value=\"1\"/><DATA Name=\"b\" Value=\"2\"/>" +
                            L"<DATA Name=\"c\" Value=\"3\"/>";

  // The second write fails once (the old content is copied to a private store, so only the
  // import's own writes count): the old content comes back.
  store_.FailOperation(RegOp::kWrite, 2, err::kWriteFault);
  EXPECT_FALSE(ImportRegKeyFromText(nullptr, key_, text.c_str(), kTrue));
  EXPECT_EQ(GetLastErrorCode(), err::kWriteFault);
  EXPECT_TRUE(GetLastSettingsFileFailure().restored);
  EXPECT_EQ(Dump(key_), before);

  // A store that keeps failing cannot take it back either, and the caller is told so.
  store_.FailOperation(RegOp::kWrite, 2, err::kWriteFault, true);
  EXPECT_FALSE(ImportRegKeyFromText(nullptr, key_, text.c_str(), kTrue));
  EXPECT_FALSE(GetLastSettingsFileFailure().restored);
  EXPECT_EQ(GetLastErrorCode(), err::kWriteFault);
  EXPECT_FALSE(key_.FindValue(L"b"));
  store_.ClearFaults();

  // A failure while taking the copy happens before anything is deleted.
  ASSERT_TRUE(ImportRegKeyFromText(nullptr, key_, (std::wstring(kDecl) + L"<DATA Name=\"z\" Value=\"9\"/>").c_str(), 1));
  const std::wstring settled = Dump(key_);
  const unsigned deletes = store_.OperationCount(RegOp::kDelete);
  store_.FailOperation(RegOp::kRead, 1, err::kReadFault);
  EXPECT_FALSE(ImportRegKeyFromText(nullptr, key_, text.c_str(), kTrue));
  EXPECT_EQ(store_.OperationCount(RegOp::kDelete), deletes);
  EXPECT_EQ(Dump(key_), settled);
  EXPECT_EQ(store_.OpenHandleCount(), 1u);  // only the fixture's key
}

TEST_F(SettingsFile, FilesCarryTheKeyBothWays) {
  Fill(key_);
  const std::wstring file = Path(L"Tarnvale.cfg");
  ASSERT_TRUE(ExportRegKey(nullptr, key_, file.c_str(), kTrue));
  Bytes bytes;
  ASSERT_TRUE(ReadFileBytes(file.c_str(), &bytes));
  ASSERT_GE(bytes.size(), 4u);
  EXPECT_TRUE(bytes[0] == 0xFF && bytes[1] == 0xFE) << "a UTF-16LE byte-order mark";
  EXPECT_EQ(bytes, EncodeTextFile(Export(key_)));

  // Export, import, export is a fixed point; what was there goes, narrowed values are now real.
  RegKey copy(key_, L"Copy", true);
  ASSERT_TRUE(copy.PutDword(L"stale", 1));
  ASSERT_TRUE(ImportRegKey(nullptr, copy, file.c_str(), kTrue));
  EXPECT_EQ(EncodeTextFile(Export(copy)), bytes);
  EXPECT_EQ(copy.GetValueType(L"E-Expand"), reg::kDword);

  RegKey closed(store_);
  EXPECT_FALSE(ExportRegKey(nullptr, closed, Path(L"closed.cfg").c_str(), kTrue));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidHandle);
  EXPECT_FALSE(fs::exists(dir_ / "closed.cfg"));
  EXPECT_FALSE(ImportRegKey(nullptr, closed, file.c_str(), kTrue));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidHandle);
  EXPECT_FALSE(ImportRegKey(nullptr, copy, Path(L"absent.cfg").c_str(), kTrue));
  EXPECT_EQ(GetLastSettingsFileFailure().error, err::kFileNotFound);
  EXPECT_EQ(EncodeTextFile(Export(copy)), bytes);
  EXPECT_FALSE(ExportRegKey(nullptr, key_, Path(L"no-folder/x.cfg").c_str(), kTrue));
}

TEST_F(SettingsFile, SubKeyFilesHoldOneKeyElementAndReplaceOnlyThatSubkey) {
  RegKey temp(key_, L"Temp", true);
  ASSERT_TRUE(temp.PutDword(L"Timeout", 30));
  ASSERT_TRUE(key_.PutDword(L"Sibling", 1));
  const std::wstring file = Path(L"sub.cfg");
  ASSERT_TRUE(ExportRegSubKey(nullptr, L"HKCU\\Software\\Test", L"Temp", file.c_str(), kTrue, store_));
  std::wstring text;
  ASSERT_TRUE(ReadTextFile(file.c_str(), &text));
  EXPECT_EQ(text, std::wstring(kDecl) +
                      L"<KEY Name=\"Temp\">\r\n\t<DATA Name=\"\"/>\r\n"
                      L"\t<DATA Name=\"Timeout\" Type=\"REG_DWORD\" Value=\"30\"/>\r\n</KEY>\r\n");
  EXPECT_FALSE(ExportRegSubKey(nullptr, L"HKCU\\Software\\Test", L"Absent", Path(L"a.cfg").c_str(), kTrue, store_));

  // Imported under another name, whatever the element's Name; the old subkey's content goes.
  RegKey other(key_, L"Other", true);
  ASSERT_TRUE(other.PutDword(L"Stale", 1));
  ASSERT_TRUE(ImportRegSubKey(nullptr, L"HKCU\\Software\\Test", L"Other", file.c_str(), kTrue, store_));
  EXPECT_EQ(Dump(RegKey(key_, L"Other", false)), L"[Timeout] 4:30,0,0,0,\n");
  EXPECT_EQ(key_.GetInt(L"Sibling", 0), 1u);

  // A file without a KEY element, or a failing write into a new subkey, leaves no trace.
  const std::wstring plain = Path(L"plain.cfg");
  ASSERT_TRUE(WriteTextFile(plain.c_str(), std::wstring(kDecl) + L"<DATA Name=\"x\" Value=\"1\"/>"));
  EXPECT_FALSE(ImportRegSubKey(nullptr, L"HKCU\\Software\\Test", L"New", plain.c_str(), kTrue, store_));
  EXPECT_EQ(GetLastErrorCode(), err::kInvalidData);
  store_.FailOperation(RegOp::kWrite, 1, err::kWriteFault);
  EXPECT_FALSE(ImportRegSubKey(nullptr, L"HKCU\\Software\\Test", L"New", file.c_str(), kTrue, store_));
  EXPECT_EQ(GetLastErrorCode(), err::kWriteFault);
  EXPECT_FALSE(RegKey(key_, L"New", false).IsOpen());
  EXPECT_FALSE(ImportRegSubKey(nullptr, L"HKCU\\Software\\Test", L"", file.c_str(), kTrue, store_));
}

TEST_F(SettingsFile, FiltersTakeOnlyTheListedNames) {
  Fill(key_);
  // Names compare as the registry's do; "NULL" is the default value; below the top level the
  // filters apply only when asked.
  RegXmlTree tree, deep;
  ASSERT_TRUE(ReadRegKeyToTree(key_, tree, L"sub", L"NULL;d-number", kFalse));
  EXPECT_EQ(tree.GetCount(), 3u);
  ASSERT_TRUE(tree.FindDataItem(L"") && tree.FindDataItem(L"D-Number") && tree.FindSubTree(L"Sub"));
  EXPECT_NE(tree.FindSubTree(L"Sub")->FindSubTree(L"Inner"), nullptr);
  ASSERT_TRUE(ReadRegKeyToTree(key_, deep, L"Sub", L"", kTrue));
  ASSERT_EQ(deep.GetCount(), 1u);
  EXPECT_EQ(deep.FindSubTree(L"Sub")->GetCount(), 0u);
}

TEST_F(SettingsFile, MemoryStoreLoadsAndSavesWholeRoots) {
  Fill(key_);
  const std::wstring file = Path(L"store.cfg");
  ASSERT_TRUE(SaveKeyStoreToFile(store_, L"HKCU", file.c_str()));
  MemKeyStore loaded;
  ASSERT_TRUE(LoadKeyStoreFromFile(loaded, L"HKCU", file.c_str()));
  RegKey copy(RegRoot::kCurrentUser, L"Software\\Test", false, loaded);
  EXPECT_EQ(Export(copy), Export(key_));
  EXPECT_FALSE(LoadKeyStoreFromFile(loaded, L"HKCU", Path(L"absent.cfg").c_str()));
  EXPECT_EQ(GetLastErrorCode(), err::kFileNotFound);  // the tool starts from an empty store then
}

// ---- hand-made files

std::wstring DataPath(const char* name) {
  std::string path = std::string(TV_SETTINGS_TEST_DATA) + "/" + name;
#ifdef _WIN32
  if (!path.empty() && path[0] == '/') path = "Z:" + path;  // the Unix file system under Wine
#endif
  return std::wstring(path.begin(), path.end());
}

struct DataCase {
  const char* file;
  int xmlMessage;          // with a failure: the parse error, 0 when it parsed but cannot be written
  const wchar_t* name;     // with success: a value to look at, its type and text (numbers in decimal)
  DWORD type;
  std::wstring expected;
};

TEST_F(SettingsFile, HandMadeFilesImportOrFailAsExpected) {
  // One row per way the import writes or refuses; decoding and the limits have their own tests.
  const DataCase cases[] = {
      {"valid_export.cfg", 0, L"MessageText", reg::kSz, L"Gr\u00FC\u00DFe & <B>\"bye\"</B> it's \u20AC"},
      {"wrong_types.cfg", 0, L"Int32", reg::kDword, L"0"},
      {"wrong_types.cfg", 0, L"NoType", reg::kDword, L"4294967295"},
      {"utf16_be.cfg", 0, L"Greeting", reg::kSz, L"Gr\u00FC\u00DFe"},
      {"truncated_utf16.cfg", 21907},
      {"missing_name.cfg"},
  };
  for (const DataCase& c : cases) {
    SCOPED_TRACE(c.file);
    RegKey k(key_, L"Data", true);
    ASSERT_TRUE(k.DelAll());
    ASSERT_TRUE(k.PutStr(L"Keep", L"me"));
    const std::wstring before = Dump(k);
    const BOOL ok = ImportRegKey(nullptr, k, DataPath(c.file).c_str(), kTrue);
    ASSERT_EQ(ok != 0, c.name != nullptr) << GetLastErrorCode();
    if (!c.name) {
      EXPECT_EQ(GetLastErrorCode(), err::kInvalidData);
      EXPECT_EQ(GetLastSettingsFileFailure().xmlMessage, c.xmlMessage);
      EXPECT_EQ(Dump(k), before);
      continue;
    }
    EXPECT_FALSE(k.FindValue(L"Keep"));
    ASSERT_EQ(k.GetValueType(c.name), c.type);
    std::wstring got;
    if (c.type == reg::kSz) {
      ASSERT_TRUE(k.GetStr(c.name, &got));
    } else {
      got = std::to_wstring(k.GetInt(c.name, 12345));
    }
    EXPECT_EQ(got, c.expected);
  }
  // An export of what the valid file wrote gives back the file, byte for byte.
  RegKey k(key_, L"Valid", true);
  ASSERT_TRUE(ImportRegKey(nullptr, k, DataPath("valid_export.cfg").c_str(), kTrue));
  Bytes original;
  ASSERT_TRUE(ReadFileBytes(DataPath("valid_export.cfg").c_str(), &original));
  EXPECT_EQ(EncodeTextFile(Export(k)), original);
}

#ifdef _WIN32
// The real registry (under Wine in the build) and the in-memory store must agree byte for byte:
// a file exported on one imports into the other and exports again unchanged.
TEST_F(SettingsFile, RealRegistryAndMemoryStoreExchangeFilesUnchanged) {
  KeyStore& real = DefaultKeyStore();
  const std::wstring name = L"TarnvaleTest-" + std::to_wstring(_getpid());
  RegKey software(RegRoot::kCurrentUser, L"Software", true, real);
  ASSERT_TRUE(software.IsOpen());
  struct Cleanup {
    RegKey& parent;
    const std::wstring& name;
    ~Cleanup() { parent.DelSubKey(name.c_str()); }
  } cleanup{software, name};

  RegKey realKey(software, name.c_str(), true);
  ASSERT_TRUE(realKey.IsOpen());
  RegKey memKey(RegRoot::kCurrentUser, (L"Software\\" + name).c_str(), true, store_);
  // Values are created in name order: Wine lists values sorted, Windows in creation order.
  Fill(realKey);
  Fill(memKey);
  const std::wstring realFile = Path(L"real.cfg"), memFile = Path(L"mem.cfg");
  ASSERT_TRUE(ExportRegSubKey(nullptr, L"HKCU\\Software", name.c_str(), realFile.c_str(), kTrue, real));
  ASSERT_TRUE(ExportRegSubKey(nullptr, L"HKCU\\Software", name.c_str(), memFile.c_str(), kTrue, store_));
  Bytes realBytes, memBytes;
  ASSERT_TRUE(ReadFileBytes(realFile.c_str(), &realBytes));
  ASSERT_TRUE(ReadFileBytes(memFile.c_str(), &memBytes));
  EXPECT_EQ(realBytes, memBytes);

  // The hand-made file imported into both exports the same.
  const std::wstring file = DataPath("valid_export.cfg");
  ASSERT_TRUE(ImportRegSubKey(nullptr, L"HKCU\\Software", L"Imported", file.c_str(), kTrue, store_));
  ASSERT_TRUE(ImportRegSubKey(nullptr, L"HKCU\\Software", (name + L"\\Imported").c_str(), file.c_str(), kTrue, real));
  RegKey memImported(RegRoot::kCurrentUser, L"Software\\Imported", false, store_);
  RegKey realImported(realKey, L"Imported", false);
  EXPECT_EQ(Export(realImported), Export(memImported));
}
#endif

}  // namespace
}  // namespace tv
