#include "tests/sway/harness.h"

#include <cmath>
#include <cstdlib>
#include <sstream>

#include "support/json_text.h"

namespace tarn::swaytest {
namespace {

using support::Json;

Json swayJson(const std::string& type) {
    auto output = run({"swaymsg", "-r", "-t", type});
    return support::parseJson(output.out).value_or(Json());
}

// Every window of the tree with whether it sits in the scratchpad, depth first.
void windows(const Json& node, bool scratch, std::vector<std::pair<const Json*, bool>>& found) {
    if (!node.is_object()) return;
    scratch = scratch || node.value("name", Json()) == "__i3_scratch";
    if (node.contains("pid") && node["pid"].is_number()) found.push_back({&node, scratch});
    for (const char* key : {"nodes", "floating_nodes"}) {
        if (!node.contains(key)) continue;
        for (const auto& child : node[key]) windows(child, scratch, found);
    }
}

std::optional<std::pair<Json, bool>> windowOf(int pid) {
    Json tree = swayJson("get_tree");
    std::vector<std::pair<const Json*, bool>> found;
    windows(tree, false, found);
    for (const auto& [node, scratch] : found) {
        if ((*node)["pid"].get<int>() == pid) return std::make_pair(*node, scratch);
    }
    return std::nullopt;
}

}  // namespace

std::vector<std::string> swayEnvironment() {
    std::vector<std::string> variables;
    for (const char* name : {"SWAYSOCK", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "XDG_SESSION_TYPE",
                             "XDG_CURRENT_DESKTOP"}) {
        if (const char* value = std::getenv(name))
            variables.push_back(name + std::string("=") + value);
    }
    return variables;
}

TestClient startClient(const TempDir& dir, const std::string& appId, const std::string& size) {
    return waylandtest::startClient(dir, {"--app-id", appId, "--title", appId, "--size", size});
}

std::optional<Rect> frameOf(int pid) {
    auto window = windowOf(pid);
    if (!window) return std::nullopt;
    const Json& node = window->first;
    auto number = [](const Json& rect, const char* key) { return rect.value(key, 0.0); };
    const Json& rect = node["rect"];
    const double bar = number(node["deco_rect"], "height");
    return Rect{number(rect, "x"), number(rect, "y") - bar, number(rect, "width"),
                number(rect, "height") + bar};
}

bool inScratchpad(int pid) {
    auto window = windowOf(pid);
    return window && window->second;
}

int focusedPid() {
    Json tree = swayJson("get_tree");
    std::vector<std::pair<const Json*, bool>> found;
    windows(tree, false, found);
    for (const auto& [node, scratch] : found) {
        if (node->value("focused", false)) return (*node)["pid"].get<int>();
    }
    return 0;
}

bool swaymsg(const std::string& commands) {
    return run({"swaymsg", commands}).status == 0;
}

::testing::AssertionResult drawnAt(const TestClient& client, const Rect& frame) {
    const std::string size = "size 1 " + std::to_string(std::lround(frame.width)) + "x" +
                             std::to_string(std::lround(frame.height));
    if (eventually([&] {
            auto sizes = client.logLines("size");
            return !sizes.empty() && sizes.back() == size;
        }))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "the client never drew " << size;
}

std::string describe(const Rect& r) {
    std::ostringstream text;
    text << r.x << "," << r.y << " " << r.width << "x" << r.height;
    return text.str();
}

void placeFloating(const TestClient& client, const Rect& frame) {
    auto whole = [](double v) { return std::to_string(std::lround(v)); };
    const std::string place = "[pid=" + std::to_string(client.pid()) +
                              "] floating enable, resize set " + whole(frame.width) + " " +
                              whole(frame.height) + ", move absolute position " + whole(frame.x) +
                              " " + whole(frame.y);
    // A client still drawing its first (tiled) size can answer the move with that size,
    // which sway then adopts: placed again until it has drawn the size asked and stays.
    ASSERT_TRUE(eventually([&] {
        if (!swaymsg(place)) return false;
        const std::string size = "size 1 " + whole(frame.width) + "x" + whole(frame.height);
        eventually(
            [&] {
                auto sizes = client.logLines("size");
                return !sizes.empty() && sizes.back() == size;
            },
            500ms);
        auto seen = frameOf(client.pid());
        return seen && std::abs(seen->width - frame.width) <= 1 &&
               std::abs(seen->height - frame.height) <= 1;
    }));
    ASSERT_TRUE(settlesAt(client.pid(), frame));
}

::testing::AssertionResult settlesAt(int pid, const Rect& expected) {
    std::optional<Rect> seen;
    auto near = [&] {
        seen = frameOf(pid);
        return seen && std::abs(seen->x - expected.x) <= 1 && std::abs(seen->y - expected.y) <= 1 &&
               std::abs(seen->width - expected.width) <= 1 &&
               std::abs(seen->height - expected.height) <= 1;
    };
    if (eventually(near)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "expected " << describe(expected) << ", swaymsg says "
                                         << (seen ? describe(*seen) : std::string("no window"));
}

}  // namespace tarn::swaytest
