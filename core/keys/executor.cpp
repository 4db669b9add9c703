#include "core/keys/executor.h"

#include <algorithm>
#include <ostream>

#include "core/permission.h"
#include "support/unicode_text.h"

namespace tarn::keys {
namespace {

constexpr std::uint32_t kKeyDownMicroseconds = 1000;
constexpr std::uint32_t kKeyUpMicroseconds = 10000;
// Lets a copy chord typed just before {grab} land on the clipboard.
constexpr std::uint32_t kGrabMicroseconds = 100000;

class Runner {
  public:
    Runner(std::optional<std::int64_t> marker, CommandContext& context, std::string& buffer)
        : marker_(marker),
          context_(context),
          keyboard_(context.desktop().keyboard()),
          clipboard_(context.desktop().clipboard()),
          sleeper_(context.desktop().sleeper()),
          buffer_(buffer) {}

    KeysRunResult run(const std::vector<KeyAction>& actions) {
        if (!ensureAccessibilityTrusted(context_)) return KeysRunResult::permissionMissing;
        for (const auto& action : actions) {
            // Keys typed one after another form a run; anything else (a pause, the
            // clipboard) ends it, so the user's modifiers are back while it lasts.
            if (!std::holds_alternative<TypeKey>(action)) endTyping();
            std::visit(*this, action);
            if (permissionLost_) break;
        }
        endTyping();
        return permissionLost_ ? KeysRunResult::permissionMissing : KeysRunResult::completed;
    }

    void operator()(const TypeKey& key) {
        if (!keyboard_.canPost(key.code)) return;
        if (!typing_) keyboard_.beginTyping();
        typing_ = true;
        keyboard_.post({key.code, true, key.flags, marker_});
        sleeper_.sleepMicroseconds(kKeyDownMicroseconds);
        keyboard_.post({key.code, false, key.flags, marker_});
        sleeper_.sleepMicroseconds(kKeyUpMicroseconds);
    }

    void operator()(const Pause& pause) {
        // Strings are checked for the range before they run; a list built elsewhere is held
        // to what the sleep can take.
        auto milliseconds = std::clamp<std::int64_t>(pause.milliseconds, 0, kMaxPauseMilliseconds);
        sleeper_.sleepMicroseconds(static_cast<std::uint32_t>(milliseconds * 1000));
    }

    void operator()(const InsertBefore& insert) { buffer_.insert(0, insert.text); }
    void operator()(const InsertAfter& insert) { buffer_ += insert.text; }

    void operator()(const TrimBefore& trim) {
        if (auto at = find(trim.text)) buffer_.erase(0, *at + trim.text.size());
    }

    void operator()(const TrimAfter& trim) {
        if (auto at = find(trim.text)) buffer_.erase(*at);
    }

    void operator()(const GrabClipboard&) {
        sleeper_.sleepMicroseconds(kGrabMicroseconds);
        buffer_ = support::repairUtf8(clipboard_.readText().value_or(""));
    }

    void operator()(const PutToClipboard&) { clipboard_.writeText(buffer_); }
    // The buffer is typed as keys-language text, each line feed as an Enter press.
    void operator()(const PasteBuffer&) {
        if (pasteDepth_ >= kMaxPasteDepth) {
            context_.err << "Error parsing buffer for paste: {paste} nested more than "
                         << kMaxPasteDepth << " deep\n";
            return;
        }
        std::string text;
        text.reserve(buffer_.size());
        for (char c : buffer_) {
            if (c == '\n') {
                text += "{enter}";
            } else {
                text += c;
            }
        }
        std::vector<KeyAction> actions;
        try {
            actions = parseKeysStringForExecution(text);
        } catch (const KeysParseError& error) {
            context_.err << "Error parsing buffer for paste: " << error.what() << '\n';
            return;
        }
        ++pasteDepth_;
        permissionLost_ = run(actions) == KeysRunResult::permissionMissing;
        --pasteDepth_;
    }

  private:
    void endTyping() {
        if (typing_) keyboard_.endTyping();
        typing_ = false;
    }

    // The first occurrence, byte for byte; an empty text occurs nowhere.
    std::optional<std::size_t> find(const std::string& text) const {
        if (text.empty()) return std::nullopt;
        auto at = buffer_.find(text);
        if (at == std::string::npos) return std::nullopt;
        return at;
    }

    std::optional<std::int64_t> marker_;
    CommandContext& context_;
    platform::KeyboardOutput& keyboard_;
    platform::Clipboard& clipboard_;
    platform::Sleeper& sleeper_;
    std::string& buffer_;
    int pasteDepth_ = 0;  // how many pasted buffers the current action lies within
    bool permissionLost_ = false;
    bool typing_ = false;  // between the keyboard's beginTyping and endTyping
};

}  // namespace

KeysRunResult executeKeysActions(const std::vector<KeyAction>& actions,
                                 std::optional<std::int64_t> marker, CommandContext& context,
                                 std::string& buffer) {
    return Runner(marker, context, buffer).run(actions);
}

}  // namespace tarn::keys
