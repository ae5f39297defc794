#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "config/PropertiesScanner.h"
#include "config/VariableSubstitution.h"
#include "foundation/Properties.h"

namespace {

std::vector<WString> keys(std::size_t count) {
  std::vector<WString> all;
  for (std::size_t i = 0; i < count; ++i) {
    all.emplace_back("part" + std::to_string(i % 97) + ".setting" + std::to_string(i));
  }
  return all;
}

SimpleProperties setOf(const std::vector<WString>& names) {
  SimpleProperties set;
  for (const WString& name : names) set.set(name, name);
  return set;
}

void stringCopy(benchmark::State& state) {
  const WString text(std::string(static_cast<std::size_t>(state.range(0)), 'x'));
  for ([[maybe_unused]] auto _ : state) {
    WString copy = text;
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(stringCopy)->Arg(20)->Arg(200);

void setEntries(benchmark::State& state) {
  const std::vector<WString> names = keys(static_cast<std::size_t>(state.range(0)));
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(setOf(names));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(setEntries)->Arg(20)->Arg(500)->Arg(20000);

void getEntries(benchmark::State& state) {
  const std::vector<WString> names = keys(static_cast<std::size_t>(state.range(0)));
  const SimpleProperties set = setOf(names);
  WString value;
  for ([[maybe_unused]] auto _ : state) {
    for (const WString& name : names) benchmark::DoNotOptimize(set.get(name, value));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(getEntries)->Arg(20)->Arg(500)->Arg(20000);

void copySet(benchmark::State& state) {
  const SimpleProperties set = setOf(keys(static_cast<std::size_t>(state.range(0))));
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(SimpleProperties(set));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(copySet)->Arg(20)->Arg(20000);

void scanText(benchmark::State& state) {
  std::string text;
  for (const WString& name : keys(500)) text.append(name.view()).append("=a value\n");
  for ([[maybe_unused]] auto _ : state) {
    PropertiesScanner scanner(text);
    for (PropertiesEntry entry; scanner.next(entry);) benchmark::DoNotOptimize(entry);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(scanText);

void replaceVariables(benchmark::State& state) {
  const SimpleProperties none;
  const SimpleProperties set = setOf(keys(500));
  for ([[maybe_unused]] auto _ : state) {
    WString value = "%part3.setting3%/lib:%part4.setting4%/lib";
    ReplaceVariables(value, none, set, none);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(replaceVariables);

}  // namespace
