#include "agent/rule_engine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/agent_fakes.h"
#include "tests/common/golden.h"

namespace tarn::agent {
namespace {

using testing::ruleId;
using Dir = Action::MoveDirection;
using Target = Action::MouseTarget;

HotkeyRule rule(int n, std::int64_t keyCode, std::int64_t modifiers, Action action) {
    return {.id = ruleId(n), .chord = {keyCode, {modifiers}}, .action = std::move(action)};
}

AppConfig app(const char* bundleID, std::map<Uuid, RuleOverride> overrides) {
    return {.bundleID = bundleID, .displayName = {}, .ruleOverrides = std::move(overrides)};
}

const StateFilters kNoFullWidth{.fullWidthOnPrimary = false};

// Rules 1 and 2 share ⌃⌥→; rule 4 carries a modifier bit no key press produces.
RootConfig engineConfig() {
    RootConfig config;
    config.globalRules = {
        rule(1, 124, 6, {Action::MoveWindow{Dir::right}}),
        rule(2, 124, 6, {Action::MoveWindow{Dir::left}}),
        rule(3, 0, 8, {Action::SendKeystrokeSequence{"{cmd}c\n"}}),
        rule(4, 1, 8 | 16,
             {Action::MoveMouse{{Target::App{}}, Action::MousePosition::upperCorner}}),
        rule(5, 2, 0, {Action::MoveMouse{{Target::Screen{1}}, Action::MousePosition::center}}),
    };
    config.appConfigs = {
        app("org.off", {{ruleId(1), {.enabled = false}}}),
        app("org.on", {{ruleId(1), {}}, {ruleId(3), {.stateFilters = kNoFullWidth}}}),
        app("org.dup", {{ruleId(1), {.enabled = false}}}),
        app("org.dup", {{ruleId(3), {.enabled = false}}}),
        app("org.ghost", {{ruleId(99), {.enabled = false}}}),
        app("org.plain", {}),
    };
    return config;
}

TEST(RuleEngine, LogsTheRebuildFindsTheRuleAndOverrideAndSaysSo) {
    struct Case {
        const char* bundleID;  // null: no frontmost application
        std::int64_t keyCode, modifiers;
        int rule;  // 0: no match
        std::optional<RuleOverride> override;
        const char* log;  // null: nothing logged; "+": matched with org.on's override
    };
    const std::string overridden = "Matched global rule with app override for org.on: ";
    const Case cases[] = {
        {nullptr, 124, 6, 1, {}, "Matched global rule: ⌃⌥→"},
        {"org.unknown", 124, 6, 1, {}, "Matched global rule: ⌃⌥→"},
        {"", 124, 6, 1, {}, "Matched global rule: ⌃⌥→"},
        {"ORG.OFF", 124, 6, 1, {}, "Matched global rule: ⌃⌥→"},  // case-sensitive
        {"org.plain", 0, 8, 3, {}, "Matched global rule: ⌘A"},
        // The earlier rule wins even when disabled; the later one with the chord is not tried.
        {"org.off", 124, 6, 0, {}, "Rule ⌃⌥→ disabled for org.off"},
        {"org.on", 124, 6, 1, RuleOverride{}, "+⌃⌥→"},
        {"org.on", 0, 8, 3, RuleOverride{.stateFilters = kNoFullWidth}, "+⌘A"},
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
    EXPECT_TRUE(log.entries().empty());
    RootConfig config = engineConfig();
    engine.rebuildIndex(config);  // which logs every rule and every application
    std::string rebuildLog;
    for (const std::string& line : log.takeMessages()) rebuildLog += line + "\n";
    EXPECT_EQ(rebuildLog, testing::golden("agent/golden/rebuild_log.txt"));
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << (c.bundleID ? c.bundleID : "(none)") << " "
                                          << c.keyCode << "/" << c.modifiers);
        auto bundle = c.bundleID ? std::optional<std::string>(c.bundleID) : std::nullopt;
        auto result = engine.match(bundle, {c.keyCode, {c.modifiers}});
        if (c.rule) {
            ASSERT_TRUE(result);
            EXPECT_EQ(result->rule, config.globalRules[static_cast<std::size_t>(c.rule - 1)]);
            EXPECT_EQ(result->override, c.override);
        } else {
            EXPECT_EQ(result, std::nullopt);
        }
        std::vector<std::string> logged;
        if (c.log) logged.push_back(c.log[0] == '+' ? overridden + (c.log + 1) : c.log);
        EXPECT_EQ(log.takeMessages(), logged);
    }

    // A rebuild replaces rules and overrides alike.
    engine.rebuildIndex({.globalRules = {rule(7, 124, 6, {Action::MoveWindow{Dir::down}})}});
    EXPECT_EQ(engine.match("org.off", {124, {6}}),
              (RuleMatch{rule(7, 124, 6, {Action::MoveWindow{Dir::down}}), std::nullopt}));
    EXPECT_EQ(engine.match(std::nullopt, {0, {8}}), std::nullopt);
}

}  // namespace
}  // namespace tarn::agent
