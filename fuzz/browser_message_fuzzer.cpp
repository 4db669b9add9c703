// Feeds arbitrary bytes to the native host's message reader as a browser or tarn would send
// them, cut into pieces at arbitrary places. Every message that comes out is within the
// limit; every request and answer that parses writes back to a text that parses the same.
#include <string>

#include "browser/protocol/messages.h"
#include "fuzz/fuzz_check.h"

namespace {

using namespace tarn::browser;
using tarn::fuzz::check;

bool sameAnswer(const Answer& a, const Answer& b) {
    if (a.id != b.id || a.error != b.error || a.windows.has_value() != b.windows.has_value()) {
        return false;
    }
    if (!a.windows) return true;
    if (a.windows->size() != b.windows->size()) return false;
    for (std::size_t w = 0; w < a.windows->size(); ++w) {
        const auto& x = (*a.windows)[w];
        const auto& y = (*b.windows)[w];
        if (x.id != y.id || x.tabs.size() != y.tabs.size()) return false;
        for (std::size_t t = 0; t < x.tabs.size(); ++t) {
            if (x.tabs[t].id != y.tabs[t].id || x.tabs[t].url != y.tabs[t].url ||
                x.tabs[t].title != y.tabs[t].title) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace

TARN_FUZZ_TARGET(input) {
    if (input.empty()) return;
    // The first byte sets how the stream is cut and which limit the reader has.
    const std::size_t piece = 1 + static_cast<unsigned char>(input[0]) % 64;
    const std::size_t limit = input[0] & 0x40 ? kMaxRequest : 64;
    input.remove_prefix(1);
    FrameReader reader{limit};
    for (std::size_t at = 0; at <= input.size(); at += piece) {
        reader.feed(input.substr(at, piece));
        for (;;) {
            auto next = reader.next();
            if (!next.message) break;
            check(!next.error && next.message->size() <= limit);
            if (auto request = parseRequest(*next.message)) {
                auto again = parseRequest(writeRequest(*request));
                check(again && again->id == request->id && again->command == request->command &&
                      again->window == request->window && again->tab == request->tab &&
                      again->url == request->url);
            }
            if (auto answer = parseAnswer(*next.message)) {
                auto again = parseAnswer(writeAnswer(*answer));
                check(again && sameAnswer(*again, *answer));
            }
        }
    }
}
