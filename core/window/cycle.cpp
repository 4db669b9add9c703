#include "core/window/cycle.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "core/window/screens.h"
#include "support/number_text.h"

namespace tarn::window {
namespace {

using support::doubleText;
using WindowFrame = WindowState::WindowFrame;
using WindowStep = WindowState::WindowStep;

const char* boolText(bool value) {
    return value ? "true" : "false";
}

bool isFinite(const Rect& rect) {
    return std::isfinite(rect.x) && std::isfinite(rect.y) && std::isfinite(rect.width) &&
           std::isfinite(rect.height);
}

// The usable area the home frame was measured on. A screen unplugged since then is replaced
// by the primary one, so the proportional steps still have a sensible reference.
Rect homeScreenRect(const ScreenLayout& layout, const WindowFrame& initialFrame) {
    std::int64_t index = initialFrame.screenIndex;
    if (!layout.contains(index)) index = 0;
    return layout.usableScreenRect(index);
}

// value / from * to, in that order. An empty source extent (no screen at all, or a screen no
// taller than the menu-bar band) gives nothing to scale by, so the value stays as it is.
double scaled(double value, double from, double to) {
    if (!(from > 0)) return value;
    return value / from * to;
}

struct VerticalExtent {
    double y = 0;
    double height = 0;
};

// On its own screen a window keeps its vertical placement; moved to another screen it keeps
// its relative position and share of the usable height.
VerticalExtent verticalExtent(const ScreenLayout& layout, const Rect& target,
                              std::int64_t targetIndex, const Rect& currentFrame) {
    std::int64_t currentIndex = layout.screenIndexForPoint(currentFrame.origin());
    if (currentIndex == targetIndex) return {currentFrame.y, currentFrame.height};
    Rect current = layout.usableScreenRect(currentIndex);
    if (!(current.height > 0)) return {currentFrame.y, currentFrame.height};
    return {target.y + ((currentFrame.y - current.y) / current.height) * target.height,
            (currentFrame.height / current.height) * target.height};
}

// Remainder with the sign of the dividend, as the stored value has always been stepped; the
// largest value wraps without overflowing.
std::int64_t nextVerticalState(std::int64_t value) {
    if (value == std::numeric_limits<std::int64_t>::max()) return (value % 3 + 1) % 3;
    return (value + 1) % 3;
}

struct DirectionWords {
    int direction;
    const char* action;    // "Left"
    const char* after;     // "left"
    const char* noTarget;  // the line when no step can be reached
};

constexpr DirectionWords kLeft{+1, "Left", "left",
                               "DEBUG: No previous enabled step found, staying at current "
                               "position\n"};
constexpr DirectionWords kRight{-1, "Right", "right",
                                "DEBUG: No next enabled step found, staying at current "
                                "position\n"};

Rect handleHorizontal(const DirectionWords& words, WindowState& state, const Rect& currentFrame,
                      std::int64_t currentScreenIndex, bool isPrimaryScreen,
                      const StateFilters& filters, platform::Displays& displays,
                      std::ostream& diagnostics) {
    diagnostics << "DEBUG: " << words.action << " action, current hState=" << state.horizontalState
                << ", isPrimary=" << boolText(isPrimaryScreen) << '\n';
    if (state.steps.empty()) state.buildStepList(displays, filters, diagnostics);
    const ScreenLayout layout(displays);
    if (!state.steps.empty() && !layout.contains(state.initialFrame.screenIndex)) {
        diagnostics << "DEBUG: Home screen " << state.initialFrame.screenIndex
                    << " is gone, scaling against the primary screen\n";
    }

    auto current = state.findCurrentStepIndex(layout, currentFrame, currentScreenIndex);
    if (!current) {
        diagnostics << "DEBUG: Could not find current step, staying at current position\n";
        return currentFrame;
    }
    auto next = state.findNextEnabledStep(*current, words.direction);
    if (!next) {
        diagnostics << words.noTarget;
        return currentFrame;
    }
    const WindowStep& step = state.steps[*next];
    diagnostics << "DEBUG: Moving from step " << *current << " to step " << *next
                << " (screen=" << step.screenIndex << ", type=" << stepTypeName(step.type) << ")\n";
    Rect frame = step.computeFrame(layout, state.initialFrame, currentFrame, state.savedLocations);
    if (!isFinite(frame)) {
        // Only absurd stored frames overflow; the window system never gets such a frame.
        diagnostics << "DEBUG: Step frame is not finite, staying at current position\n";
        return currentFrame;
    }
    state.horizontalState = horizontalStateCode(step);
    diagnostics << "DEBUG: After " << words.after << " action, hState=" << state.horizontalState
                << '\n';
    return frame;
}

}  // namespace

Rect WindowStep::computeFrame(platform::Displays& displays, const WindowFrame& initialFrame,
                              const Rect& currentFrame,
                              const std::vector<SavedLocation>& savedLocations) const {
    return computeFrame(ScreenLayout(displays), initialFrame, currentFrame, savedLocations);
}

Rect WindowStep::computeFrame(const ScreenLayout& layout, const WindowFrame& initialFrame,
                              const Rect& currentFrame,
                              const std::vector<SavedLocation>& savedLocations) const {
    if (type == StepType::saved) {
        if (!savedIndex || *savedIndex < 0 ||
            static_cast<std::uint64_t>(*savedIndex) >= savedLocations.size()) {
            return {};
        }
        return savedLocations[static_cast<std::size_t>(*savedIndex)].frame.rect();
    }
    const Rect target = layout.usableScreenRect(screenIndex);
    const Rect home = homeScreenRect(layout, initialFrame);
    const double width = scaled(initialFrame.width, home.width, target.width);
    if (type == StepType::original) {
        const double height = scaled(initialFrame.height, home.height, target.height);
        return {target.minX() + (target.width - width) * 0.5,
                target.minY() + (target.height - height) * 0.5, width, height};
    }
    const VerticalExtent extent = verticalExtent(layout, target, screenIndex, currentFrame);
    switch (type) {
        case StepType::fullWidth:
            return {target.minX(), extent.y, target.width, extent.height};
        case StepType::alignRight:
            return {target.maxX() - width, extent.y, width, extent.height};
        case StepType::alignLeft:
            return {target.minX(), extent.y, width, extent.height};
        case StepType::original:
        case StepType::saved:
            break;
    }
    return {};
}

void WindowState::buildStepList(platform::Displays& displays, const StateFilters& filters,
                                std::ostream& diagnostics) {
    steps.clear();
    const auto screenCount = static_cast<std::int64_t>(getActiveDisplays(displays).size());
    steps.reserve(static_cast<std::size_t>(screenCount) * (4 + savedLocations.size()));
    for (std::int64_t screen = 0; screen < screenCount; ++screen) {
        const bool primary = screen == 0;
        const std::int64_t base = screen * 10;
        auto add = [&](StepType type, std::int64_t position, std::optional<std::int64_t> saved) {
            steps.push_back({type, saved, screen, base + position, true});
        };
        if (primary ? filters.alignRightOnPrimary : filters.alignRightOnSecondary) {
            add(StepType::alignRight, 0, std::nullopt);
        }
        add(StepType::original, 1, std::nullopt);
        if (primary ? filters.fullWidthOnPrimary : filters.fullWidthOnSecondary) {
            add(StepType::fullWidth, 2, std::nullopt);
        }
        if (primary ? filters.alignLeftOnPrimary : filters.alignLeftOnSecondary) {
            add(StepType::alignLeft, 3, std::nullopt);
        }
        for (std::size_t i = 0; i < savedLocations.size(); ++i) {
            if (savedLocations[i].frame.screenIndex != screen) continue;
            const auto index = static_cast<std::int64_t>(i);
            add(StepType::saved, 4 + index, index);
        }
    }
    // Built screen by screen, the list is in order already unless more than six saved
    // locations push one screen's numbers past the next screen's.
    auto bySortOrder = [](const WindowStep& a, const WindowStep& b) {
        return a.sortOrder < b.sortOrder;
    };
    if (!std::is_sorted(steps.begin(), steps.end(), bySortOrder)) {
        std::stable_sort(steps.begin(), steps.end(), bySortOrder);
    }

    // One write for the whole list: it is printed on every press.
    std::string text = "DEBUG: Built step list with " + std::to_string(steps.size()) + " steps:\n";
    for (std::size_t i = 0; i < steps.size(); ++i) {
        text += "  [" + std::to_string(i) + "] screen=" + std::to_string(steps[i].screenIndex);
        text += ", type=";
        text += stepTypeName(steps[i].type);
        text += ", enabled=";
        text += boolText(steps[i].enabled);
        text += '\n';
    }
    diagnostics << text;
}

std::optional<std::size_t> WindowState::findCurrentStepIndex(
    platform::Displays& displays, const Rect& frame, std::int64_t currentScreenIndex) const {
    return findCurrentStepIndex(ScreenLayout(displays), frame, currentScreenIndex);
}

std::optional<std::size_t> WindowState::findCurrentStepIndex(
    const ScreenLayout& layout, const Rect& frame, std::int64_t currentScreenIndex) const {
    std::optional<std::size_t> best;
    double bestDistance = 0;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Rect candidate = steps[i].computeFrame(layout, initialFrame, frame, savedLocations);
        double distance = std::abs(frame.x - candidate.x) + std::abs(frame.y - candidate.y) +
                          std::abs(frame.width - candidate.width) +
                          std::abs(frame.height - candidate.height);
        if (steps[i].screenIndex != currentScreenIndex) distance += 1000;
        // Only a strictly nearer step replaces: of two equal frames the earlier one is current.
        if (!best || distance < bestDistance) {
            best = i;
            bestDistance = distance;
        }
    }
    return best;
}

std::optional<std::size_t> WindowState::findNextEnabledStep(std::size_t from, int direction) const {
    const auto count = static_cast<std::int64_t>(steps.size());
    if (count == 0) return std::nullopt;
    auto index = static_cast<std::int64_t>(from % steps.size());
    for (std::int64_t attempt = 0; attempt <= count; ++attempt) {
        index = ((index + direction) % count + count) % count;
        if (steps[static_cast<std::size_t>(index)].enabled) return static_cast<std::size_t>(index);
    }
    return std::nullopt;
}

std::int64_t horizontalStateCode(const WindowStep& step) {
    switch (step.type) {
        case StepType::original:
            return 0;
        case StepType::fullWidth:
            return 1;
        case StepType::alignRight:
            return 2;
        case StepType::alignLeft:
            return 3;
        case StepType::saved:
            return step.savedIndex ? 4 + *step.savedIndex : 0;
    }
    return 0;
}

Rect handleLeftDirection(WindowState& state, const Rect& currentFrame,
                         std::int64_t currentScreenIndex, bool isPrimaryScreen,
                         const StateFilters& filters, platform::Displays& displays,
                         std::ostream& diagnostics) {
    return handleHorizontal(kLeft, state, currentFrame, currentScreenIndex, isPrimaryScreen,
                            filters, displays, diagnostics);
}

Rect handleRightDirection(WindowState& state, const Rect& currentFrame,
                          std::int64_t currentScreenIndex, bool isPrimaryScreen,
                          const StateFilters& filters, platform::Displays& displays,
                          std::ostream& diagnostics) {
    return handleHorizontal(kRight, state, currentFrame, currentScreenIndex, isPrimaryScreen,
                            filters, displays, diagnostics);
}

Rect handleUpDirection(WindowState& state, const Rect& currentFrame, const Rect& screenBounds,
                       std::ostream& diagnostics) {
    state.verticalState = nextVerticalState(state.verticalState);
    const WindowFrame& home = state.initialFrame;
    diagnostics << "DEBUG: Up pressed, verticalState now: " << state.verticalState << '\n'
                << "DEBUG: Initial frame stored: w=" << doubleText(home.width)
                << ", h=" << doubleText(home.height) << '\n';
    const Rect& bounds = screenBounds;
    switch (state.verticalState) {
        case 2:
            diagnostics << "DEBUG: Setting full screen (margin to avoid macOS full-screen)\n";
            return {bounds.minX() + 5, bounds.minY() + 5, bounds.width - 10, bounds.height - 10};
        case 1:
            diagnostics << "DEBUG: Setting full height\n";
            return {currentFrame.minX(), bounds.minY(), currentFrame.width, bounds.height};
        case 0: {
            diagnostics << "DEBUG: Restoring original size: w=" << doubleText(home.width)
                        << ", h=" << doubleText(home.height) << '\n';
            Rect frame = home.rect();
            diagnostics << "DEBUG: Calculated newFrame: x=" << doubleText(frame.x)
                        << ", y=" << doubleText(frame.y) << ", w=" << doubleText(frame.width)
                        << ", h=" << doubleText(frame.height) << '\n';
            return frame;
        }
        default:
            return currentFrame;  // only a negative stored value gets here
    }
}

}  // namespace tarn::window
