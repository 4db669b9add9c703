#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "core/commands/browser_default.h"
#include "platform/xdg/xdg_desktop.h"
#include "support/files.h"
#include "support/json_text.h"
#include "tests/common/fake_desktop.h"
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

// The browser services of a real XDG tree, every other interface from the fake.
class XdgDesktop final : public Desktop {
  public:
    explicit XdgDesktop(Locations where) : browsers_(makeBrowserServices(std::move(where))) {}
    WindowSystem& windowSystem() override { return fake_; }
    Displays& displays() override { return fake_; }
    KeyboardOutput& keyboard() override { return fake_; }
    Clipboard& clipboard() override { return fake_; }
    Pointer& pointer() override { return fake_; }
    Accessibility& accessibility() override { return fake_; }
    Sleeper& sleeper() override { return fake_; }
    BrowserServices& browsers() override { return *browsers_; }
    ScriptRunner& scripts() override { return *scripts_; }

  private:
    testing::FakeDesktop fake_;
    std::unique_ptr<BrowserServices> browsers_;
    std::unique_ptr<ScriptRunner> scripts_ = makeScriptRunner();
};

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

    std::tuple<int, std::string, std::string> command(const Args& args) {
        XdgDesktop desktop(locations());
        std::ostringstream out, err;
        CommandContext context(out, err, desktop);
        int status = commands::handleBrowserDefault(args, context);
        return {status, out.str(), err.str()};
    }

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

TEST_F(XdgTreeTest, ListsTheEntriesInEffectThatHandleBothSchemes) {
    auto [status, out, err] = command({"list"});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(err, "");
    std::vector<std::string> listed;
    for (const auto& item : support::Json::parse(out)) {
        listed.push_back(item["name"].get<std::string>() + " " +
                         item["bundleID"].get<std::string>() + " " +
                         item["path"].get<std::string>().substr(dir.path().string().size()));
    }
    EXPECT_EQ(listed,
              (std::vector<std::string>{
                  "Chromium chromium.desktop /sys1/applications/chromium.desktop",
                  "Firefox (mine) firefox.desktop /user/applications/firefox.desktop",
                  "Konqueror kde4-konqueror.desktop /sys1/applications/kde4/konqueror.desktop",
                  "zen zen.desktop /sys2/applications/zen.desktop"}));
}

// Each id comes once, as the entry in effect: the core would prefer a system entry to the user's.
TEST_F(XdgTreeTest, EachIdComesOnceAsTheEntryInEffect) {
    std::vector<std::string> seen;
    for (const auto& app : makeBrowserServices(locations())->applicationsForScheme("HTTPS")) {
        seen.push_back(app.bundleID + (app.agentLike ? " agent " : " ") +
                       app.path.substr(dir.path().string().size()));
    }
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "epiphany.desktop agent /user/applications/epiphany.desktop",
                        "firefox.desktop /user/applications/firefox.desktop",
                        "chromium.desktop /sys1/applications/chromium.desktop",
                        "handler.desktop agent /sys1/applications/handler.desktop",
                        "kde4-konqueror.desktop /sys1/applications/kde4/konqueror.desktop",
                        "link.desktop agent /sys1/applications/link.desktop",
                        "secure.desktop /sys1/applications/secure.desktop",
                        "zen.desktop /sys2/applications/zen.desktop"}));
}

TEST_F(XdgTreeTest, CurrentSkipsDefaultsThatAreNotInstalledOrHidden) {
    EXPECT_EQ(command({"current"}),
              std::make_tuple(0,
                              std::string("{\n  \"http\" : \"chromium.desktop\",\n"
                                          "  \"https\" : \"zen.desktop\"\n}\n"),
                              std::string()));
    EXPECT_EQ(xdgMimeDefault("x-scheme-handler/https"), "zen.desktop\n");
}

TEST_F(XdgTreeTest, DesktopSpecificListComesBeforeTheCommonOne) {
    write("etc/lxqt-mimeapps.list", "[Default Applications]\nx-scheme-handler/http=zen.desktop\n");
    auto where = locations();
    where.desktops = {"gnome", "lxqt"};
    EXPECT_EQ(makeBrowserServices(where)->currentDefaults().http, "zen.desktop");
}

TEST_F(XdgTreeTest, SetWritesTheUserListAndXdgMimeAgrees) {
    write("config/mimeapps.list",
          "# my associations\n[Added Associations]\nimage/png=eog.desktop;\n"
          "[Default Applications]\ntext/html=old.desktop\nbroken line\n");
    EXPECT_EQ(command({"set", "--bundle", "kde4-konqueror.desktop"}),
              std::make_tuple(0,
                              std::string("Set default browser to: Konqueror "
                                          "(kde4-konqueror.desktop)\n"),
                              std::string()));
    EXPECT_EQ(userList(),
              "# my associations\n[Added Associations]\nimage/png=eog.desktop;\n"
              "[Default Applications]\ntext/html=kde4-konqueror.desktop\nbroken line\n"
              "x-scheme-handler/http=kde4-konqueror.desktop\n"
              "x-scheme-handler/https=kde4-konqueror.desktop\n"
              "application/xhtml+xml=kde4-konqueror.desktop\n");
    EXPECT_EQ(xdgMimeDefault("x-scheme-handler/https"), "kde4-konqueror.desktop\n");
    EXPECT_EQ(xdgMimeDefault("x-scheme-handler/http"), "kde4-konqueror.desktop\n");
}

TEST_F(XdgTreeTest, ToggleGoesBackAndForth) {
    using Result = std::tuple<int, std::string, std::string>;
    const Args toggle{"toggle", "--a", "chromium.desktop", "--b", "zen.desktop"};
    EXPECT_EQ(command(toggle), Result(0, "{\"bundleID\":\"zen.desktop\",\"name\":\"zen\"}\n", ""));
    EXPECT_EQ(xdgMimeDefault("x-scheme-handler/http"), "zen.desktop\n");
    EXPECT_EQ(command(toggle),
              Result(0, "{\"bundleID\":\"chromium.desktop\",\"name\":\"Chromium\"}\n", ""));
    EXPECT_EQ(xdgMimeDefault("x-scheme-handler/https"), "chromium.desktop\n");
}

TEST_F(XdgTreeTest, RefusesDefaultsThatCouldNotWorkAndLeavesTheFileAlone) {
    write("config/mimeapps.list", "[Default Applications]\n");
    auto services = makeBrowserServices(locations());
    for (const char* id : {"gone.desktop", "epiphany.desktop", "broken.desktop", "link.desktop",
                           "notes.txt", "kde4/konqueror.desktop", ""}) {
        EXPECT_FALSE(services->setDefault(id)) << id;
    }
    EXPECT_EQ(userList(), "[Default Applications]\n");
    EXPECT_EQ(command({"toggle", "--a", "gone.desktop", "--b", "x"}),
              std::make_tuple(4, std::string(), std::string("Failed to toggle to gone.desktop\n")));
}

TEST_F(XdgTreeTest, AnUnreadableListIsNeverReplaced) {
    fs::create_directories(at("config/mimeapps.list"));
    EXPECT_FALSE(makeBrowserServices(locations())->setDefault("zen.desktop"));
    EXPECT_TRUE(fs::is_directory(at("config/mimeapps.list")));
}

TEST_F(XdgTreeTest, ALinkedListStaysALink) {
    write("dotfiles/mimeapps.list", "[Default Applications]\n");
    fs::create_directories(at("config"));
    fs::create_symlink("../dotfiles/mimeapps.list", at("config/mimeapps.list"));
    EXPECT_TRUE(makeBrowserServices(locations())->setDefault("zen.desktop"));
    EXPECT_TRUE(fs::is_symlink(at("config/mimeapps.list")));
    EXPECT_EQ(support::readFile(at("dotfiles/mimeapps.list")),
              "[Default Applications]\nx-scheme-handler/http=zen.desktop\n"
              "x-scheme-handler/https=zen.desktop\ntext/html=zen.desktop\n"
              "application/xhtml+xml=zen.desktop\n");
}

TEST(XdgScriptRunnerTest, EveryScriptFailsSayingWhy) {
    auto result = makeScriptRunner()->run("tell application \"Safari\" to activate");
    EXPECT_TRUE(result.compiled);
    EXPECT_EQ(result.error,
              "no script runner on this platform (AppleScript is not available on Linux)");
}

}  // namespace
}  // namespace tarn::platform::xdg
