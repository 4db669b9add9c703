// The X11 key source on the private server of with-x11.sh: chords pressed with xdotool (an
// XTest client of its own), what the test client received read from its log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

#include "platform/x11/key_source.h"
#include "support/files.h"
#include "tests/x11/harness.h"

namespace tarn::x11test {
namespace {

using platform::ChordGrab;
using platform::ChordStatus;
using platform::KeyDown;
using platform::KeyVerdict;
using ::testing::ElementsAre;
namespace keyflags = platform::keyflags;

// macOS key codes and chord modifier bits (shift 1, control 2, option 4, command 8).
constexpr std::int64_t kT = 17, kA = 0, kRight = 124, kF13 = 105, kIsoSection = 10;
constexpr std::uint32_t kCtrlAlt = 2 | 4;
constexpr std::uint64_t kChordBits =
    keyflags::shift | keyflags::control | keyflags::option | keyflags::command;

class KeySourceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(source_->start(
            [this](const KeyDown& key) {
                std::lock_guard guard(lock_);
                seen_.push_back(key);
                return verdict_.load();
            },
            [](const std::string&) {}, error))
            << error;
    }
    void TearDown() override { source_->stop(); }

    std::vector<KeyDown> seen(std::size_t atLeast) {
        eventually([&] {
            std::lock_guard guard(lock_);
            return seen_.size() >= atLeast;
        });
        std::lock_guard guard(lock_);
        return seen_;
    }

    // Installs the chords; once the key source has answered for each, their statuses sorted.
    std::vector<ChordStatus> install(const std::vector<platform::Chord>& chords) {
        source_->setChords(chords);
        std::vector<ChordStatus> status;
        eventually([&] {
            status = source_->chordStatus();
            return status.size() == chords.size() &&
                   std::ranges::all_of(status, [&](const ChordStatus& s) {
                       return std::ranges::find(chords, s.chord) != chords.end();
                   });
        });
        std::ranges::sort(status, {}, &ChordStatus::chord);
        return status;
    }

    // Presses a chord with xdotool, then a space the client always gets: once that has
    // arrived, whatever the client was going to get from the chord has arrived too.
    std::vector<std::string> typeAndSettle(const std::string& chord) {
        const std::size_t before = app_.keys().size();
        EXPECT_EQ(run({"xdotool", "key", chord, "space"}).status, 0) << chord;
        eventually([&] {
            return app_.keys().size() > before && app_.keys().back().starts_with("key space");
        });
        auto got = app_.keys();
        got.erase(got.begin(), got.begin() + static_cast<std::ptrdiff_t>(before));
        if (!got.empty()) got.pop_back();
        return got;
    }

    tarn::testing::TempDir dir_;
    std::unique_ptr<platform::KeySource> source_ = platform::x11::makeKeySource(display());
    TestApp app_ = startApp(dir_, {});
    std::mutex lock_;
    std::vector<KeyDown> seen_;
    std::atomic<KeyVerdict> verdict_{KeyVerdict::swallow};
};

// Swallowed or handed on to the window, whatever the lock keys (turned on and off in turn
// as the rows go): the chord fires and says which locks are on.
TEST_F(KeySourceTest, ChordsFireWhateverTheLocksAndAreSwallowedOrPassed) {
    ASSERT_EQ(install({{kT, kCtrlAlt}, {kRight, 8}}).size(), 2u);
    std::string threads;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        threads += support::readFile(task.path() / "comm").value_or("");
    }
    EXPECT_THAT(threads, ::testing::HasSubstr("KeystrokeInterc\n"));
    using platform::x11::kCapsLockFlag;
    using platform::x11::kNumLockFlag;
    struct Row {
        const char* toggle;
        std::uint64_t locks;
        KeyVerdict verdict;
        std::vector<std::string> clientGets;
    };
    const Row rows[] = {
        {nullptr, 0, KeyVerdict::pass, {"key t 0xc"}},
        {nullptr, 0, KeyVerdict::swallow, {}},
        {"Num_Lock", kNumLockFlag, KeyVerdict::pass, {"key t 0x1c"}},
        {"Caps_Lock", kNumLockFlag | kCapsLockFlag, KeyVerdict::swallow, {}},
        {"Num_Lock", kCapsLockFlag, KeyVerdict::swallow, {}},
    };
    std::size_t presses = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::Message() << "row " << presses);
        if (row.toggle) run({"xdotool", "key", row.toggle});
        verdict_ = row.verdict;
        EXPECT_EQ(typeAndSettle("ctrl+alt+t"), row.clientGets) << app_.logText();
        auto keys = seen(++presses);
        ASSERT_EQ(keys.size(), presses);
        EXPECT_EQ(keys.back().keyCode, kT);
        EXPECT_EQ(keys.back().flags & kChordBits, keyflags::control | keyflags::option);
        EXPECT_EQ(keys.back().flags & ~kChordBits, row.locks);
        EXPECT_EQ(keys.back().marker, std::nullopt);
    }
}

// A new set is grabbed and the chords it drops reach the window again; a chord another
// client holds or whose key the keymap lacks is reported; a keymap change regrabs by the
// new keymap.
TEST_F(KeySourceTest, ChordSetAndKeymapChangesAreFollowed) {
    install({{kT, kCtrlAlt}});
    EXPECT_THAT(typeAndSettle("ctrl+alt+t"), ElementsAre());

    auto other = startApp(dir_, {"--grab", "a", "c"}, Until::managed);
    ASSERT_TRUE(eventually([&] { return other.logged("grabbed"); }));
    run({"xdotool", "windowactivate", std::to_string(app_.window())});
    ASSERT_TRUE(eventually([&] { return activeWindow() == app_.window(); }));
    EXPECT_THAT(install({{kA, kCtrlAlt}, {kRight, kCtrlAlt}, {kF13, 0}, {kIsoSection, 0}}),
                ElementsAre(ChordStatus{{kA, kCtrlAlt}, ChordGrab::takenByOther},
                            ChordStatus{{kIsoSection, 0}, ChordGrab::noKey},
                            ChordStatus{{kF13, 0}, ChordGrab::noKey},
                            ChordStatus{{kRight, kCtrlAlt}, ChordGrab::grabbed}));
    EXPECT_THAT(typeAndSettle("ctrl+alt+t"), ElementsAre("key t 0xc"));
    EXPECT_THAT(typeAndSettle("ctrl+alt+Right"), ElementsAre());
    ASSERT_EQ(seen(2).size(), 2u);
    EXPECT_EQ(seen(2)[1].keyCode, kRight);

    // Right and Left trade places: the chord follows its symbol to the other key, the key it
    // left types Right again.
    const int right = keyCodeOf("Right"), left = keyCodeOf("Left");
    ASSERT_TRUE(right && left);
    ASSERT_EQ(run({"xmodmap", "-e", "keycode " + std::to_string(right) + " = Left", "-e",
                   "keycode " + std::to_string(left) + " = Right"})
                  .status,
              0);
    EXPECT_TRUE(eventually([&] {
        run({"xdotool", "key", "ctrl+alt+Right"});
        return seen(3).size() >= 3;
    }));
    EXPECT_EQ(seen(3).back().keyCode, kRight);
    EXPECT_THAT(typeAndSettle("ctrl+alt+Left"), ElementsAre("key Left 0xc"));
}

}  // namespace
}  // namespace tarn::x11test
