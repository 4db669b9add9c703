// The X11 key source on the private server of with-x11.sh: chords pressed with xdotool (an
// XTest client of its own), what the test client received read from its log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <mutex>

#include "platform/x11/key_source.h"
#include "platform/x11/x11_desktop.h"
#include "tests/common/temp_dir.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using platform::Chord;
using platform::ChordGrab;
using platform::ChordStatus;
using platform::KeyDown;
using platform::KeyVerdict;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
namespace keyflags = platform::keyflags;

// macOS key codes and chord modifier bits (shift 1, control 2, option 4, command 8).
constexpr std::int64_t kT = 17, kA = 0, kRight = 124, kF13 = 105, kIsoSection = 10;
constexpr std::uint32_t kCtrlAlt = 2 | 4;
constexpr std::uint64_t kCtrlAltFlags = keyflags::control | keyflags::option;
constexpr std::uint64_t kChordBits =
    keyflags::shift | keyflags::control | keyflags::option | keyflags::command;

class KeySourceTest : public ::testing::Test {
  protected:
    void start(std::vector<Chord> chords, KeyVerdict verdict) {
        source_->setChords(std::move(chords));
        std::string error;
        ASSERT_TRUE(source_->start(
            [this, verdict](const KeyDown& key) {
                std::lock_guard guard(lock_);
                seen_.push_back(key);
                return verdict;
            },
            [this](const std::string& reason) {
                std::lock_guard guard(lock_);
                lost_.push_back(reason);
            },
            error))
            << error;
    }

    std::vector<KeyDown> seen(std::size_t atLeast = 0) {
        eventually([&] {
            std::lock_guard guard(lock_);
            return seen_.size() >= atLeast;
        });
        std::lock_guard guard(lock_);
        return seen_;
    }

    // Presses keys with xdotool, then a space the client always gets: once that has arrived,
    // whatever the client was going to get from the keys before it has arrived too.
    std::vector<std::string> typeAndSettle(const TestApp& app, const std::string& keys) {
        std::vector<std::string> command{"xdotool", "key"};
        for (std::size_t at = 0; at < keys.size();) {
            auto end = std::min(keys.find(' ', at), keys.size());
            command.push_back(keys.substr(at, end - at));
            at = end + 1;
        }
        const std::size_t before = app.keys().size();
        if (command.size() > 2) {
            EXPECT_EQ(run(command).status, 0) << keys;
        }
        EXPECT_EQ(run({"xdotool", "key", "space"}).status, 0);
        eventually([&] {
            auto got = app.keys();
            return got.size() > before && got.back().starts_with("key space");
        });
        auto got = app.keys();
        got.erase(got.begin(), got.begin() + static_cast<std::ptrdiff_t>(before));
        if (!got.empty()) got.pop_back();
        return got;
    }

    tarn::testing::TempDir dir_;
    std::unique_ptr<platform::KeySource> source_ = platform::x11::makeKeySource(display());
    std::mutex lock_;
    std::vector<KeyDown> seen_;
    std::vector<std::string> lost_;
};

std::string threadNames() {
    std::string names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream comm(task.path() / "comm");
        std::string name;
        std::getline(comm, name);
        names += name + "\n";
    }
    return names;
}

TEST_F(KeySourceTest, SwallowKeepsTheKeyFromTheWindowAndPassHandsItOn) {
    struct Row {
        KeyVerdict verdict;
        std::vector<std::string> clientGets;
    };
    const Row rows[] = {
        {KeyVerdict::pass, {"key t 0xc"}},
        {KeyVerdict::swallow, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.verdict == KeyVerdict::swallow ? "swallow" : "pass");
        seen_.clear();
        auto app = startApp(dir_, {});
        start({{kT, kCtrlAlt}, {kRight, 8}}, row.verdict);
        EXPECT_THAT(threadNames(), HasSubstr("KeystrokeInterc\n"));

        EXPECT_EQ(typeAndSettle(app, "ctrl+alt+t"), row.clientGets) << app.logText();
        auto keys = seen(1);
        ASSERT_EQ(keys.size(), 1u);
        EXPECT_EQ(keys[0].keyCode, kT);
        EXPECT_EQ(keys[0].flags & kChordBits, kCtrlAltFlags);
        EXPECT_EQ(keys[0].marker, std::nullopt);
        source_->stop();
    }
}

// Lock keys are on, each alone and together: the chord still fires, and says which locks.
TEST_F(KeySourceTest, ChordFiresWhateverTheLockKeys) {
    auto app = startApp(dir_, {});
    start({{kT, kCtrlAlt}}, KeyVerdict::swallow);
    struct Row {
        const char* toggle;
        std::uint64_t locks;
    };
    const Row rows[] = {
        {"Num_Lock", platform::x11::kNumLockFlag},
        {"Caps_Lock", platform::x11::kNumLockFlag | platform::x11::kCapsLockFlag},
        {"Num_Lock", platform::x11::kCapsLockFlag},
    };
    std::size_t presses = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.toggle);
        ASSERT_EQ(run({"xdotool", "key", row.toggle}).status, 0);
        EXPECT_EQ(run({"xdotool", "key", "ctrl+alt+t"}).status, 0);
        auto keys = seen(++presses);
        ASSERT_EQ(keys.size(), presses);
        EXPECT_EQ(keys.back().flags & kChordBits, kCtrlAltFlags);
        EXPECT_EQ(keys.back().flags & ~kChordBits, row.locks);
    }
    EXPECT_THAT(app.keys(), ElementsAre());
}

TEST_F(KeySourceTest, NewSetsAreGrabbedAndRemovedChordsReachTheWindowAgain) {
    auto app = startApp(dir_, {});
    start({{kT, kCtrlAlt}}, KeyVerdict::swallow);
    EXPECT_EQ(typeAndSettle(app, "ctrl+alt+t"), std::vector<std::string>{});

    const std::vector<ChordStatus> next{{{kA, kCtrlAlt}, ChordGrab::grabbed}};
    source_->setChords({{kA, kCtrlAlt}});
    ASSERT_TRUE(eventually([&] { return source_->chordStatus() == next; }));
    EXPECT_THAT(typeAndSettle(app, "ctrl+alt+t ctrl+alt+a"), ElementsAre("key t 0xc"));
    auto keys = seen(2);
    ASSERT_EQ(keys.size(), 2u) << app.logText();
    EXPECT_EQ(keys[1].keyCode, kA);
}

TEST_F(KeySourceTest, KeymapChangeRegrabsByTheNewKeymap) {
    auto app = startApp(dir_, {});
    start({{kT, kCtrlAlt}}, KeyVerdict::swallow);
    const int t = keyCodeOf("t");
    const int y = keyCodeOf("y");
    ASSERT_TRUE(t && y);
    ASSERT_EQ(run({"xmodmap", "-e", "keycode " + std::to_string(t) + " = y Y", "-e",
                   "keycode " + std::to_string(y) + " = t T"})
                  .status,
              0);
    ASSERT_EQ(keyCodeOf("t"), y);

    // The chord follows its symbol to the other key; the key it left types y again.
    bool fired = eventually([&] {
        run({"xdotool", "key", "ctrl+alt+t"});
        return !seen().empty();
    });
    EXPECT_TRUE(fired);
    EXPECT_EQ(seen().front().keyCode, kT);
    EXPECT_THAT(typeAndSettle(app, "ctrl+alt+y"), ElementsAre("key y 0xc"));
}

TEST_F(KeySourceTest, ChordsHeldElsewhereOrWithoutAKeyAreReportedAndTheOthersWork) {
    auto other = startApp(dir_, {"--grab", "t", "c"}, Until::managed);
    ASSERT_TRUE(eventually([&] { return other.logText().find("grabbed") != std::string::npos; }));
    start({{kT, kCtrlAlt}, {kA, kCtrlAlt}, {kF13, 0}, {kIsoSection, 0}}, KeyVerdict::swallow);

    auto status = source_->chordStatus();
    std::sort(status.begin(), status.end(),
              [](const ChordStatus& a, const ChordStatus& b) { return a.chord < b.chord; });
    EXPECT_THAT(status, ElementsAre(ChordStatus{{kA, kCtrlAlt}, ChordGrab::grabbed},
                                    ChordStatus{{kIsoSection, 0}, ChordGrab::noKey},
                                    ChordStatus{{kT, kCtrlAlt}, ChordGrab::takenByOther},
                                    ChordStatus{{kF13, 0}, ChordGrab::noKey}));
    auto app = startApp(dir_, {});
    EXPECT_EQ(typeAndSettle(app, "ctrl+alt+a"), std::vector<std::string>{});
    ASSERT_EQ(seen(1).size(), 1u);
    EXPECT_EQ(seen()[0].keyCode, kA);
}

// The agent types the chord through the X11 keyboard output with its marker: the key-down
// carries it. xdotool typing the same chord is somebody else's.
TEST_F(KeySourceTest, OwnTypedKeysCarryTheMarkerAndOthersDoNot) {
    auto app = startApp(dir_, {});
    start({{kT, kCtrlAlt}}, KeyVerdict::pass);
    auto choice = platform::x11::openX11Desktop(display(), nullptr, nullptr);
    ASSERT_TRUE(choice.desktop) << choice.error;
    auto& keyboard = choice.desktop->keyboard();
    for (bool down : {true, false}) {
        keyboard.post({.keyCode = kT, .down = down, .flags = kCtrlAltFlags, .marker = 42});
    }
    ASSERT_EQ(seen(1).size(), 1u);
    EXPECT_EQ(run({"xdotool", "key", "ctrl+alt+t"}).status, 0);

    auto keys = seen(2);
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[0].marker, 42);
    EXPECT_EQ(keys[1].marker, std::nullopt);
    EXPECT_TRUE(eventually([&] { return app.keys().size() >= 2; }));
    EXPECT_THAT(app.keys(), ElementsAre("key t 0xc", "key t 0xc"));
}

TEST_F(KeySourceTest, ServerGoingAwayIsReportedOnceAndTheProcessLivesOn) {
    start({{kT, kCtrlAlt}}, KeyVerdict::swallow);
    ASSERT_EQ(::kill(serverPid(), SIGTERM), 0);
    ASSERT_TRUE(eventually([&] {
        std::lock_guard guard(lock_);
        return !lost_.empty();
    }));
    auto before = std::chrono::steady_clock::now();
    source_->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
    ASSERT_EQ(lost_.size(), 1u);
    EXPECT_THAT(lost_[0], HasSubstr("lost the connection to the X server on display " + display()));
}

}  // namespace
}  // namespace tarn::x11test
