#include "platform/sway/tree.h"

#include <algorithm>

namespace tarn::platform::sway {
namespace {

using support::Json;

Rect rectOf(const Json& node, const char* name) {
    auto it = node.find(name);
    if (it == node.end() || !it->is_object()) return {};
    return {it->value("x", 0.0), it->value("y", 0.0), it->value("width", 0.0),
            it->value("height", 0.0)};
}

std::string text(const Json& node, const char* name) {
    auto it = node.find(name);
    return it != node.end() && it->is_string() ? it->get<std::string>() : std::string();
}

bool isWindow(const Json& node) {
    const std::string type = text(node, "type");
    if (type != "con" && type != "floating_con") return false;
    // Containers that only hold others (splits) have no pid.
    auto pid = node.find("pid");
    return pid != node.end() && pid->is_number_integer();
}

struct Walk {
    const Json* node;
    bool scratchpad;
};

}  // namespace

std::vector<SwayWindow> windowsOfTree(const Json& tree) {
    std::vector<SwayWindow> found;
    // Depth-first without recursion: the tree comes from outside.
    std::vector<Walk> pending{{&tree, false}};
    while (!pending.empty()) {
        Walk walk = pending.back();
        pending.pop_back();
        const Json& node = *walk.node;
        if (!node.is_object()) continue;
        const bool scratchpad = walk.scratchpad || (text(node, "type") == "workspace" &&
                                                    text(node, "name") == "__i3_scratch");
        if (isWindow(node)) {
            SwayWindow window;
            window.id = node.value("id", std::uint64_t{0});
            window.pid = node.value("pid", Pid{0});
            window.appId = text(node, "app_id");
            if (window.appId.empty()) {
                auto properties = node.find("window_properties");
                if (properties != node.end() && properties->is_object()) {
                    window.appId = text(*properties, "class");
                }
            }
            window.title = text(node, "name");
            Rect rect = rectOf(node, "rect");
            const double bar = rectOf(node, "deco_rect").height;
            window.frame = {rect.x, rect.y - bar, rect.width, rect.height + bar};
            window.focused = node.value("focused", false);
            window.inScratchpad = scratchpad;
            if (auto marks = node.find("marks"); marks != node.end() && marks->is_array()) {
                for (const auto& mark : *marks) {
                    if (mark.is_string()) window.marks.push_back(mark.get<std::string>());
                }
            }
            found.push_back(std::move(window));
        }
        // Children pushed in reverse, so they are visited in order: tiled, then floating.
        for (const char* children : {"floating_nodes", "nodes"}) {
            auto it = node.find(children);
            if (it == node.end() || !it->is_array()) continue;
            for (auto child = it->rbegin(); child != it->rend(); ++child) {
                pending.push_back({&*child, scratchpad});
            }
        }
    }
    return found;
}

std::vector<SwayOutput> activeOutputs(const Json& outputs) {
    std::vector<SwayOutput> found;
    if (!outputs.is_array()) return found;
    for (const auto& output : outputs) {
        if (!output.is_object() || !output.value("active", false)) continue;
        found.push_back(
            {output.value("id", DisplayId{0}), text(output, "name"), rectOf(output, "rect")});
    }
    std::stable_sort(found.begin(), found.end(), [](const SwayOutput& a, const SwayOutput& b) {
        const bool aOrigin = a.bounds.x == 0 && a.bounds.y == 0;
        const bool bOrigin = b.bounds.x == 0 && b.bounds.y == 0;
        if (aOrigin != bOrigin) return aOrigin;
        if (a.bounds.x != b.bounds.x) return a.bounds.x < b.bounds.x;
        return a.bounds.y < b.bounds.y;
    });
    return found;
}

std::vector<SwayOutput> outputsOfTree(const Json& tree) {
    Json outputs = Json::array();
    auto nodes = tree.is_object() ? tree.find("nodes") : tree.end();
    if (tree.is_object() && nodes != tree.end() && nodes->is_array()) {
        for (const auto& node : *nodes) {
            // sway keeps its scratchpad on a pseudo-output of its own.
            if (!node.is_object() || text(node, "type") != "output" || text(node, "name") == "__i3")
                continue;
            outputs.push_back({{"id", node.value("id", DisplayId{0})},
                               {"name", text(node, "name")},
                               {"active", true},
                               {"rect", node.value("rect", Json::object())}});
        }
    }
    return activeOutputs(outputs);
}

}  // namespace tarn::platform::sway
