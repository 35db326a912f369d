// Laying out mark-up text with the fixed-advance measurer: the status line the configuration
// dialog redraws on every activity report, and a 10,000-character text with tags, links and
// entities wrapped into a narrow box. Figures are the layout's own cost (tag matching, run
// cutting, line placement); a real GDI measurer adds its text-extent calls on top.
#include <benchmark/benchmark.h>

#include <string>

#include "foundation/markup_fixed_measurer.h"
#include "foundation/markup_layout.h"

namespace {

using namespace tv;

const std::wstring kStatusLine =
    L"<B>Status:</B> <GREEN>running</GREEN> &nbsp; Sessions: <B>3</B> &nbsp; Last log-off: <RED>user2</RED> at "
    L"10:42 <A1>Details</A1>";

std::wstring LongText() {
  const wchar_t* parts[] = {L"The session of ", L"<B>DOMAIN\\user</B>", L" has been idle for ", L"<RED>25</RED>",
                            L" minutes &amp; will be logged off ", L"<A2>unless somebody moves the mouse</A2>",
                            L". ", L"<BR>", L"<I>Unsaved work is lost.</I> "};
  std::wstring text;
  for (unsigned i = 0; text.size() < 10000; ++i) text += parts[i % 9];
  text.resize(10000);
  return text;
}

void Run(benchmark::State& state, const std::wstring& text, int width) {
  MarkupStyle style;
  style.font.height = -12;
  MarkupFixedMeasurer measurer;
  MarkupLayoutResult result;
  for (auto _ : state) {
    LayoutMarkup(text.c_str(), text.size(), MarkupRect{0, 0, width, 0}, style, measurer, &result);
    benchmark::DoNotOptimize(result.height);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long long>(text.size()));
  state.counters["pieces"] = static_cast<double>(result.pieces.size());
  state.counters["measures/iter"] =
      benchmark::Counter(static_cast<double>(measurer.calls), benchmark::Counter::kAvgIterations);
}

void BM_StatusLine(benchmark::State& state) { Run(state, kStatusLine, 600); }
BENCHMARK(BM_StatusLine);

void BM_LongText(benchmark::State& state) {
  static const std::wstring text = LongText();
  Run(state, text, static_cast<int>(state.range(0)));
}
BENCHMARK(BM_LongText)->Arg(300)->Arg(2000);

}  // namespace

BENCHMARK_MAIN();
