#include "platform/xdg/key_file.h"

#include <gtest/gtest.h>

#include "platform/xdg/mimeapps.h"

namespace tarn::platform::xdg {
namespace {

TEST(DesktopEntryTest, ReadsTheEntryGroupOnly) {
    auto entry = parseDesktopEntry(
        "# a comment\n\n[Desktop Entry]\r\nType = Application\nName=Web\\sBrowser\\\\\n"
        "Name[de]=Netz\nName=Second\nNoDisplay=true\n"
        "MimeType=text/html;x-scheme-handler/http;;x-scheme-handler/https\n"
        "[Desktop Action new]\nHidden=true\nName=New Window\n");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->name, "Web Browser\\");
    EXPECT_EQ(entry->type, "Application");
    EXPECT_TRUE(entry->noDisplay);
    EXPECT_FALSE(entry->hidden);
    EXPECT_EQ(entry->mimeTypes, (std::vector<std::string>{"text/html", "x-scheme-handler/http",
                                                          "x-scheme-handler/https"}));
    const std::pair<const char*, std::string> cases[] = {
        {"Empty", ""},
        {"NoName", "[Desktop Entry]\nType=Application\n"},
        {"NoType", "[Desktop Entry]\nName=X\n"},
        {"OtherGroupFirst",
         "[Desktop Action x]\nName=X\n[Desktop Entry]\nName=X\nType=Application\n"},
        {"EntryBeforeGroup", "Name=X\n[Desktop Entry]\nName=X\nType=Application\n"},
        {"LineWithoutEquals", "[Desktop Entry]\nName=X\nType=Application\nbroken\n"},
        {"UnclosedHeader", "[Desktop Entry\nName=X\nType=Application\n"},
        {"NotUtf8", "[Desktop Entry]\nName=\xC3\x28\nType=Application\n"},
        {"StrayContinuationByte", "[Desktop Entry]\nName=\x80\nType=Application\n"},
        {"OverlongUtf8", "[Desktop Entry]\nName=\xC0\xAF\nType=Application\n"},
        {"Surrogate", "[Desktop Entry]\nName=\xED\xA0\x80\nType=Application\n"},
        {"TruncatedUtf8", "[Desktop Entry]\nType=Application\nName=\xE2\x82"},
    };
    for (const auto& [name, text] : cases) EXPECT_FALSE(parseDesktopEntry(text)) << name;
    EXPECT_TRUE(parseDesktopEntry("[Desktop Entry]\nName=\xE2\x82\xAC \xF0\x9F\x8C\x8D\nType=X"));
}

TEST(MimeappsTest, DefaultsComeFromTheFirstEntryOfTheDefaultsGroups) {
    const std::string text =
        "[Added Associations]\nx-scheme-handler/http=added.desktop\n"
        "[Default Applications]\nx-scheme-handler/https = a.desktop;b.desktop; \t\n"
        "[Default Applications]\nx-scheme-handler/https=late.desktop\n"
        "x-scheme-handler/http=c.desktop\n";
    using Ids = std::vector<std::string>;
    EXPECT_EQ(defaultApplications(text, "x-scheme-handler/https"), (Ids{"a.desktop", "b.desktop"}));
    EXPECT_EQ(defaultApplications(text, "x-scheme-handler/http"), Ids{"c.desktop"});
    EXPECT_EQ(defaultApplications(text, "text/html"), Ids{});
    const std::vector<DefaultAssignment> set{{"x-scheme-handler/http", "new.desktop"},
                                             {"text/html", "new.desktop"}};
    const std::pair<std::string, std::string> cases[] = {
        {"", "[Default Applications]\nx-scheme-handler/http=new.desktop\ntext/html=new.desktop\n"},
        {"[Added Associations]\nimage/png=gimp.desktop;",
         "[Added Associations]\nimage/png=gimp.desktop;\n\n[Default Applications]\n"
         "x-scheme-handler/http=new.desktop\ntext/html=new.desktop\n"},
        // Replaced in place, added at the end of the first defaults group.
        {"# mine\n[Default Applications]\nimage/png=eog.desktop\n"
         "x-scheme-handler/http = old.desktop;other.desktop;\r\n# keep\n\n"
         "[Removed Associations]\ntext/html=old.desktop;\n",
         "# mine\n[Default Applications]\nimage/png=eog.desktop\n"
         "x-scheme-handler/http=new.desktop\n# keep\ntext/html=new.desktop\n\n"
         "[Removed Associations]\ntext/html=old.desktop;\n"},
        // Every defaults group is updated.
        {"[Default Applications]\n[Default Applications]\ntext/html=old.desktop\n",
         "[Default Applications]\nx-scheme-handler/http=new.desktop\n"
         "[Default Applications]\ntext/html=new.desktop\n"},
        // Malformed lines survive.
        {"garbage before groups\n\xFF\xFE\n[Default Applications\n=no key\n"
         "[Default Applications]\nnot an entry\n",
         "garbage before groups\n\xFF\xFE\n[Default Applications\n=no key\n"
         "[Default Applications]\nnot an entry\nx-scheme-handler/http=new.desktop\n"
         "text/html=new.desktop\n"},
    };
    for (const auto& [before, after] : cases) EXPECT_EQ(withDefaults(before, set), after) << before;
}

}  // namespace
}  // namespace tarn::platform::xdg
