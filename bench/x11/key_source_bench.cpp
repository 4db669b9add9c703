// The X11 key source's own cost, on a private server:
//   tests/x11/with-x11.sh build/default/bench/tarn_x11_key_source_bench [presses [chords]]
// - start-up: start() with 1,000 chords grabbed (connection, modifier mapping, every grab);
// - per key-down: the key source thread's CPU time per grabbed key-down (read on that thread
//   in the callback, so it counts exactly the thread's own work: reading the event, finding
//   the chord, the ledger, answering the server), and the time from an XTest key-down
//   leaving a client to the callback running (median, p90, p99).
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <vector>

#include "platform/x11/key_source.h"
#include "platform/x11/keyboard.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace tarn::platform;

double threadCpuMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e6 + now.tv_nsec / 1e3;
}

double percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(p * (values.size() - 1))];
}

}  // namespace

int main(int argc, char** argv) {
    const int presses = argc > 1 ? std::atoi(argv[1]) : 1000;
    const std::size_t wanted = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 1000;
    const char* display = std::getenv("DISPLAY");
    if (!display) {
        std::fprintf(stderr, "DISPLAY is not set (run through tests/x11/with-x11.sh)\n");
        return 1;
    }

    // 1,000 chords (or as many as asked): every key of the table under every set of the four
    // modifiers in turn, the modifier keys themselves excepted (the presses hold two of them).
    const Chord target{0, 2 | 4};  // control+option+a, pressed below
    std::vector<Chord> chords{target};
    for (std::uint32_t modifiers = 0; modifiers < 16 && chords.size() < wanted; ++modifiers) {
        for (std::int64_t code = 0; code < 128 && chords.size() < wanted; ++code) {
            bool modifierKey = code >= 54 && code <= 63;
            bool known =
                tarn::platform::keySymForMacKey(static_cast<std::uint16_t>(code)) != NoSymbol;
            Chord chord{code, modifiers};
            if (!modifierKey && known && !(chord == target)) chords.push_back(chord);
        }
    }

    std::mutex lock;
    std::condition_variable arrived;
    int count = 0;
    Clock::time_point callbackAt;
    double firstCpu = 0, lastCpu = 0;

    auto source = x11::makeKeySource(display, std::make_shared<MarkerLedger>());
    source->setChords(chords);
    std::string error;
    auto before = Clock::now();
    bool started = source->start(
        [&](const KeyDown&) {
            double cpu = threadCpuMicroseconds();
            std::lock_guard guard(lock);
            if (count == 0) firstCpu = cpu;
            lastCpu = cpu;
            ++count;
            callbackAt = Clock::now();
            arrived.notify_one();
            return KeyVerdict::swallow;
        },
        nullptr, error);
    auto startup = std::chrono::duration<double, std::milli>(Clock::now() - before).count();
    if (!started) {
        std::fprintf(stderr, "start failed: %s\n", error.c_str());
        return 1;
    }
    int grabbed = 0;
    for (const auto& status : source->chordStatus()) grabbed += status.state == ChordGrab::grabbed;
    std::printf("start-up with %zu chords (%d grabbed): %.1f ms\n", chords.size(), grabbed,
                startup);
    bool targetGrabbed = false;
    for (const auto& status : source->chordStatus()) {
        targetGrabbed |= status.chord == target && status.state == ChordGrab::grabbed;
    }
    if (!targetGrabbed) {
        std::fprintf(stderr, "control+option+a is not grabbed\n");
        return 1;
    }

    // A client of its own presses control+alt+a again and again.
    Display* client = XOpenDisplay(display);
    const KeyCode control = XKeysymToKeycode(client, XK_Control_L);
    const KeyCode alt = XKeysymToKeycode(client, XK_Alt_L);
    const KeyCode a = XKeysymToKeycode(client, XK_a);
    XTestFakeKeyEvent(client, control, True, CurrentTime);
    XTestFakeKeyEvent(client, alt, True, CurrentTime);
    XSync(client, False);
    std::vector<double> latencies;
    for (int i = 0; i < presses; ++i) {
        auto sent = Clock::now();
        XTestFakeKeyEvent(client, a, True, CurrentTime);
        XFlush(client);
        std::unique_lock guard(lock);
        if (!arrived.wait_for(guard, std::chrono::seconds(2), [&] { return count > i; })) {
            std::fprintf(stderr, "key-down %d never reached the callback\n", i);
            return 1;
        }
        latencies.push_back(std::chrono::duration<double, std::micro>(callbackAt - sent).count());
        guard.unlock();
        XTestFakeKeyEvent(client, a, False, CurrentTime);
        XSync(client, False);
    }
    XTestFakeKeyEvent(client, alt, False, CurrentTime);
    XTestFakeKeyEvent(client, control, False, CurrentTime);
    XSync(client, False);
    // For scale: what one round trip to the server costs here (start-up makes about one per
    // chord, for its XInput2 grab).
    std::vector<double> roundTrips;
    for (int i = 0; i < 200; ++i) {
        auto sent = Clock::now();
        XSync(client, False);
        roundTrips.push_back(
            std::chrono::duration<double, std::micro>(Clock::now() - sent).count());
    }
    XCloseDisplay(client);
    source->stop();

    std::printf("callbacks: %d for %d presses\n", count, presses);
    std::printf("key source thread CPU per grabbed key-down: %.1f us (%d presses)\n",
                (lastCpu - firstCpu) / (presses - 1), presses);
    std::printf("XTest key-down to callback: median %.0f us, p90 %.0f us, p99 %.0f us\n",
                percentile(latencies, 0.5), percentile(latencies, 0.9),
                percentile(latencies, 0.99));
    std::printf("one X round trip: median %.0f us, p90 %.0f us\n", percentile(roundTrips, 0.5),
                percentile(roundTrips, 0.9));
    return 0;
}
