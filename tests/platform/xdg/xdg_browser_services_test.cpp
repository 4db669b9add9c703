#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "platform/xdg/xdg_desktop.h"
#include "support/files.h"
#include "tests/common/golden.h"
#include "tests/common/temp_dir.h"

namespace tarn::platform::xdg {
namespace {

namespace fs = std::filesystem;

std::string entry(const std::string& name, const std::string& extra = "",
                  const std::string& types = "x-scheme-handler/http;x-scheme-handler/https;") {
    // Exec names a program on PATH, which xdg-mime wants before it counts an entry installed.
    return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=true %u\nMimeType=" + types +
           "\n" + extra;
}

// User and system data and config dirs with shadowed, hidden, https-only, broken and vendor
// entries.
class XdgTreeTest : public ::testing::Test {
  protected:
    XdgTreeTest() {
        write("user/applications/firefox.desktop", entry("Firefox (mine)"));
        write("user/applications/epiphany.desktop", entry("Web", "Hidden=true\n"));
        write("sys1/applications/firefox.desktop", entry("Firefox"));
        write("sys1/applications/chromium.desktop", entry("Chromium"));
        write("sys1/applications/kde4/konqueror.desktop", entry("Konqueror"));
        write("sys1/applications/handler.desktop", entry("Handler", "NoDisplay=true\n"));
        write("sys1/applications/link.desktop",
              "[Desktop Entry]\nType=Link\nName=Link\nURL=https://example.org/\n"
              "MimeType=x-scheme-handler/http;x-scheme-handler/https;\n");
        write("sys1/applications/secure.desktop", entry("Secure", "", "x-scheme-handler/https;"));
        write("sys1/applications/broken.desktop", entry("Broken", "no equals sign\n"));
        write("sys1/applications/notes.txt", entry("Not an entry"));
        write("sys2/applications/chromium.desktop", entry("Chromium (shadowed)"));
        write("sys2/applications/epiphany.desktop", entry("Epiphany"));
        write("sys2/applications/zen.desktop",
              entry("zen", "", "X-Scheme-Handler/HTTP;x-scheme-handler/https"));
        write("sys2/applications/mimeapps.list",
              "[Default Applications]\nx-scheme-handler/https=zen.desktop\n");
        write("etc/mimeapps.list",
              "[Default Applications]\nx-scheme-handler/http=gone.desktop;epiphany.desktop;"
              "chromium.desktop\n");
    }

    fs::path at(const std::string& relative) const { return dir.path() / relative; }
    void write(const std::string& relative, const std::string& bytes) const {
        fs::create_directories(at(relative).parent_path());
        std::ofstream(at(relative), std::ios::binary) << bytes;
    }

    Locations locations() const {
        return {.configHome = at("config"),
                .configDirs = {at("etc")},
                .dataHome = at("user"),
                .dataDirs = {at("sys1"), at("sys2")},
                .desktops = {}};
    }

    std::unique_ptr<BrowserServices> services() const { return makeBrowserServices(locations()); }

    // What xdg-mime, reading the same directories, takes for the default.
    std::string xdgMimeDefault(const std::string& type) const {
        std::string line = "env -i HOME='" + dir.path().string() + "' PATH=/usr/bin:/bin" +
                           " XDG_CONFIG_HOME='" + at("config").string() + "' XDG_CONFIG_DIRS='" +
                           at("etc").string() + "' XDG_DATA_HOME='" + at("user").string() +
                           "' XDG_DATA_DIRS='" + at("sys1").string() + ":" + at("sys2").string() +
                           "' xdg-mime query default " + type;
        std::string output;
        if (FILE* pipe = ::popen(line.c_str(), "r")) {
            char buffer[256];
            while (std::fgets(buffer, sizeof buffer, pipe)) output += buffer;
            EXPECT_EQ(::pclose(pipe), 0) << line;
        }
        return output;
    }

    std::string userList() const {
        return support::readFile(at("config/mimeapps.list")).value_or("<missing>");
    }

    testing::TempDir dir;
};

// Each id comes once, as the entry in effect: the core would prefer a system entry to the
// user's. Hidden, NoDisplay and Link entries are listed as not for people to pick.
TEST_F(XdgTreeTest, EachIdComesOnceAndCurrentIsTheFirstDefaultThatCanStart) {
    std::string seen;
    for (const auto& app : services()->applicationsForScheme("HTTPS")) {
        seen += app.bundleID + " " + app.name + (app.agentLike ? " agent" : "") +
                (app.declaresHttp ? " http" : "") + (app.declaresHttps ? " https " : " ") +
                app.path.substr(dir.path().string().size()) + "\n";
    }
    EXPECT_EQ(seen, testing::golden("platform/xdg/golden/http_apps.txt"));
    // Defaults that are not installed or hidden pass the choice on; a desktop's own list comes
    // before the common one.
    EXPECT_EQ(services()->currentDefaults(), (DefaultBrowsers{"chromium.desktop", "zen.desktop"}));
    EXPECT_EQ(xdgMimeDefault("x-scheme-handler/https"), "zen.desktop\n");
    write("etc/lxqt-mimeapps.list", "[Default Applications]\nx-scheme-handler/http=zen.desktop\n");
    auto where = locations();
    where.desktops = {"gnome", "lxqt"};
    EXPECT_EQ(makeBrowserServices(where)->currentDefaults().http, "zen.desktop");
}

TEST_F(XdgTreeTest, SetWritesTheUserListAndXdgMimeAgrees) {
    write("config/mimeapps.list",
          "# my associations\n[Added Associations]\nimage/png=eog.desktop;\n"
          "[Default Applications]\ntext/html=old.desktop\nbroken line\n");
    fs::permissions(at("config/mimeapps.list"), fs::perms(0600));
    EXPECT_TRUE(services()->setDefault("kde4-konqueror.desktop"));
    EXPECT_EQ(userList(), testing::golden("platform/xdg/golden/konqueror_mimeapps.list"));
    // The list used to become 0644 with every change.
    EXPECT_EQ(fs::status(at("config/mimeapps.list")).permissions(), fs::perms(0600));
    EXPECT_EQ(services()->currentDefaults(),
              (DefaultBrowsers{"kde4-konqueror.desktop", "kde4-konqueror.desktop"}));
    EXPECT_EQ(xdgMimeDefault("x-scheme-handler/https"), "kde4-konqueror.desktop\n");
    EXPECT_EQ(xdgMimeDefault("x-scheme-handler/http"), "kde4-konqueror.desktop\n");
}

TEST_F(XdgTreeTest, RefusesDefaultsThatCouldNotWorkAndLeavesTheFileAlone) {
    write("config/mimeapps.list", "[Default Applications]\n");
    auto services = this->services();
    for (const char* id : {"gone.desktop", "epiphany.desktop", "broken.desktop", "link.desktop",
                           "notes.txt", "kde4/konqueror.desktop", ""}) {
        EXPECT_FALSE(services->setDefault(id)) << id;
    }
    EXPECT_EQ(userList(), "[Default Applications]\n");
}

// A list that cannot be read is never replaced, and a FIFO in its place (which hung tarn for
// ever) is never waited for; one linked in stays a link.
TEST_F(XdgTreeTest, TheUserListIsReplacedOnlyWhenReadAndThroughItsLink) {
    const fs::path list = at("config/mimeapps.list");
    for (auto kind : {testing::Unreadable::folder, testing::Unreadable::fifo}) {
        ASSERT_TRUE(testing::makeUnreadable(list, kind));
        EXPECT_FALSE(services()->setDefault("zen.desktop")) << nameOf(kind);
        EXPECT_EQ(services()->currentDefaults().http, "chromium.desktop") << nameOf(kind);
        EXPECT_EQ(fs::status(list).type(), kind == testing::Unreadable::fifo
                                               ? fs::file_type::fifo
                                               : fs::file_type::directory);
        fs::remove(list);
    }
    fs::create_symlink("mimeapps.list", list);  // a link to itself
    EXPECT_FALSE(services()->setDefault("zen.desktop"));
    fs::remove(list);
    write("dotfiles/mimeapps.list", "[Default Applications]\n");
    fs::create_symlink("../dotfiles/mimeapps.list", list);
    EXPECT_TRUE(services()->setDefault("zen.desktop"));
    EXPECT_TRUE(fs::is_symlink(list));
    EXPECT_EQ(support::readFile(at("dotfiles/mimeapps.list")),
              testing::golden("platform/xdg/golden/zen_mimeapps.list"));
}

// An entry naming the window class wins over one whose file name matches, in any case.
TEST_F(XdgTreeTest, AnApplicationsIconByWindowClassThenFileName) {
    write("user/applications/writer.desktop", entry("Writer", "Icon=by-name\n"));
    write("sys2/applications/zz-editor.desktop",
          entry("E", "Icon=/e.png\nStartupWMClass=wRiter\n"));
    write("sys2/applications/hidden.desktop", entry("H", "Icon=h\nHidden=true\n"));
    write("sys2/applications/zed.desktop", entry("Zed", "Icon=zed\n"));
    EXPECT_EQ(applicationIcon(locations(), "Writer"), "/e.png");
    EXPECT_EQ(applicationIcon(locations(), "ZED"), "zed");
    for (const char* none : {"hidden", "chromium", ""})
        EXPECT_FALSE(applicationIcon(locations(), none));
}

TEST(XdgScriptRunnerTest, EveryScriptFailsSayingWhy) {
    auto result = makeScriptRunner()->run("tell application \"Safari\" to activate");
    EXPECT_TRUE(result.compiled);
    EXPECT_EQ(result.error,
              "no script runner on this platform (AppleScript is not available on Linux)");
}

}  // namespace
}  // namespace tarn::platform::xdg
