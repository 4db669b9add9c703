#include "agent/rule_engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarn::agent {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Uuid id(int n) {
    Uuid::Bytes bytes{};
    bytes[15] = static_cast<std::uint8_t>(n);
    return Uuid(bytes);
}

HotkeyRule rule(int n, std::int64_t keyCode, std::int64_t modifiers, Action action) {
    return HotkeyRule{.id = id(n), .chord = {keyCode, {modifiers}}, .action = std::move(action)};
}

Action move(Action::MoveDirection direction) {
    return {Action::MoveWindow{direction}};
}

const StateFilters kNoFullWidth{.fullWidthOnPrimary = false};

// Rules 1 and 2 share ⌃⌥→; rule 4 carries a modifier bit no key press produces.
RootConfig engineConfig() {
    RootConfig config;
    config.globalRules = {
        rule(1, 124, 6, move(Action::MoveDirection::right)),
        rule(2, 124, 6, move(Action::MoveDirection::left)),
        rule(3, 0, 8, {Action::SendKeystrokeSequence{"{cmd}c"}}),
        rule(4, 1, 8 | 16, move(Action::MoveDirection::up)),
        rule(5, 2, 0,
             {Action::MoveMouse{{Action::MouseTarget::Screen{1}}, Action::MousePosition::center}}),
    };
    config.appConfigs = {
        AppConfig{.bundleID = "org.off",
                  .displayName = "Off",
                  .ruleOverrides = {{id(1), {.enabled = false}}}},
        AppConfig{.bundleID = "org.on",
                  .displayName = "On",
                  .ruleOverrides = {{id(1), {.enabled = true}},
                                    {id(3), {.enabled = true, .stateFilters = kNoFullWidth}}}},
        AppConfig{.bundleID = "org.dup",
                  .displayName = "Dup first",
                  .ruleOverrides = {{id(1), {.enabled = false}}}},
        AppConfig{.bundleID = "org.dup",
                  .displayName = "Dup second",
                  .ruleOverrides = {{id(3), {.enabled = false}}}},
        AppConfig{.bundleID = "org.ghost",
                  .displayName = "Ghost",
                  .ruleOverrides = {{id(99), {.enabled = false}}}},
        AppConfig{.bundleID = "org.plain", .displayName = "Plain"},
    };
    return config;
}

TEST(RuleEngine, FindsTheRuleAndOverrideAndSaysSo) {
    struct Case {
        const char* bundleID;  // null: no frontmost application
        std::int64_t keyCode, modifiers;
        int ruleNumber;  // 0: no match
        std::optional<RuleOverride> override;
        const char* log;  // null: nothing logged
    };
    const RuleOverride filtered{.enabled = true, .stateFilters = kNoFullWidth};
    const Case cases[] = {
        {nullptr, 124, 6, 1, {}, "Matched global rule: ⌃⌥→"},
        {"org.unknown", 124, 6, 1, {}, "Matched global rule: ⌃⌥→"},
        {"", 124, 6, 1, {}, "Matched global rule: ⌃⌥→"},
        {"ORG.OFF", 124, 6, 1, {}, "Matched global rule: ⌃⌥→"},  // case-sensitive
        {"org.plain", 0, 8, 3, {}, "Matched global rule: ⌘A"},
        // The earlier rule wins even when disabled; the later one with the chord is not tried.
        {"org.off", 124, 6, 0, {}, "Rule ⌃⌥→ disabled for org.off"},
        {"org.on", 124, 6, 1, RuleOverride{.enabled = true},
         "Matched global rule with app override for org.on: ⌃⌥→"},
        {"org.on", 0, 8, 3, filtered, "Matched global rule with app override for org.on: ⌘A"},
        {"org.off", 0, 8, 3, {}, "Matched global rule: ⌘A"},
        // Two entries for one application: only the second one's overrides count.
        {"org.dup", 124, 6, 1, {}, "Matched global rule: ⌃⌥→"},
        {"org.dup", 0, 8, 0, {}, "Rule ⌘A disabled for org.dup"},
        {"org.ghost", 2, 0, 5, {}, "Matched global rule: D"},
        // Modifiers compare on the whole raw value; rule 4's unknown bit is never pressed.
        {"org.on", 124, 2, 0, {}, nullptr},
        {"org.on", 124, 7, 0, {}, nullptr},
        {nullptr, 1, 8, 0, {}, nullptr},
        {nullptr, 125, 6, 0, {}, nullptr},
    };
    MemoryLog log;
    RuleEngine engine(Logger(log, LogCategory::ruleEngine));
    EXPECT_EQ(engine.match("org.on", {124, {6}}), std::nullopt);  // before the first rebuild
    EXPECT_THAT(log.entries(), IsEmpty());
    RootConfig config = engineConfig();
    engine.rebuildIndex(config);
    log.takeMessages();
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << (c.bundleID ? c.bundleID : "(none)") << " "
                                          << c.keyCode << "/" << c.modifiers);
        auto bundle = c.bundleID ? std::optional<std::string>(c.bundleID) : std::nullopt;
        auto result = engine.match(bundle, {c.keyCode, {c.modifiers}});
        if (c.ruleNumber) {
            ASSERT_TRUE(result);
            EXPECT_EQ(result->rule, config.globalRules[static_cast<std::size_t>(c.ruleNumber - 1)]);
            EXPECT_EQ(result->override, c.override);
        } else {
            EXPECT_EQ(result, std::nullopt);
        }
        EXPECT_EQ(log.takeMessages(),
                  c.log ? std::vector<std::string>{c.log} : std::vector<std::string>{});
    }
}

TEST(RuleEngine, EmptyConfigurationMatchesNothingAndLogsNothing) {
    MemoryLog log;
    RuleEngine engine(Logger(log, LogCategory::ruleEngine));
    engine.rebuildIndex(RootConfig{});
    EXPECT_THAT(log.takeMessages(), ElementsAre("Rebuilding index...", "Loaded 0 global rules:"));
    for (std::int64_t code : {0, 124, 200}) {
        EXPECT_EQ(engine.match(std::nullopt, {code, {0}}), std::nullopt);
        EXPECT_EQ(engine.match("org.on", {code, {6}}), std::nullopt);
    }
    EXPECT_THAT(log.entries(), IsEmpty());
}

TEST(RuleEngine, RebuildLogsEveryRuleAndEveryApplication) {
    MemoryLog log;
    RuleEngine engine(Logger(log, LogCategory::ruleEngine));
    engine.rebuildIndex(engineConfig());
    engine.match("org.off", {124, {6}});
    for (const auto& entry : log.entries()) EXPECT_EQ(entry.category, LogCategory::ruleEngine);
    EXPECT_THAT(
        log.takeMessages(),
        ElementsAre(
            "Rebuilding index...", "Loaded 5 global rules:", "  - ⌃⌥→ (mod=6) → moveWindow(right)",
            "  - ⌃⌥→ (mod=6) → moveWindow(left)",
            "  - ⌘A (mod=8) → sendKeystrokeSequence(\"{cmd}c\")",
            "  - ⌘S (mod=24) → moveWindow(up)", "  - D (mod=0) → moveMouse(screen(1), Center)",
            "Loaded 1 rule overrides for org.off", "Loaded 2 rule overrides for org.on",
            "Loaded 1 rule overrides for org.dup", "Loaded 1 rule overrides for org.dup",
            "Loaded 1 rule overrides for org.ghost", "Loaded 0 rule overrides for org.plain",
            "Rule ⌃⌥→ disabled for org.off"));
}

TEST(RuleEngine, ARebuildReplacesRulesAndOverrides) {
    DiscardLog log;
    RuleEngine engine(Logger(log, LogCategory::ruleEngine));
    engine.rebuildIndex(engineConfig());
    RootConfig next;
    next.globalRules = {rule(7, 124, 6, move(Action::MoveDirection::down))};
    engine.rebuildIndex(next);
    auto result = engine.match("org.off", {124, {6}});
    ASSERT_TRUE(result);
    EXPECT_EQ(result->rule.id, id(7));
    EXPECT_EQ(result->override, std::nullopt);
    EXPECT_EQ(engine.match(std::nullopt, {0, {8}}), std::nullopt);
}

}  // namespace
}  // namespace tarn::agent
