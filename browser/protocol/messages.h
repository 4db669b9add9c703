#pragma once

// What tarn, the native host and the browser extension say to each other. Every message is
// a 4-byte little-endian length and that many bytes of UTF-8 JSON: the framing browsers use
// with a native host, kept on tarn's socket too so the host checks one format only.
//
//   tarn -> host -> extension   {"id": 1, "command": "list"}
//                               {"id": 2, "command": "select", "window": 5, "tab": 9}
//                               {"id": 3, "command": "open", "url": "https://..."}
//   extension -> host -> tarn   {"id": 1, "windows": [{"id": 5, "tabs": [{"id": 9,
//                                   "url": "...", "title": "..."}]}]}   (front window first)
//                               {"id": 2, "ok": true}
//                               {"id": 3, "error": "what went wrong"}

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::browser {

// The name browsers know the host by, in its manifests.
inline constexpr const char* kHostName = "tarn.browser_tab";
// The extension's fixed ids: Chromium derives it from the manifest's key, Firefox reads
// its gecko id. The host answers these and no other extension.
inline constexpr const char* kChromiumExtensionId = "iefhcegpbhjeoiidjdgkecjbjodkjjbh";
inline constexpr const char* kFirefoxExtensionId = "browser-tab@tarn.invalid";

// Browsers refuse messages from a host above 1 MiB; a request is far smaller. An answer
// lists every tab's address and title, which a few thousand long addresses can make large.
inline constexpr std::size_t kMaxRequest = std::size_t{1} << 20;
inline constexpr std::size_t kMaxAnswer = std::size_t{16} << 20;

enum class FrameError { tooLarge, truncated };

// Splits a byte stream into messages. Bytes go in as they arrive; each complete message
// comes out once. A length above the limit poisons the stream: nothing after it can be
// trusted to start a message.
class FrameReader {
  public:
    explicit FrameReader(std::size_t limit) : limit_(limit) {}

    void feed(std::string_view bytes) { buffer_.append(bytes); }

    struct Next {
        std::optional<std::string> message;
        std::optional<FrameError> error;
    };
    // The next whole message, nothing when more bytes are needed, or an error.
    Next next();
    // At the end of the stream: truncated when a message was cut short.
    std::optional<FrameError> finish() const;

  private:
    std::size_t limit_;
    std::string buffer_;
    bool poisoned_ = false;
};

std::string frame(std::string_view json);

enum class Command { list, select, open };

struct Request {
    std::int64_t id = 0;
    Command command = Command::list;
    std::int64_t window = 0;  // select
    std::int64_t tab = 0;     // select
    std::string url;          // open
};

struct Tab {
    std::int64_t id = 0;
    std::string url;
    std::string title;
};

struct Window {
    std::int64_t id = 0;
    std::vector<Tab> tabs;
};

struct Answer {
    std::int64_t id = 0;
    std::optional<std::string> error;
    std::optional<std::vector<Window>> windows;  // the answer to list
};

std::string writeRequest(const Request& request);
std::string writeAnswer(const Answer& answer);

// Absent when the text is not JSON or not of the shape above (a missing or mistyped
// member, an unknown command, an id that is not a whole number).
std::optional<Request> parseRequest(std::string_view json);
std::optional<Answer> parseAnswer(std::string_view json);

}  // namespace tarn::browser
