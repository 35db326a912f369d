// The administrative templates against the settings record they describe, and templates the
// Group Policy editor can resolve.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "foundation/xml_tree.h"
#include "policy_templates.h"
#include "settings/record_fixture.h"
#include "settings/portable/gpo.h"

namespace tv {
namespace {

using admx::Kind;
using admx::Setting;

constexpr const wchar_t* kGpoPath = L"LDAP://cn={6AC1786C-016F-11D2-945F-00C04FB984F9},cn=policies,DC=corp";
constexpr const wchar_t* kGpoName = L"{6AC1786C-016F-11D2-945F-00C04FB984F9}";

std::wstring Wide(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

bool IsNumber(Kind k) { return k == Kind::kSwitch || k == Kind::kDecimal || k == Kind::kChoice; }

class PolicyTemplatesTest : public test::RecordTest {
 protected:
  PolicyTemplatesTest() { directory_.AddGpo(kGpoPath, kGpoName, L"Tarnvale servers"); }
  std::wstring GpoKey() const {
    return SimulatedGpoDirectory::SectionPath(kGpoName, gpo::kSectionMachine) + L"\\" + Wide(admx::kPolicyKey);
  }
};

TEST_F(PolicyTemplatesTest, EveryValueTheRecordStoresIsOfferedOnceWithItsTypeAndDefault) {
  MyOpts o(Services());
  o.Reset();
  ASSERT_TRUE(o.Store());

  std::map<std::wstring, DWORD> stored;  // value name -> registry type; subkeys as kind 0
  RegKey key(test::kAppKey, false, store_);
  std::wstring name;
  DWORD type = 0;
  for (DWORD i = 0; key.GetValueByIndex(i, &name, &type); ++i) {
    if (name != L"Options") stored[name] = type;  // the flag word is the service's, not a setting
  }
  for (const wchar_t* list : {L"ApplyTo", L"Exclude", L"KeepAliveProcesses"}) {
    if (RegKey(key, list, false).IsOpen()) stored[list] = 0;
  }

  std::map<std::wstring, DWORD> offered;
  for (const Setting* s : admx::AllSettings()) {
    const DWORD expected = IsNumber(s->kind) ? reg::kDword : s->kind == Kind::kText ? reg::kSz : 0;
    EXPECT_TRUE(offered.emplace(Wide(s->valueName), expected).second) << s->valueName << " offered twice";
    if (IsNumber(s->kind)) {
      EXPECT_EQ(key.GetInt(Wide(s->valueName).c_str(), 0xFFFFFFFF), s->defaultValue)
          << s->valueName << ": the templates show another default than the record has";
      EXPECT_TRUE(s->defaultValue >= s->min && s->defaultValue <= s->max) << s->valueName;
    }
    if (s->kind == Kind::kChoice) {
      EXPECT_EQ(s->choices.size(), s->max - s->min + 1) << s->valueName;
    }
  }
  EXPECT_EQ(offered, stored);
  EXPECT_EQ(Wide(admx::kPolicyKey), kPolicySubKey) << "the templates write where the record reads";
}

// A policy that is Enabled while a list policy stays Not Configured leaves that list empty, not at
// the computer's default; each list's help and the switch's say so.
TEST_F(PolicyTemplatesTest, AListLeftNotConfiguredIsEmptyAndTheHelpSaysSo) {
  Dword(kComputerPolicyKey, L"Enable", 1);
  MyOpts o(Services());
  ASSERT_TRUE(o.Load());
  ASSERT_TRUE(o.policyInForce);
  EXPECT_TRUE(o.ApplyTo.empty());
  EXPECT_TRUE(o.Exclude.empty());
  for (const admx::Policy& p : admx::Policies()) {
    const std::string name = p.name, help = p.explain;
    if (name == "ApplyTo" || name == "Exclude" || name == "Enable") {
      EXPECT_NE(help.find("Not Configured"), std::string::npos) << name;
      EXPECT_NE(help.find(name == "Enable" ? "is EMPTY" : "the list is empty"), std::string::npos) << name;
    }
    EXPECT_EQ(help.find("take their defaults"), std::string::npos) << name;
  }
}

// Through a bound GPO, where the record corrects what group policy hands it: the templates must
// offer exactly what survives, no more and no less.
TEST_F(PolicyTemplatesTest, RangesAreTheOnesTheRecordEnforces) {
  MyOpts o(Services());
  std::wcscpy(o.gpoPath, kGpoPath);
  MyOpts check(Services());
  const std::wstring gpoKey = GpoKey();
  Dword(gpoKey.c_str(), L"Enable", 1);
  int checked = 0;
  for (const Setting* s : admx::AllSettings()) {
    if (s->kind != Kind::kDecimal && s->kind != Kind::kChoice) continue;
    const std::wstring name = Wide(s->valueName);
    // What the loaded record holds for `name`, read back through the record's own store.
    auto loaded = [&](DWORD written) {
      Dword(gpoKey.c_str(), name.c_str(), written);
      EXPECT_TRUE(o.Load());
      check.CopyFrom(o);
      EXPECT_TRUE(check.Store());
      return RegKey(test::kAppKey, false, store_).GetInt(name.c_str(), 0xFFFFFFFF);
    };
    EXPECT_EQ(loaded(s->min), s->min) << name << " at its minimum";
    EXPECT_EQ(loaded(s->max), s->max) << name << " at its maximum";
    if (s->recordChecksRange) {
      EXPECT_EQ(loaded(s->max + 1), s->defaultValue) << name << " above its maximum";
      if (s->min > 0) {
        EXPECT_EQ(loaded(s->min - 1), s->defaultValue) << name << " below its minimum";
      }
      ++checked;
    } else {
      EXPECT_EQ(loaded(s->max + 1), s->max + 1) << name << ": the record now checks a range the table says it does not";
    }
  }
  EXPECT_GE(checked, 5);
}

// ---- the templates' own shape

using Tree = XmlTree;

std::vector<XmlTreeItem*> Items(const Tree* level, const wchar_t* name = nullptr) {
  std::vector<XmlTreeItem*> out;
  for (Tree::Node* n = level ? level->GetHead() : nullptr; n; n = n->GetNext()) {
    if (!name || std::wstring(n->GetItem()->GetName()) == name) out.push_back(n->GetItem());
  }
  return out;
}

std::wstring Attrib(const XmlTreeItem* item, const wchar_t* name) {
  const wchar_t* v = item->GetAttribValue(name);
  return v ? v : L"";
}

// "$(string.X)" -> X for `kind` "string"; "" when the text is not such a reference.
std::wstring RefId(const std::wstring& text, const std::wstring& kind) {
  const std::wstring head = L"$(" + kind + L".";
  if (text.rfind(head, 0) != 0 || text.back() != L')') return L"";
  return text.substr(head.size(), text.size() - head.size() - 1);
}

class TemplateShape : public ::testing::Test {
 protected:
  void SetUp() override {
    admxText_ = Wide(admx::WriteAdmx());
    admlText_ = Wide(admx::WriteAdml());
    const wchar_t* p = admxText_.c_str();
    ASSERT_TRUE(admx_.Get(nullptr, p)) << admx_.GetParseErrorText();
    p = admlText_.c_str();
    ASSERT_TRUE(adml_.Get(nullptr, p)) << adml_.GetParseErrorText();
  }
  // Walks every item below `level` (depth first) with its subtree.
  template <typename F>
  static void Walk(const Tree* level, F&& visit) {
    for (Tree::Node* n = level ? level->GetHead() : nullptr; n; n = n->GetNext()) {
      visit(n->GetItem(), n->GetSubTree());
      Walk(n->GetSubTree(), visit);
    }
  }

  std::wstring admxText_, admlText_;
  Tree admx_{kTrue}, adml_{kTrue};
};

TEST_F(TemplateShape, EveryReferenceResolvesAndEveryPolicyIsComplete) {
  const Tree* body = admx_.FindSubTree(L"policyDefinitions");
  const Tree* resRoot = adml_.FindSubTree(L"policyDefinitionResources");
  ASSERT_TRUE(body && resRoot);
  std::set<std::wstring> supported, categories, strings, presentations;
  for (XmlTreeItem* d : Items(body->FindSubTree(L"supportedOn")->FindSubTree(L"definitions"), L"definition"))
    supported.insert(Attrib(d, L"name"));
  for (XmlTreeItem* c : Items(body->FindSubTree(L"categories"), L"category")) categories.insert(Attrib(c, L"name"));
  const Tree* resources = resRoot->FindSubTree(L"resources");
  ASSERT_TRUE(resources);
  for (XmlTreeItem* s : Items(resources->FindSubTree(L"stringTable"), L"string")) {
    EXPECT_TRUE(strings.insert(Attrib(s, L"id")).second) << "string id twice";
  }
  std::map<std::wstring, std::set<std::wstring>> presentationRefs;  // presentation -> refIds
  for (Tree::Node* n = resources->FindSubTree(L"presentationTable")->GetHead(); n; n = n->GetNext()) {
    const std::wstring id = Attrib(n->GetItem(), L"id");
    presentations.insert(id);
    for (XmlTreeItem* control : Items(n->GetSubTree())) presentationRefs[id].insert(Attrib(control, L"refId"));
  }

  // Every "$(string.X)" and "$(presentation.X)" anywhere in the ADMX names something in the ADML.
  int references = 0;
  Walk(&admx_, [&](XmlTreeItem* item, const Tree*) {
    for (const XmlAttrib& a : item->GetListAttr()) {
      const std::wstring v = a.GetValue() ? a.GetValue() : L"";
      if (std::wstring s = RefId(v, L"string"); !s.empty()) {
        EXPECT_TRUE(strings.count(s)) << "unresolved string reference";
        ++references;
      }
      if (std::wstring s = RefId(v, L"presentation"); !s.empty()) {
        EXPECT_TRUE(presentations.count(s)) << "unresolved presentation reference";
        ++references;
      }
    }
  });
  EXPECT_GT(references, 30);

  // Each policy: the product's key, the computer class, a known category and supported-on, and a
  // presentation with one control per element (and no control for a missing element).
  int policies = 0;
  for (Tree::Node* n = body->FindSubTree(L"policies")->GetHead(); n; n = n->GetNext(), ++policies) {
    const XmlTreeItem* policy = n->GetItem();
    const Tree* inside = n->GetSubTree();
    ASSERT_TRUE(inside);
    EXPECT_EQ(Attrib(policy, L"key"), Wide(admx::kPolicyKey));
    EXPECT_EQ(Attrib(policy, L"class"), L"Machine");
    EXPECT_TRUE(categories.count(Attrib(inside->FindItem(L"parentCategory"), L"ref")));
    EXPECT_TRUE(supported.count(Attrib(inside->FindItem(L"supportedOn"), L"ref")));
    std::set<std::wstring> elementIds;
    for (XmlTreeItem* e : Items(inside->FindSubTree(L"elements"))) elementIds.insert(Attrib(e, L"id"));
    const std::wstring presentation = RefId(Attrib(policy, L"presentation"), L"presentation");
    EXPECT_EQ(presentation.empty() ? std::set<std::wstring>{} : presentationRefs[presentation], elementIds);
  }
  EXPECT_EQ(policies, static_cast<int>(admx::Policies().size()));
}

// The values, types and ranges in the written ADMX are the table's (so the table tests above
// speak for the file that ships).
TEST_F(TemplateShape, WrittenValuesMatchTheTable) {
  std::map<std::wstring, std::wstring> found;  // value name -> "kind min max"
  const std::wstring listKeyHead = Wide(admx::kPolicyKey) + L"\\";
  Walk(&admx_, [&](XmlTreeItem* item, const Tree*) {
    const std::wstring tag = item->GetName();
    if (tag == L"policy" && !Attrib(item, L"valueName").empty()) {
      found[Attrib(item, L"valueName")] = L"switch";
    } else if (tag == L"boolean") {
      found[Attrib(item, L"valueName")] = L"switch";
    } else if (tag == L"decimal" && item->FindAttrib(L"valueName")) {
      found[Attrib(item, L"valueName")] = L"decimal " + Attrib(item, L"minValue") + L" " + Attrib(item, L"maxValue");
    } else if (tag == L"enum") {
      found[Attrib(item, L"valueName")] = L"choice";
    } else if (tag == L"text") {
      found[Attrib(item, L"valueName")] = L"text " + Attrib(item, L"maxLength");
    } else if (tag == L"list") {
      // Values "1", "2", ... come from an empty prefix; the subkey is the list's name.
      EXPECT_NE(item->FindAttrib(L"valuePrefix"), nullptr);
      EXPECT_EQ(Attrib(item, L"valuePrefix"), L"");
      EXPECT_EQ(Attrib(item, L"key").rfind(listKeyHead, 0), 0u);
      found[Attrib(item, L"key").substr(listKeyHead.size())] = L"list";
    }
  });
  std::map<std::wstring, std::wstring> expected;
  for (const Setting* s : admx::AllSettings()) {
    std::wstring d;
    switch (s->kind) {
      case Kind::kSwitch: d = L"switch"; break;
      case Kind::kDecimal: d = L"decimal " + std::to_wstring(s->min) + L" " + std::to_wstring(s->max); break;
      case Kind::kChoice: d = L"choice"; break;
      case Kind::kText: d = L"text " + std::to_wstring(s->max); break;
      case Kind::kList: d = L"list"; break;
    }
    expected[Wide(s->valueName)] = d;
  }
  EXPECT_EQ(found, expected);
  EXPECT_NE(admxText_.find(L"<value><decimal value=\"3\" /></value>"), std::wstring::npos) << "the shutdown choice";
}

}  // namespace
}  // namespace tv
