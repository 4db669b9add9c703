#include "core/keys/escapes.h"

#include <gtest/gtest.h>

namespace tarn::keys {
namespace {

struct EscapeCase {
    const char* name;
    std::string text;
    std::string expanded;
};

class ExpandEscapeSequencesTest : public ::testing::TestWithParam<EscapeCase> {};

TEST_P(ExpandEscapeSequencesTest, Expands) {
    EXPECT_EQ(expandEscapeSequences(GetParam().text), GetParam().expanded);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ExpandEscapeSequencesTest,
    ::testing::Values(EscapeCase{"Empty", "", ""},
                      EscapeCase{"Path", "path{slash}to{colon}file", "path/to:file"},
                      EscapeCase{"UpperCaseName", "a{SLASH}b", "a/b"},
                      EscapeCase{"UnknownSurvives", "{unknown}", "{unknown}"},
                      EscapeCase{"UnknownIsLowered", "{Foo}", "{foo}"},
                      EscapeCase{"UnclosedBraceIsLiteral", "x{y", "x{y"},
                      EscapeCase{"UnclosedAfterExpansion", "{dot}{{", ".{{"},
                      EscapeCase{"SpaceAndAmpersand", "{space}{and}", " &"},
                      EscapeCase{"FirstCloseWins", "{{slash}}", "{{slash}}"},
                      EscapeCase{"EmptyName", "{}", "{}"},
                      EscapeCase{"NoRescanOfProduced", "{leftbrace}slash{rightbrace}", "{slash}"},
                      EscapeCase{"CaseOfPlainTextKept", "ABC{Question}Def", "ABC?Def"},
                      EscapeCase{"BraceWithMarkOpensNothing", "{\u0301slash}", "{\u0301slash}"},
                      EscapeCase{"CloseWithMarkClosesNothing", "{slash}\u0301", "{slash}\u0301"},
                      EscapeCase{"NonAsciiNameLowered", "{\u00C4}", "{\u00E4}"},
                      EscapeCase{"KeyNamesStay", "{enter}{tab}{equal}{leftbrace ",
                                 "{enter}{tab}{equal}{leftbrace "}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tarn::keys
