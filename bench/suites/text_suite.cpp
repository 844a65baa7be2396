// The wire and text layers: what every record goes through.
#include <benchmark/benchmark.h>

#include "bench/suites/bench_server.h"
#include "host/settings/ansi_code_page.h"
#include "host/values/fields.h"
#include "support/base64_text.h"
#include "support/text_codecs.h"

namespace vnq::bench {
namespace {

const AnsiCodePage& Page() {
  static const AnsiCodePage page(CodePage::Open(936));
  return page;
}

const std::string& TextOf(const benchmark::State& state) {
  return state.range(0) == 0 ? kAsciiText : kChineseText;
}

void NameIt(benchmark::State& state) {
  state.SetLabel(state.range(0) == 0 ? "ASCII" : "Chinese");
}

void Base64Encode(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Base64EncodeText(Page(), TextOf(state)));
  NameIt(state);
}
BENCHMARK(Base64Encode)->Arg(0)->Arg(1);

void Base64Decode(benchmark::State& state) {
  const std::string wire = Base64EncodeText(Page(), TextOf(state));
  for (auto _ : state) benchmark::DoNotOptimize(Base64DecodeText(Page(), wire));
  NameIt(state);
}
BENCHMARK(Base64Decode)->Arg(0)->Arg(1);

void SplitFields(benchmark::State& state) {
  const std::string record =
      ".+message|17|4|" + EscapeText(kAsciiText) + "|font,10,0,False,False,False|a1b2c3-17|1|#";
  for (auto _ : state) benchmark::DoNotOptimize(Fields::Split(record));
}
BENCHMARK(SplitFields);

void Escape(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(EscapeText(TextOf(state)));
  NameIt(state);
}
BENCHMARK(Escape)->Arg(0)->Arg(1);

void Unescape(benchmark::State& state) {
  const std::string escaped = EscapeText(TextOf(state));
  for (auto _ : state) benchmark::DoNotOptimize(UnescapeText(Page(), escaped));
  NameIt(state);
}
BENCHMARK(Unescape)->Arg(0)->Arg(1);

}  // namespace
}  // namespace vnq::bench
