#include <gtest/gtest.h>

#include <set>

#include "agent/config.h"

namespace tarn::agent {
namespace {

using Mod = KeyChord::Modifiers;

struct ChordCase {
    const char* name;
    KeyChord chord;
    const char* displayName;
    const char* description;
};

void PrintTo(const ChordCase& c, std::ostream* out) {
    *out << c.name;
}

class ChordRendering : public ::testing::TestWithParam<ChordCase> {};

TEST_P(ChordRendering, DisplayNameAndDescription) {
    EXPECT_EQ(GetParam().chord.displayName(), GetParam().displayName);
    EXPECT_EQ(GetParam().chord.description(), GetParam().description);
}

INSTANTIATE_TEST_SUITE_P(
    Chords, ChordRendering,
    ::testing::Values(
        ChordCase{"ControlOptionRight", {124, {Mod::control | Mod::option}}, "⌃⌥→", "⌃⌥124"},
        ChordCase{"CommandUnnamedKey", {200, {Mod::command}}, "⌘keyCode:200", "⌘200"},
        ChordCase{"AllFourInFixedOrder", {0, {15}}, "⌃⌥⇧⌘A", "⌃⌥⇧⌘0"},
        ChordCase{"NoModifiers", {117, {0}}, "Del→", "117"},
        ChordCase{"ShiftOnly", {50, {Mod::shift}}, "⇧`", "⇧50"},
        ChordCase{"UnknownBitsShowNothing", {36, {16 | Mod::option}}, "⌥Return", "⌥36"},
        ChordCase{"NegativeCode", {-1, {0}}, "keyCode:-1", "-1"},
        ChordCase{"Backslash", {42, {Mod::control}}, "⌃\\", "⌃42"},
        ChordCase{"FunctionKey", {90, {0}}, "F20", "90"},
        ChordCase{"VolumeDown", {73, {0}}, "Vol-", "73"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ActionNames, DirectionsAndPositionsReadBack) {
    std::vector<std::string> names;
    for (auto direction : Action::allMoveDirections) {
        names.emplace_back(directionName(direction));
        EXPECT_EQ(parseMoveDirection(directionName(direction)), direction);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"left", "right", "up", "down", "maximize"}));
    EXPECT_EQ(parseMoveDirection("Left"), std::nullopt);
    EXPECT_EQ(positionName(Action::MousePosition::upperCorner), "Upper Corner");
    EXPECT_EQ(parseMousePosition("Center"), Action::MousePosition::center);
    EXPECT_EQ(parseMousePosition("center"), std::nullopt);
}

TEST(ActionDescription, OneLineWithCaseAndPayload) {
    using Target = Action::MouseTarget;
    EXPECT_EQ(describeAction({Action::MoveWindow{Action::MoveDirection::up}}), "moveWindow(up)");
    EXPECT_EQ(describeAction({Action::SendKeystrokeSequence{"a\nb"}}),
              "sendKeystrokeSequence(\"a\\nb\")");
    EXPECT_EQ(describeAction(
                  {Action::MoveMouse{Target{Target::Screen{1}}, Action::MousePosition::center}}),
              "moveMouse(screen(1), Center)");
    EXPECT_EQ(describeAction(
                  {Action::MoveMouse{Target{Target::App{}}, Action::MousePosition::upperCorner}}),
              "moveMouse(app, Upper Corner)");
}

TEST(Uuids, TextReadsBackInEitherCaseAndOtherShapesAreRejected) {
    auto upper = Uuid::parse("3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C");
    auto lower = Uuid::parse("3c0e2f9a-7b1d-4e55-9a6c-1f2d3e4a5b6c");
    ASSERT_TRUE(upper);
    EXPECT_EQ(upper, lower);
    EXPECT_EQ(upper->text(), "3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C");
    EXPECT_EQ(upper->bytes()[0], 0x3C);
    EXPECT_EQ(upper->bytes()[15], 0x6C);
    for (const char* text :
         {"", "3C0E2F9A7B1D4E559A6C1F2D3E4A5B6C", "{3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6C}",
          "3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6", "3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6CC",
          "3C0E2F9A+7B1D-4E55-9A6C-1F2D3E4A5B6C", "3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6Z",
          " 3C0E2F9A-7B1D-4E55-9A6C-1F2D3E4A5B6"}) {
        EXPECT_EQ(Uuid::parse(text), std::nullopt) << text;
    }
}

TEST(Uuids, RandomOnesAreVersionFourAndDiffer) {
    std::set<Uuid> seen;
    for (int i = 0; i < 100; ++i) {
        Uuid id = Uuid::random();
        EXPECT_EQ(id.text()[14], '4');
        EXPECT_NE(std::string("89AB").find(id.text()[19]), std::string::npos);
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 100u);
}

}  // namespace
}  // namespace tarn::agent
