#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <future>

#include "browser/host/host.h"
#include "browser/protocol/channel.h"
#include "browser/protocol/messages.h"
#include "tests/common/temp_dir.h"

namespace tarn::browser {
namespace {

// The host between a pretend browser (two pipes) and tarn (connections to its socket).
class HostTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(::pipe(toHost_), 0);
        ASSERT_EQ(::pipe(fromHost_), 0);
        std::string error;
        auto fd = listenAt(socket_, error);
        ASSERT_TRUE(fd) << error;
        listening_ = std::move(*fd);
        log_ = std::tmpfile();
        served_ = std::async(std::launch::async, [this] {
            return serve(toHost_[0], fromHost_[1], listening_.get(), log_);
        });
    }
    void TearDown() override {
        if (toHost_[1] >= 0) ::close(toHost_[1]);
        if (served_.valid()) served_.wait();
        for (int fd : {toHost_[0], fromHost_[0], fromHost_[1]}) ::close(fd);
        std::fclose(log_);
    }

    // The browser ends the host: its status.
    int browserCloses(std::string_view last = {}) {
        writeAll(toHost_[1], last);
        ::close(toHost_[1]);
        toHost_[1] = -1;
        return served_.get();
    }
    void browserSends(std::string_view bytes) { ASSERT_TRUE(writeAll(toHost_[1], bytes)); }
    std::string browserReceives() {
        FrameReader reader{kMaxRequest};
        char buffer[4096];
        for (;;) {
            if (auto next = reader.next(); next.message) return *next.message;
            ssize_t got = ::read(fromHost_[0], buffer, sizeof buffer);
            if (got <= 0) return "";
            reader.feed({buffer, static_cast<std::size_t>(got)});
        }
    }

    UniqueFd connect() { return connectTo(socket_).second; }
    // Everything the host answers before it closes the connection.
    static std::string reply(const UniqueFd& client) {
        std::string bytes;
        char buffer[4096];
        ssize_t got;
        while ((got = ::read(client.get(), buffer, sizeof buffer)) > 0) bytes.append(buffer, got);
        return bytes;
    }

    testing::TempDir dir_;
    std::filesystem::path socket_ = dir_.path() / "chromium-1.sock";
    int toHost_[2] = {-1, -1}, fromHost_[2] = {-1, -1};
    UniqueFd listening_;
    std::FILE* log_ = nullptr;
    std::future<int> served_;
};

TEST_F(HostTest, RequestGoesToTheBrowserAndItsAnswerBack) {
    auto client = connect();
    const std::string request = R"({"id":7,"command":"select","window":2,"tab":3})";
    ASSERT_TRUE(writeAll(client.get(), frame(request)));
    EXPECT_EQ(browserReceives(), request);
    // An answer to another request and a malformed one are dropped on the way.
    browserSends(frame(R"({"id":6,"ok":true})") + frame(R"({"id":7,"windows":"x"})") +
                 frame(R"({"id":7,"ok":true})"));
    EXPECT_EQ(reply(client), frame(R"({"id":7,"ok":true})"));
    EXPECT_EQ(browserCloses(), 0);
}

// Each is answered with an error and the host goes on serving the next connection.
TEST_F(HostTest, BadRequestsAreRefusedWithoutEndingTheHost) {
    const std::pair<std::string, std::string> cases[] = {
        {frame("{"), R"({"id":0,"error":"malformed request"})"},
        {frame(R"({"id":1,"command":"fly"})"), R"({"id":0,"error":"malformed request"})"},
        {frame(R"({"id":"1","command":"list"})"), R"({"id":0,"error":"malformed request"})"},
        {frame(R"({"id":1,"command":"open"})"), R"({"id":0,"error":"malformed request"})"},
        {frame(R"([1])"), R"({"id":0,"error":"malformed request"})"},
        {std::string("\xff\xff\xff\x7f{", 5), R"({"id":0,"error":"request too large"})"},
        {frame(R"({"id":1,"command":"list"})").substr(0, 9), ""},  // cut short, then closed
    };
    for (const auto& [sent, answer] : cases) {
        auto client = connect();
        ASSERT_TRUE(writeAll(client.get(), sent));
        ::shutdown(client.get(), SHUT_WR);
        EXPECT_EQ(reply(client), answer.empty() ? "" : frame(answer)) << sent;
    }
    EXPECT_EQ(browserCloses(), 0);
}

TEST_F(HostTest, RequestTheBrowserNoLongerReadsIsAnsweredWithAnError) {
    std::signal(SIGPIPE, SIG_IGN);  // as the host's program does
    ::close(std::exchange(fromHost_[0], -1));
    auto client = connect();
    ASSERT_TRUE(writeAll(client.get(), frame(R"({"id":4,"command":"list"})")));
    EXPECT_EQ(reply(client),
              frame(R"({"id":4,"error":"the browser closed the extension's host"})"));
    EXPECT_EQ(browserCloses(), 0);
}

TEST_F(HostTest, BrokenStreamFromTheBrowserEndsTheHost) {
    EXPECT_EQ(browserCloses(std::string("\x01\x00\x00\x01", 4)), 1);  // above the limit
}

TEST_F(HostTest, MessageCutShortByTheBrowserEndsTheHostQuietly) {
    EXPECT_EQ(browserCloses(frame(R"({"id":1,"ok":true})").substr(0, 6)), 0);
}

TEST(HostCallerTest, AnswersOnlyTarnsExtension) {
    const std::string chromium = std::string("chrome-extension://") + kChromiumExtensionId + "/";
    EXPECT_TRUE(pinnedCaller({"host", chromium}));
    EXPECT_TRUE(pinnedCaller({"host", "/path/manifest.json", kFirefoxExtensionId}));
    EXPECT_FALSE(pinnedCaller({"host", "chrome-extension://aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa/"}));
    EXPECT_FALSE(pinnedCaller({"host", "/path/manifest.json", "other@example.org"}));
    EXPECT_FALSE(pinnedCaller({"host"}));
}

TEST(SocketNameTest, ProgramComesBackOnlyFromOurNames) {
    EXPECT_EQ(socketProgram(socketName("firefox-esr", 42)), "firefox-esr");
    for (const char* other :
         {"chromium.sock", "chromium-.sock", "-1.sock", "chromium-1x.sock", "chromium-1.lock"}) {
        EXPECT_FALSE(socketProgram(other)) << other;
    }
}

}  // namespace
}  // namespace tarn::browser
