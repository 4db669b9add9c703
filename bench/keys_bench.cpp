#include <benchmark/benchmark.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "core/context.h"
#include "core/keys/escapes.h"
#include "core/keys/executor.h"
#include "core/keys/parser.h"

namespace {

using namespace tarn;

// Text as hotkey rules and scripts write it: words, punctuation, chords, pauses, buffer
// commands, repeated to the length asked for.
std::string mixedKeysText(std::size_t length) {
    const std::string sample =
        "Hello, World! {enter}{cmd+c}{pause 10}ls -la | grep \"foo\"{tab}"
        "{grab}{trim after ?}{insert before http:{slash}{slash}}Dear Sir_(42)~ ";
    std::string text;
    while (text.size() + sample.size() <= length) text += sample;
    text.append(length - text.size(), 'x');
    return text;
}

void BM_ParseMixedText(benchmark::State& state) {
    std::string text = mixedKeysText(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(keys::parseKeysString(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ParseMixedText)->Arg(10000)->Arg(1000000);

void BM_ParsePlainText(benchmark::State& state) {
    std::string text;
    while (text.size() < 10000) text += "The quick brown fox jumps over the lazy dog. ";
    for (auto _ : state) benchmark::DoNotOptimize(keys::parseKeysString(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ParsePlainText);

void BM_ExpandEscapeSequences(benchmark::State& state) {
    std::string text;
    while (text.size() < 10000) text += "http:{slash}{slash}example.org{slash}a{question}b ";
    for (auto _ : state) benchmark::DoNotOptimize(keys::expandEscapeSequences(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ExpandEscapeSequences);

// Takes key events and pauses and drops them: what is left is the executor's own cost.
class DiscardingDesktop final : public platform::Desktop,
                                public platform::KeyboardOutput,
                                public platform::Clipboard,
                                public platform::Accessibility,
                                public platform::Sleeper {
  public:
    platform::KeyboardOutput& keyboard() override { return *this; }
    platform::Clipboard& clipboard() override { return *this; }
    platform::Accessibility& accessibility() override { return *this; }
    platform::Sleeper& sleeper() override { return *this; }
    platform::WindowSystem& windowSystem() override { throw unused(); }
    platform::Displays& displays() override { throw unused(); }
    platform::Pointer& pointer() override { throw unused(); }
    platform::BrowserServices& browsers() override { throw unused(); }
    platform::ScriptRunner& scripts() override { throw unused(); }

    bool canPost(std::uint16_t) override { return true; }
    void post(const platform::KeyEvent& event) override { benchmark::DoNotOptimize(&event); }
    std::optional<std::string> readText() override { return "copied text"; }
    void writeText(const std::string& text) override { benchmark::DoNotOptimize(&text); }
    bool isTrusted(bool) override { return true; }
    std::string untrustedReason() override { return {}; }
    void sleepMicroseconds(std::uint32_t us) override { benchmark::DoNotOptimize(us); }

  private:
    static std::logic_error unused() { return std::logic_error("not used by the keys"); }
};

void BM_ExecuteThousandKeys(benchmark::State& state) {
    DiscardingDesktop desktop;
    std::ostringstream out, err;
    CommandContext context(out, err, desktop);
    std::string buffer;
    auto actions = keys::parseKeysString(std::string(500, 'a') + std::string(500, 'B'));
    for (auto _ : state) {
        benchmark::DoNotOptimize(keys::executeKeysActions(actions, 42, context, buffer));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * actions.size()));
}
BENCHMARK(BM_ExecuteThousandKeys);

void BM_PasteThousandCharacterBuffer(benchmark::State& state) {
    DiscardingDesktop desktop;
    std::ostringstream out, err;
    CommandContext context(out, err, desktop);
    std::string buffer;
    while (buffer.size() < 1000) buffer += "line of text\n";
    const std::vector<keys::KeyAction> actions = {keys::PasteBuffer{}};
    for (auto _ : state) {
        benchmark::DoNotOptimize(keys::executeKeysActions(actions, std::nullopt, context, buffer));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * buffer.size()));
}
BENCHMARK(BM_PasteThousandCharacterBuffer);

}  // namespace
