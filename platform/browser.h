#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tarn::platform {

// One application the desktop offers for http and https addresses, before any filtering.
struct BrowserApp {
    std::string bundleID;  // macOS bundle identifier; desktop file id on Linux
    std::string name;
    std::string path;        // application bundle path; .desktop file path on Linux
    bool agentLike = false;  // background agent / hidden entry
    bool declaresHttp = false;
    bool declaresHttps = false;
};

struct DefaultBrowsers {
    std::optional<std::string> http;
    std::optional<std::string> https;
    friend bool operator==(const DefaultBrowsers&, const DefaultBrowsers&) = default;
};

class BrowserServices {
  public:
    virtual ~BrowserServices() = default;
    // Applications able to open an http address, and an https address, in the desktop's
    // order; duplicates (the same id at several locations) are listed as they come.
    virtual std::vector<BrowserApp> applicationsForScheme(const std::string& scheme) = 0;
    virtual DefaultBrowsers currentDefaults() = 0;
    // Makes the application the default for http, https, HTML and XHTML; true only when
    // every one of the four settings succeeded.
    virtual bool setDefault(const std::string& bundleID) = 0;
};

struct ScriptResult {
    bool compiled = true;              // false: the runner refused the source
    std::optional<std::string> error;  // description of a failed run
};

class ScriptRunner {
  public:
    virtual ~ScriptRunner() = default;
    virtual ScriptResult run(const std::string& source) = 0;
};

}  // namespace tarn::platform
