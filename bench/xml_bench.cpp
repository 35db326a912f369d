// Reading and writing a large settings export with XmlTree, against pugixml on the same text.
// Both read the same wide text from memory and write wide text to memory; pugixml keeps UTF-8
// inside, so its figures include the conversion it needs for wide text. At the end the program
// prints XmlTree's throughput as a multiple of pugixml's.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include "foundation/xml_tree.h"

#ifdef TV_HAVE_PUGIXML
#include <pugixml.hpp>
#endif

namespace {

using tv::XmlTree;
using tv::XmlTreeItem;

// One key as the settings export writes it: subkeys first, then the default value, then the
// named values, each value an empty DATA element with Name, Type and Value.
void AddKey(XmlTree& level, const std::wstring& name, int depth, unsigned& seed) {
  XmlTreeItem* key = level.AddItem(L"KEY", nullptr);
  key->AddAttrib(L"Name", name.c_str());
  XmlTree& sub = *level.AddSubTree(key);
  if (depth > 0) {
    for (int i = 0; i < 6; ++i) AddKey(sub, name + L"\\Sub" + std::to_wstring(i), depth - 1, seed);
  }
  sub.AddItem(L"DATA", nullptr)->AddAttrib(L"Name", L"");
  for (int i = 0; i < 10; ++i) {
    seed = seed * 1103515245u + 12345u;
    XmlTreeItem* data = sub.AddItem(L"DATA", nullptr);
    data->AddAttrib(L"Name", (L"Value" + std::to_wstring(i)).c_str());
    switch (seed % 3) {
      case 0:
        data->AddAttrib(L"Type", L"REG_SZ");
        data->AddAttrib(L"Value", (L"Text for \"" + name + L"\" & friends <" + std::to_wstring(seed) + L">").c_str());
        break;
      case 1:
        data->AddAttrib(L"Type", L"REG_DWORD");
        data->AddAttrib(L"Value", std::to_wstring(seed % 100000).c_str());
        break;
      default:
        data->AddAttrib(L"Type", L"REG_BINARY");
        data->AddAttrib(L"Value", L"0102030405060708090A0B0C0D0E0F10");
        break;
    }
  }
}

std::wstring ToText(const XmlTree& tree) {
  wchar_t* none = nullptr;
  std::wstring text(tree.Put(none), L'\0');
  wchar_t* out = text.data();
  tree.Put(out);
  text.pop_back();
  return text;
}

// The document: eight keys, each three levels of six subkeys deep, eleven values per key.
const std::wstring& Document() {
  static const std::wstring text = [] {
    XmlTree tree;
    unsigned seed = 1;
    for (int i = 0; i < 8; ++i) AddKey(tree, L"Root" + std::to_wstring(i), 3, seed);
    return ToText(tree);
  }();
  return text;
}

std::int64_t DocumentBytes() { return static_cast<std::int64_t>(Document().size() * sizeof(wchar_t)); }

void BM_XmlTreeRead(benchmark::State& state) {
  const std::wstring& text = Document();
  for (auto _ : state) {
    XmlTree tree(tv::kTrue);
    const wchar_t* p = text.c_str();
    if (!tree.Get(nullptr, p)) state.SkipWithError("the document did not read");
    benchmark::DoNotOptimize(tree.GetHead());
  }
  state.SetBytesProcessed(state.iterations() * DocumentBytes());
}
BENCHMARK(BM_XmlTreeRead)->Unit(benchmark::kMillisecond);

void BM_XmlTreeWrite(benchmark::State& state) {
  XmlTree tree(tv::kTrue);
  const wchar_t* p = Document().c_str();
  if (!tree.Get(nullptr, p)) state.SkipWithError("the document did not read");
  for (auto _ : state) {
    // Measure, allocate (uninitialised, as pugixml's reserved string below), write.
    wchar_t* none = nullptr;
    std::unique_ptr<wchar_t[]> out(new wchar_t[tree.Put(none)]);
    wchar_t* q = out.get();
    tree.Put(q);
    benchmark::DoNotOptimize(out.get());
  }
  state.SetBytesProcessed(state.iterations() * DocumentBytes());
}
BENCHMARK(BM_XmlTreeWrite)->Unit(benchmark::kMillisecond);

#ifdef TV_HAVE_PUGIXML

void BM_PugiRead(benchmark::State& state) {
  const std::wstring& text = Document();
  for (auto _ : state) {
    pugi::xml_document doc;
    pugi::xml_parse_result result =
        doc.load_buffer(text.data(), text.size() * sizeof(wchar_t), pugi::parse_default, pugi::encoding_wchar);
    if (!result) state.SkipWithError("pugixml did not read the document");
    benchmark::DoNotOptimize(doc.first_child());
  }
  state.SetBytesProcessed(state.iterations() * DocumentBytes());
}
BENCHMARK(BM_PugiRead)->Unit(benchmark::kMillisecond);

class WideWriter : public pugi::xml_writer {
 public:
  explicit WideWriter(std::string& out) : out_(out) {}
  void write(const void* data, size_t size) override { out_.append(static_cast<const char*>(data), size); }

 private:
  std::string& out_;
};

void BM_PugiWrite(benchmark::State& state) {
  const std::wstring& text = Document();
  pugi::xml_document doc;
  if (!doc.load_buffer(text.data(), text.size() * sizeof(wchar_t), pugi::parse_default, pugi::encoding_wchar)) {
    state.SkipWithError("pugixml did not read the document");
  }
  for (auto _ : state) {
    std::string out;
    out.reserve(static_cast<std::size_t>(DocumentBytes()) + 4096);
    WideWriter writer(out);
    doc.save(writer, "\t", pugi::format_default, pugi::encoding_wchar);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * DocumentBytes());
}
BENCHMARK(BM_PugiWrite)->Unit(benchmark::kMillisecond);

#endif

// Prints the usual table, then XmlTree's throughput relative to pugixml's for read and write.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    // CPU time, so that other load on the machine does not tilt the comparison; with
    // repetitions the median stands for the benchmark.
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median") {
        times_[run.run_name.function_name] = run.GetAdjustedCPUTime();
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("document: %lld bytes of wide text (%zu characters)\n", static_cast<long long>(DocumentBytes()),
                Document().size());
    Ratio("read ", "BM_XmlTreeRead", "BM_PugiRead");
    Ratio("write", "BM_XmlTreeWrite", "BM_PugiWrite");
  }

 private:
  void Ratio(const char* what, const char* ours, const char* theirs) {
    auto a = times_.find(ours);
    auto b = times_.find(theirs);
    if (a == times_.end() || b == times_.end() || a->second <= 0) return;
    std::printf("%s: XmlTree throughput = %.2f x pugixml\n", what, b->second / a->second);
  }

  std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
