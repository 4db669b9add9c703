#include "platform/sim/sim_desktop.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "support/files.h"
#include "support/json_text.h"
#include "support/number_text.h"

namespace tarn::platform::sim {
namespace {

using support::Json;

// The desktop file, read whole for one operation and written back when it changed.
class SimFile {
  public:
    explicit SimFile(std::filesystem::path path) : path_(std::move(path)) {}

    Json load() const {
        auto read = support::readRegularFile(path_);
        if (!read.bytes) fail(read.problem);  // "it is a FIFO, not a regular file"
        auto parsed = support::parseJsonText(*read.bytes);
        if (!parsed.value) fail(parsed.problem);  // "it is not JSON"
        auto& document = parsed.value;
        if (!document->is_object()) fail("the top level must be a JSON object");
        checkArray(*document, "displays");
        checkArray(*document, "apps");
        checkArray(*document, "events");
        return std::move(*document);
    }

    void save(const Json& document) const {
        std::string text;
        try {
            text = support::writeJson(document, {.pretty = true});
        } catch (const std::exception& e) {
            fail(e.what());
        }
        if (auto error = support::writeFileAtomically(path_, text + "\n")) {
            fail("cannot write the file: " + *error);
        }
    }

    // The advisory lock of the shared files (support::FileLock, on "<file>.lock"): every
    // change of the desktop is made under it.
    support::FileLock lock() const {
        auto lock = support::FileLock::acquire(path_);
        if (!lock) fail("cannot lock the file (no lock file can be made beside it)");
        return std::move(*lock);
    }

    [[noreturn]] void fail(const std::string& problem) const {
        throw DesktopError("simulated desktop " + path_.string() + ": " + problem);
    }

    void checkArray(const Json& document, const char* name) const {
        auto it = document.find(name);
        if (it != document.end() && !it->is_array() && !it->is_null()) {
            fail(std::string("\"") + name + "\" must be an array");
        }
    }

  private:
    std::filesystem::path path_;
};

double number(const SimFile& file, const Json& object, const char* name, double fallback = 0) {
    auto it = object.find(name);
    if (it == object.end() || it->is_null()) return fallback;
    if (!it->is_number()) file.fail(std::string("\"") + name + "\" must be a number");
    return it->get<double>();
}

bool flag(const SimFile& file, const Json& object, const char* name, bool fallback) {
    auto it = object.find(name);
    if (it == object.end() || it->is_null()) return fallback;
    if (!it->is_boolean()) file.fail(std::string("\"") + name + "\" must be true or false");
    return it->get<bool>();
}

std::optional<std::string> optionalString(const SimFile& file, const Json& object,
                                          const char* name) {
    auto it = object.find(name);
    if (it == object.end() || it->is_null()) return std::nullopt;
    if (!it->is_string()) file.fail(std::string("\"") + name + "\" must be a string or null");
    return it->get<std::string>();
}

Json& arrayMember(Json& document, const char* name) {
    Json& member = document[name];
    if (!member.is_array()) member = Json::array();
    return member;
}

const Json& arrayOrEmpty(const Json& document, const char* name) {
    static const Json empty = Json::array();
    auto it = document.find(name);
    return it == document.end() || !it->is_array() ? empty : *it;
}

// Numbers are written as integers when they are whole, so the file stays readable.
Json numberJson(double value) {
    if (auto whole = support::exactInt64(value)) return *whole;
    return value;
}

// A browser's tabs as the file's "browserTabs" member gives them; what the command does to
// them is appended to the events.
class SimTabs final : public BrowserTabs {
  public:
    SimTabs(const SimFile& file, std::string browser) : file_(file), browser_(std::move(browser)) {}

    TabListing list() override {
        Json doc = file_.load();
        const Json& tabs = doc["browserTabs"];
        TabListing listing;
        if (!flag(file_, tabs, "running", true)) {
            listing.failure = TabsFailure{TabsProblem::notRunning, browser_ + " is not running"};
        } else if (!flag(file_, tabs, "extension", true)) {
            listing.failure = TabsFailure{TabsProblem::extensionMissing,
                                          browser_ + " is running without Tarn's extension"};
        }
        if (listing.failure) return listing;
        for (const Json& window : arrayOrEmpty(tabs, "windows")) {
            BrowserWindow& listed = listing.windows.emplace_back();
            listed.id = static_cast<std::int64_t>(number(file_, window, "id"));
            for (const Json& tab : arrayOrEmpty(window, "tabs")) {
                listed.tabs.push_back({static_cast<std::int64_t>(number(file_, tab, "id")),
                                       optionalString(file_, tab, "url").value_or(""),
                                       optionalString(file_, tab, "title").value_or("")});
            }
        }
        return listing;
    }

    std::optional<TabsFailure> select(std::int64_t window, std::int64_t tab) override {
        record({{"type", "tabSelect"}, {"browser", browser_}, {"window", window}, {"tab", tab}});
        return std::nullopt;
    }

    std::optional<TabsFailure> open(const std::string& url) override {
        Json doc = file_.load();
        const Json& tabs = doc["browserTabs"];
        if (!flag(file_, tabs, "running", true)) {
            record({{"type", "browserStart"}, {"browser", browser_}, {"url", url}});
        } else {
            record({{"type", "tabOpen"},
                    {"browser", browser_},
                    {"url", url},
                    {"newWindow", arrayOrEmpty(tabs, "windows").empty()}});
        }
        return std::nullopt;
    }

  private:
    void record(Json event) {
        Json doc = file_.load();
        arrayMember(doc, "events").push_back(std::move(event));
        file_.save(doc);
    }

    const SimFile& file_;
    std::string browser_;
};

class SimDesktop final : public Desktop,
                         WindowSystem,
                         Displays,
                         KeyboardOutput,
                         Clipboard,
                         Pointer,
                         Accessibility,
                         Sleeper,
                         BrowserServices,
                         ScriptRunner {
  public:
    explicit SimDesktop(std::filesystem::path path) : file_(std::move(path)) {}
    ~SimDesktop() override {
        // An operation nobody ended still keeps what it changed, as a real desktop would.
        try {
            endOperation();
        } catch (const DesktopError&) {
        }
    }

    // One command, or one action of the agent, is one operation: a transaction on the file.
    // Its first use takes the lock that every change of the file is made under and reads the
    // file; its reads and changes then work on that document in memory, and its end writes it
    // back once (when it changed) and lets the lock go. So parallel commands each keep their
    // change (a second one waits for the first to end), and typing N keys costs one write,
    // not N rewrites of a file that grows with every event. A process that keeps the desktop
    // open for long (the agent) ends its operation after each action: from then on other
    // processes see what it did, and its next action reads what they did meanwhile. Outside an
    // operation (the agent's application events, its permission probe) each call is a
    // transaction of its own: reads read the file as it is, changes lock, read, change, write.
    void beginOperation() override { inOperation_ = true; }

    void endOperation() override {
        inOperation_ = false;
        std::optional<Json> document = std::exchange(document_, std::nullopt);
        bool changed = std::exchange(changed_, false);
        // The lock is let go on the way out, after the write, whatever becomes of it.
        struct Release {
            std::optional<support::FileLock>& lock;
            ~Release() { lock.reset(); }
        } release{lock_};
        if (document && changed) file_.save(*document);
    }

    WindowSystem& windowSystem() override { return *this; }
    Displays& displays() override { return *this; }
    KeyboardOutput& keyboard() override { return *this; }
    Clipboard& clipboard() override { return *this; }
    Pointer& pointer() override { return *this; }
    Accessibility& accessibility() override { return *this; }
    Sleeper& sleeper() override { return *this; }
    BrowserServices& browsers() override { return *this; }
    ScriptRunner& scripts() override { return *this; }

    // A file with "browserTabs" offers a browser reached through its extension; without
    // it, browsers take scripts.
    std::unique_ptr<BrowserTabs> browserTabs(const std::string& browser) override {
        Json doc = file_.load();
        auto tabs = doc.find("browserTabs");
        if (tabs == doc.end() || tabs->is_null()) return nullptr;
        if (!tabs->is_object()) file_.fail("\"browserTabs\" must be an object");
        return std::make_unique<SimTabs>(file_, browser);
    }

    // --- WindowSystem -------------------------------------------------------------------

    std::optional<AppInfo> frontmostApplication() override {
        Json& doc = current();
        auto front = doc.find("frontmost");
        if (front == doc.end() || front->is_null()) return std::nullopt;
        auto pid = static_cast<Pid>(number(file_, *front, "pid"));
        const Json* app = findApp(doc, pid);
        if (!app) return AppInfo{.pid = pid, .bundleID = {}, .localizedName = {}};
        return appInfo(*app);
    }

    std::vector<AppInfo> runningApplications() override {
        Json& doc = current();
        std::vector<AppInfo> apps;
        for (const Json& app : arrayOrEmpty(doc, "apps")) apps.push_back(appInfo(app));
        return apps;
    }

    FocusedWindow focusedWindow(Pid pid) override {
        Json& doc = current();
        const Json* app = findApp(doc, pid);
        if (!app) return {.window = std::nullopt, .error = ax::invalidElement};
        if (auto error = number(file_, *app, "focusedWindowError"); error != 0) {
            return {.window = std::nullopt, .error = static_cast<int>(error)};
        }
        auto front = doc.find("frontmost");
        if (front == doc.end() || front->is_null() ||
            static_cast<Pid>(number(file_, *front, "pid")) != pid) {
            return {.window = std::nullopt, .error = ax::noValue};
        }
        auto window = front->find("window");
        if (window == front->end() || window->is_null()) {
            return {.window = std::nullopt, .error = ax::noValue};
        }
        auto id = static_cast<WindowId>(number(file_, *front, "window"));
        if (!findWindow(doc, id)) return {.window = std::nullopt, .error = ax::noValue};
        return {.window = id, .error = ax::success};
    }

    std::vector<WindowId> windows(Pid pid) override {
        Json& doc = current();
        std::vector<WindowId> ids;
        const Json* app = findApp(doc, pid);
        if (!app) return ids;
        for (const Json& window : arrayOrEmpty(*app, "windows")) {
            ids.push_back(static_cast<WindowId>(number(file_, window, "id")));
        }
        return ids;
    }

    std::optional<bool> isMinimized(WindowId id) override {
        Json& doc = current();
        const Json* window = findWindow(doc, id);
        if (!window) return std::nullopt;
        return flag(file_, *window, "minimized", false);
    }

    void setMinimized(WindowId id, bool minimized) override {
        update([&](Json& doc) {
            if (Json* window = findWindow(doc, id)) (*window)["minimized"] = minimized;
        });
    }

    std::optional<Point> position(WindowId id) override {
        Json& doc = current();
        const Json* window = findWindow(doc, id);
        if (!window || !flag(file_, *window, "frameReadable", true)) return std::nullopt;
        return Point{number(file_, *window, "x"), number(file_, *window, "y")};
    }

    std::optional<Size> size(WindowId id) override {
        Json& doc = current();
        const Json* window = findWindow(doc, id);
        if (!window || !flag(file_, *window, "frameReadable", true)) return std::nullopt;
        return Size{number(file_, *window, "width"), number(file_, *window, "height")};
    }

    // Like a real window, a sim window keeps within its size limits and ignores a resize
    // when it is not resizable.
    void setFrame(WindowId id, Rect to) override {
        update([&](Json& doc) {
            Json* window = findWindow(doc, id);
            if (!window) return;
            (*window)["x"] = numberJson(to.x);
            (*window)["y"] = numberJson(to.y);
            if (!flag(file_, *window, "resizable", true)) return;
            auto limit = [&](double value, const char* low, const char* high) {
                value = std::max(value, number(file_, *window, low, 0));
                double max = number(file_, *window, high, INFINITY);
                return std::min(value, max);
            };
            double width = limit(to.width, "minWidth", "maxWidth");
            double height = limit(to.height, "minHeight", "maxHeight");
            (*window)["width"] = numberJson(width);
            (*window)["height"] = numberJson(height);
        });
    }

    int windowListError(Pid pid) override {
        Json& doc = current();
        const Json* app = findApp(doc, pid);
        if (!app) return ax::invalidElement;
        return static_cast<int>(number(file_, *app, "windowListError"));
    }

    int focusedElementError() override {
        return static_cast<int>(number(file_, current(), "focusedElementError"));
    }

    // --- Displays -----------------------------------------------------------------------

    std::vector<DisplayId> activeDisplays() override {
        Json& doc = current();
        std::vector<DisplayId> ids;
        for (const Json& display : arrayOrEmpty(doc, "displays")) {
            ids.push_back(static_cast<DisplayId>(number(file_, display, "id")));
        }
        return ids;
    }

    Rect bounds(DisplayId id) override {
        Json& doc = current();
        for (const Json& display : arrayOrEmpty(doc, "displays")) {
            if (static_cast<DisplayId>(number(file_, display, "id")) == id) {
                return {number(file_, display, "x"), number(file_, display, "y"),
                        number(file_, display, "width"), number(file_, display, "height")};
            }
        }
        return {};
    }

    DisplayId mainDisplay() override {
        auto ids = activeDisplays();
        return ids.empty() ? 0 : ids.front();
    }

    // --- KeyboardOutput -----------------------------------------------------------------

    bool canPost(std::uint16_t keyCode) override {
        Json& doc = current();
        for (const Json& code : arrayOrEmpty(doc, "unpostableKeys")) {
            if (code.is_number() && code.get<double>() == keyCode) return false;
        }
        return true;
    }

    void post(const KeyEvent& event) override {
        Json record = Json::object();
        record["type"] = "key";
        record["code"] = event.keyCode;
        record["down"] = event.down;
        record["flags"] = event.flags;
        record["marker"] = event.marker ? Json(*event.marker) : Json(nullptr);
        appendEvent(std::move(record));
    }

    // --- Clipboard ----------------------------------------------------------------------

    std::optional<std::string> readText() override {
        Json& doc = current();
        return optionalString(file_, doc, "clipboard");
    }

    void writeText(const std::string& text) override {
        update([&](Json& doc) {
            doc["clipboard"] = text;
            Json record = Json::object();
            record["type"] = "clipboard";
            record["text"] = text;
            arrayMember(doc, "events").push_back(std::move(record));
        });
    }

    // --- Pointer ------------------------------------------------------------------------

    void warp(Point to) override {
        update([&](Json& doc) {
            Json pointer = Json::object();
            pointer["x"] = numberJson(to.x);
            pointer["y"] = numberJson(to.y);
            doc["pointer"] = pointer;
            Json record = Json::object();
            record["type"] = "pointer";
            record["x"] = numberJson(to.x);
            record["y"] = numberJson(to.y);
            arrayMember(doc, "events").push_back(std::move(record));
        });
    }

    std::optional<Point> location() override {
        Json& doc = current();
        auto pointer = doc.find("pointer");
        if (pointer == doc.end() || !pointer->is_object()) return Point{};
        return Point{number(file_, *pointer, "x"), number(file_, *pointer, "y")};
    }

    bool canCreateMouseEvent(Point) override {
        return flag(file_, current(), "mouseEventsAvailable", true);
    }

    // --- Accessibility ------------------------------------------------------------------

    bool isTrusted(bool prompt) override {
        bool trusted = flag(file_, current(), "accessibilityTrusted", true);
        if (!trusted && prompt) {
            Json record = Json::object();
            record["type"] = "permissionPrompt";
            appendEvent(std::move(record));
        }
        return trusted;
    }

    std::string untrustedReason() override {
        return optionalString(file_, current(), "untrustedReason").value_or("");
    }

    // --- Sleeper ------------------------------------------------------------------------

    void sleepMicroseconds(std::uint32_t microseconds) override {
        auto clock = optionalString(file_, current(), "clock");
        if (clock && *clock == "recorded") {
            Json record = Json::object();
            record["type"] = "sleep";
            record["us"] = microseconds;
            appendEvent(std::move(record));
            return;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
    }

    // --- BrowserServices ----------------------------------------------------------------

    std::vector<BrowserApp> applicationsForScheme(const std::string& scheme) override {
        Json& doc = current();
        std::vector<BrowserApp> apps;
        auto browsers = doc.find("browsers");
        if (browsers == doc.end() || !browsers->is_object()) return apps;
        for (const Json& entry : arrayOrEmpty(*browsers, "apps")) {
            bool opens = false;
            for (const Json& s : arrayOrEmpty(entry, "opens")) opens |= s == scheme;
            if (!opens) continue;
            BrowserApp app;
            app.bundleID = optionalString(file_, entry, "bundleID").value_or("");
            app.name = optionalString(file_, entry, "name").value_or("");
            app.path = optionalString(file_, entry, "path").value_or("");
            app.agentLike = flag(file_, entry, "agentLike", false);
            for (const Json& s : arrayOrEmpty(entry, "declares")) {
                app.declaresHttp |= s == "http";
                app.declaresHttps |= s == "https";
            }
            apps.push_back(std::move(app));
        }
        return apps;
    }

    DefaultBrowsers currentDefaults() override {
        Json& doc = current();
        DefaultBrowsers defaults;
        auto browsers = doc.find("browsers");
        if (browsers == doc.end() || !browsers->is_object()) return defaults;
        auto current = browsers->find("defaults");
        if (current == browsers->end() || !current->is_object()) return defaults;
        defaults.http = optionalString(file_, *current, "http");
        defaults.https = optionalString(file_, *current, "https");
        return defaults;
    }

    bool setDefault(const std::string& bundleID) override {
        bool ok = true;
        update([&](Json& doc) {
            Json& browsers = doc["browsers"];
            if (!browsers.is_object()) browsers = Json::object();
            for (const Json& refused : arrayOrEmpty(browsers, "refuse")) {
                if (refused == bundleID) ok = false;
            }
            if (!ok) return;
            Json defaults = Json::object();
            defaults["http"] = bundleID;
            defaults["https"] = bundleID;
            browsers["defaults"] = defaults;
        });
        return ok;
    }

    // --- ScriptRunner -------------------------------------------------------------------

    ScriptResult run(const std::string& source) override {
        ScriptResult result;
        update([&](Json& doc) {
            auto answer = doc.find("scriptResult");
            if (answer != doc.end() && answer->is_string() && *answer == "refused") {
                result.compiled = false;
            } else if (answer != doc.end() && answer->is_object()) {
                result.error = optionalString(file_, *answer, "error");
            }
            Json record = Json::object();
            record["type"] = "script";
            record["source"] = source;
            arrayMember(doc, "events").push_back(std::move(record));
        });
        return result;
    }

  private:
    // The desktop as this operation sees it: inside one, the document it read (with its own
    // changes); outside one, the file as it is now (a whole file: it is only ever replaced).
    Json& current() {
        if (inOperation_) return operationDocument();
        outside_ = file_.load();
        return outside_;
    }

    Json& operationDocument() {
        if (!document_) {
            if (!lock_) lock_.emplace(file_.lock());
            document_ = file_.load();
        }
        return *document_;
    }

    // Inside an operation a change stays in memory until its end; outside one it is a
    // read-change-write of its own under the lock.
    template <typename Change>
    void update(Change change) {
        if (inOperation_) {
            Json& doc = operationDocument();
            changed_ = true;  // even a change that fails half way is written as it stands
            change(doc);
            return;
        }
        support::FileLock lock = file_.lock();
        Json doc = file_.load();
        change(doc);
        file_.save(doc);
    }

    void appendEvent(Json record) {
        update([&](Json& doc) { arrayMember(doc, "events").push_back(std::move(record)); });
    }

    AppInfo appInfo(const Json& app) const {
        return AppInfo{.pid = static_cast<Pid>(number(file_, app, "pid")),
                       .bundleID = optionalString(file_, app, "bundleID"),
                       .localizedName = optionalString(file_, app, "name"),
                       .regularActivationPolicy = flag(file_, app, "regular", true)};
    }

    Json* findApp(Json& doc, Pid pid) const {
        auto apps = doc.find("apps");
        if (apps == doc.end() || !apps->is_array()) return nullptr;
        for (auto& app : *apps) {
            if (static_cast<Pid>(number(file_, app, "pid")) == pid) return &app;
        }
        return nullptr;
    }

    Json* findWindow(Json& doc, WindowId id) const {
        auto apps = doc.find("apps");
        if (apps == doc.end() || !apps->is_array()) return nullptr;
        for (auto& app : *apps) {
            auto windows = app.find("windows");
            if (windows == app.end() || !windows->is_array()) continue;
            for (auto& window : *windows) {
                if (static_cast<WindowId>(number(file_, window, "id")) == id) return &window;
            }
        }
        return nullptr;
    }

    SimFile file_;
    bool inOperation_ = false;
    std::optional<support::FileLock> lock_;  // held from the operation's first use to its end
    std::optional<Json> document_;
    bool changed_ = false;
    Json outside_;  // the last read outside an operation
};

}  // namespace

std::unique_ptr<Desktop> openSimDesktop(const std::filesystem::path& file) {
    return std::make_unique<SimDesktop>(file);
}

}  // namespace tarn::platform::sim
