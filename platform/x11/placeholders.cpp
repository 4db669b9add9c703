#include "platform/x11/placeholders.h"

namespace tarn::platform::x11 {
namespace {

class NoBrowserServices final : public BrowserServices {
  public:
    std::vector<BrowserApp> applicationsForScheme(const std::string&) override { return {}; }
    DefaultBrowsers currentDefaults() override { return {}; }
    bool setDefault(const std::string&) override { return false; }
};

class NoScriptRunner final : public ScriptRunner {
  public:
    ScriptResult run(const std::string&) override {
        return {.compiled = true, .error = "browser scripts are not available on this platform"};
    }
};

}  // namespace

std::unique_ptr<BrowserServices> placeholderBrowserServices() {
    return std::make_unique<NoBrowserServices>();
}

std::unique_ptr<ScriptRunner> placeholderScriptRunner() {
    return std::make_unique<NoScriptRunner>();
}

}  // namespace tarn::platform::x11
