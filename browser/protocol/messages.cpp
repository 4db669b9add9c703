#include "browser/protocol/messages.h"

#include "support/json_text.h"

namespace tarn::browser {
namespace {

using support::Json;

constexpr std::size_t kLengthBytes = 4;

std::optional<std::int64_t> wholeNumber(const Json& object, const char* name) {
    auto it = object.find(name);
    if (it == object.end() || !it->is_number_integer()) return std::nullopt;
    return it->get<std::int64_t>();
}

std::optional<std::string> text(const Json& object, const char* name) {
    auto it = object.find(name);
    if (it == object.end() || !it->is_string()) return std::nullopt;
    return it->get<std::string>();
}

std::optional<Json> object(std::string_view json) {
    auto parsed = support::parseJson(json);
    if (!parsed || !parsed->is_object()) return std::nullopt;
    return parsed;
}

std::optional<std::vector<Window>> windows(const Json& list) {
    if (!list.is_array()) return std::nullopt;
    std::vector<Window> result;
    for (const Json& window : list) {
        if (!window.is_object()) return std::nullopt;
        auto id = wholeNumber(window, "id");
        auto tabs = window.find("tabs");
        if (!id || tabs == window.end() || !tabs->is_array()) return std::nullopt;
        Window& added = result.emplace_back(Window{*id, {}});
        for (const Json& tab : *tabs) {
            if (!tab.is_object()) return std::nullopt;
            auto tabId = wholeNumber(tab, "id");
            auto url = text(tab, "url");
            auto title = text(tab, "title");
            if (!tabId || !url || !title) return std::nullopt;
            added.tabs.push_back({*tabId, std::move(*url), std::move(*title)});
        }
    }
    return result;
}

}  // namespace

FrameReader::Next FrameReader::next() {
    if (poisoned_) return {std::nullopt, FrameError::tooLarge};
    if (buffer_.size() < kLengthBytes) return {};
    std::size_t length = 0;
    for (std::size_t i = 0; i < kLengthBytes; ++i) {
        length |= std::size_t{static_cast<unsigned char>(buffer_[i])} << (8 * i);
    }
    if (length > limit_) {
        poisoned_ = true;
        buffer_.clear();
        return {std::nullopt, FrameError::tooLarge};
    }
    if (buffer_.size() - kLengthBytes < length) return {};
    std::string message = buffer_.substr(kLengthBytes, length);
    buffer_.erase(0, kLengthBytes + length);
    return {std::move(message), std::nullopt};
}

std::optional<FrameError> FrameReader::finish() const {
    if (poisoned_) return FrameError::tooLarge;
    if (!buffer_.empty()) return FrameError::truncated;
    return std::nullopt;
}

std::string frame(std::string_view json) {
    std::string bytes(kLengthBytes, '\0');
    for (std::size_t i = 0; i < kLengthBytes; ++i) {
        bytes[i] = static_cast<char>((json.size() >> (8 * i)) & 0xff);
    }
    bytes.append(json);
    return bytes;
}

std::string writeRequest(const Request& request) {
    Json json = Json::object();
    json["id"] = request.id;
    switch (request.command) {
        case Command::list:
            json["command"] = "list";
            break;
        case Command::select:
            json["command"] = "select";
            json["window"] = request.window;
            json["tab"] = request.tab;
            break;
        case Command::open:
            json["command"] = "open";
            json["url"] = request.url;
            break;
    }
    return support::writeJson(json);
}

std::string writeAnswer(const Answer& answer) {
    Json json = Json::object();
    json["id"] = answer.id;
    if (answer.error) {
        json["error"] = *answer.error;
    } else if (answer.windows) {
        Json list = Json::array();
        for (const auto& window : *answer.windows) {
            Json tabs = Json::array();
            for (const auto& tab : window.tabs) {
                tabs.push_back({{"id", tab.id}, {"url", tab.url}, {"title", tab.title}});
            }
            list.push_back({{"id", window.id}, {"tabs", std::move(tabs)}});
        }
        json["windows"] = std::move(list);
    } else {
        json["ok"] = true;
    }
    return support::writeJson(json);
}

std::optional<Request> parseRequest(std::string_view json) {
    auto parsed = object(json);
    if (!parsed) return std::nullopt;
    auto id = wholeNumber(*parsed, "id");
    auto command = text(*parsed, "command");
    if (!id || !command) return std::nullopt;
    Request request{*id, Command::list, 0, 0, {}};
    if (*command == "list") {
        request.command = Command::list;
    } else if (*command == "select") {
        auto window = wholeNumber(*parsed, "window");
        auto tab = wholeNumber(*parsed, "tab");
        if (!window || !tab) return std::nullopt;
        request = {*id, Command::select, *window, *tab, {}};
    } else if (*command == "open") {
        auto url = text(*parsed, "url");
        if (!url) return std::nullopt;
        request = {*id, Command::open, 0, 0, std::move(*url)};
    } else {
        return std::nullopt;
    }
    return request;
}

std::optional<Answer> parseAnswer(std::string_view json) {
    auto parsed = object(json);
    if (!parsed) return std::nullopt;
    auto id = wholeNumber(*parsed, "id");
    if (!id) return std::nullopt;
    Answer answer{*id, std::nullopt, std::nullopt};
    if (parsed->contains("error")) {
        answer.error = text(*parsed, "error");
        if (!answer.error) return std::nullopt;
    } else if (parsed->contains("windows")) {
        answer.windows = windows((*parsed)["windows"]);
        if (!answer.windows) return std::nullopt;
    } else if (auto ok = parsed->find("ok"); ok == parsed->end() || *ok != Json(true)) {
        return std::nullopt;
    }
    return answer;
}

}  // namespace tarn::browser
