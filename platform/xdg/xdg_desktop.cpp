#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <optional>
#include <set>

#include "platform/xdg/base_dirs.h"
#include "platform/xdg/key_file.h"
#include "platform/xdg/mimeapps.h"
#include "platform/xdg/xdg_desktop.h"
#include "support/app_support.h"
#include "support/files.h"
#include "support/text.h"

namespace tarn::platform::xdg {
namespace fs = std::filesystem;

Locations Locations::fromEnvironment() {
    Locations locations;
    locations.configHome = support::xdgConfigHome().value_or(fs::path());
    locations.configDirs = xdg::configDirs();
    locations.dataHome = xdg::dataHome().value_or(fs::path());
    locations.dataDirs = xdg::dataDirs();
    if (const char* current = std::getenv("XDG_CURRENT_DESKTOP")) {
        for (auto name : support::splitText(current, ":")) {
            if (!name.empty()) locations.desktops.push_back(support::asciiLowercase(name));
        }
    }
    return locations;
}

namespace {

// The types a web browser is made the default for.
const std::vector<std::string> kBrowserTypes{"x-scheme-handler/http", "x-scheme-handler/https",
                                             "text/html", "application/xhtml+xml"};

std::vector<fs::path> withHome(const fs::path& home, const std::vector<fs::path>& dirs) {
    std::vector<fs::path> all;
    if (!home.empty()) all.push_back(home);
    all.insert(all.end(), dirs.begin(), dirs.end());
    return all;
}

struct DesktopFile {
    std::string id;
    fs::path path;
};

// Every .desktop file under one applications directory, by desktop file id: the path
// below the directory with "/" turned into "-" (kde4/konqueror.desktop is
// kde4-konqueror.desktop). Sorted by id, so the listing does not depend on the order the
// file system happens to return.
std::vector<DesktopFile> desktopFilesIn(const fs::path& applications) {
    std::vector<DesktopFile> files;
    std::error_code ec;
    fs::recursive_directory_iterator it(applications, fs::directory_options::skip_permission_denied,
                                        ec);
    for (; !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        const fs::path& path = it->path();
        std::error_code statError;
        if (path.extension() != ".desktop" || !fs::is_regular_file(path, statError)) continue;
        std::string id = path.lexically_relative(applications).generic_string();
        std::replace(id.begin(), id.end(), '/', '-');
        files.push_back({std::move(id), path.lexically_normal()});
    }
    std::sort(files.begin(), files.end(),
              [](const DesktopFile& a, const DesktopFile& b) { return a.id < b.id; });
    return files;
}

// An id names something a default can be written for: a .desktop file name that cannot
// break a line of mimeapps.list or split its list.
bool isWritableDesktopId(const std::string& id) {
    if (!id.ends_with(".desktop") || id.size() == 8) return false;
    return std::none_of(id.begin(), id.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == ';' || c == '/';
    });
}

// The desktop entries in effect: for each id the file found first, the user's data
// directory before the system ones. A file found first shadows later ones with the same
// id even when it is broken or Hidden; that is how a user removes a system entry.
std::vector<DesktopFile> installedFiles(const Locations& where) {
    std::vector<DesktopFile> installed;
    std::set<std::string> seen;
    for (const auto& dir : withHome(where.dataHome, where.dataDirs)) {
        for (auto& file : desktopFilesIn(dir / "applications")) {
            if (seen.insert(file.id).second) installed.push_back(std::move(file));
        }
    }
    return installed;
}

std::optional<DesktopEntry> readEntry(const fs::path& path) {
    auto text = support::readFile(path);
    if (!text) return std::nullopt;
    return parseDesktopEntry(*text);
}

class XdgBrowserServices final : public BrowserServices {
  public:
    explicit XdgBrowserServices(std::optional<Locations> fixed) : fixed_(std::move(fixed)) {}

    std::vector<BrowserApp> applicationsForScheme(const std::string& scheme) override {
        const std::string type = "x-scheme-handler/" + support::asciiLowercase(scheme);
        std::vector<BrowserApp> apps;
        for (const auto& file : installedFiles(locations())) {
            auto entry = readEntry(file.path);
            if (!entry) continue;
            auto handles = [&](const std::string& wanted) {
                return std::any_of(
                    entry->mimeTypes.begin(), entry->mimeTypes.end(),
                    [&](const std::string& t) { return support::asciiLowercase(t) == wanted; });
            };
            if (!handles(type)) continue;
            apps.push_back(BrowserApp{
                .bundleID = file.id,
                .name = entry->name,
                .path = file.path.string(),
                .agentLike = entry->noDisplay || entry->hidden || entry->type != "Application",
                .declaresHttp = handles("x-scheme-handler/http"),
                .declaresHttps = handles("x-scheme-handler/https")});
        }
        return apps;
    }

    DefaultBrowsers currentDefaults() override {
        const Locations where = locations();
        const auto installed = installedFiles(where);
        const auto lists = mimeappsFiles(where);
        return {defaultFor("x-scheme-handler/http", lists, installed),
                defaultFor("x-scheme-handler/https", lists, installed)};
    }

    bool setDefault(const std::string& bundleID) override {
        const Locations where = locations();
        if (!isWritableDesktopId(bundleID) || !isLaunchable(bundleID, installedFiles(where))) {
            return false;
        }
        if (where.configHome.empty()) return false;
        fs::path target = where.configHome / "mimeapps.list";
        std::error_code ec;
        // A mimeapps.list kept elsewhere and linked in stays a link: the file it points to
        // is the one replaced.
        if (fs::is_symlink(fs::symlink_status(target, ec))) {
            target = fs::weakly_canonical(target, ec);
            if (ec) return false;
        }
        std::string old;
        if (fs::exists(target, ec)) {
            auto bytes = support::readFile(target);
            if (!bytes) return false;  // never replace what could not be read
            old = std::move(*bytes);
        }
        std::vector<DefaultAssignment> assignments;
        for (const auto& type : kBrowserTypes) assignments.push_back({type, bundleID});
        fs::create_directories(target.parent_path(), ec);
        return !support::writeFileAtomically(target, withDefaults(old, assignments));
    }

  private:
    Locations locations() const { return fixed_ ? *fixed_ : Locations::fromEnvironment(); }

    // A default may only name an application that is there to be started.
    static bool isLaunchable(const std::string& id, const std::vector<DesktopFile>& installed) {
        auto file = std::find_if(installed.begin(), installed.end(),
                                 [&](const DesktopFile& f) { return f.id == id; });
        if (file == installed.end()) return false;
        auto entry = readEntry(file->path);
        return entry && !entry->hidden && entry->type == "Application";
    }

    // The mimeapps.list files in the order they are consulted: configuration directories
    // before data directories, the user's before the system's, and in each the files of
    // the current desktops before the common one.
    static std::vector<fs::path> mimeappsFiles(const Locations& where) {
        std::vector<fs::path> files;
        auto addFrom = [&](const fs::path& dir) {
            for (const auto& desktop : where.desktops)
                files.push_back(dir / (desktop + "-mimeapps.list"));
            files.push_back(dir / "mimeapps.list");
        };
        for (const auto& dir : withHome(where.configHome, where.configDirs)) addFrom(dir);
        for (const auto& dir : withHome(where.dataHome, where.dataDirs))
            addFrom(dir / "applications");
        return files;
    }

    // The first listed default that is installed; a default whose entry is gone passes the
    // choice on to the next one.
    static std::optional<std::string> defaultFor(const std::string& type,
                                                 const std::vector<fs::path>& lists,
                                                 const std::vector<DesktopFile>& installed) {
        for (const auto& list : lists) {
            auto text = support::readFile(list);
            if (!text) continue;
            for (const auto& id : defaultApplications(*text, type)) {
                if (isLaunchable(id, installed)) return id;
            }
        }
        return std::nullopt;
    }

    std::optional<Locations> fixed_;
};

class NoScriptRunner final : public ScriptRunner {
  public:
    ScriptResult run(const std::string&) override {
        return {.compiled = true, .error = std::string(kNoScriptRunnerText)};
    }
};

}  // namespace

std::optional<std::string> applicationIcon(const Locations& where, std::string_view windowClass) {
    auto lower = [](std::string_view text) {
        std::string out(text);
        std::transform(out.begin(), out.end(), out.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        return out;
    };
    std::string wanted = lower(windowClass);
    if (wanted.empty()) return std::nullopt;
    std::optional<std::string> byName;
    for (const auto& file : installedFiles(where)) {
        auto entry = readEntry(file.path);
        if (!entry || entry->hidden || entry->icon.empty()) continue;
        // What the entry says of its windows decides before a file name that happens to match.
        if (lower(entry->startupWMClass) == wanted) return entry->icon;
        std::string stem = file.id.substr(0, file.id.size() - std::string_view(".desktop").size());
        if (!byName && lower(stem) == wanted) byName = entry->icon;
    }
    return byName;
}

namespace {

class XdgAppIconNames final : public AppIconNames {
  public:
    explicit XdgAppIconNames(Locations where) : where_(std::move(where)) {}
    std::optional<std::string> iconName(std::string_view bundleID) override {
        return applicationIcon(where_, bundleID);
    }

  private:
    Locations where_;
};

}  // namespace

std::unique_ptr<AppIconNames> makeAppIconNames(Locations where) {
    return std::make_unique<XdgAppIconNames>(std::move(where));
}

std::unique_ptr<BrowserServices> makeBrowserServices() {
    return std::make_unique<XdgBrowserServices>(std::nullopt);
}

std::unique_ptr<BrowserServices> makeBrowserServices(Locations locations) {
    return std::make_unique<XdgBrowserServices>(std::move(locations));
}

std::unique_ptr<ScriptRunner> makeScriptRunner() {
    return std::make_unique<NoScriptRunner>();
}

}  // namespace tarn::platform::xdg
