#pragma once

#include <memory>

#include "platform/browser.h"

// PLACEHOLDERS, to be replaced by the XDG-based browser services and script runner: an X
// desktop has no browser handlers of its own to offer, so until those land it offers none.
namespace tarn::platform::x11 {

// No applications, no defaults, and setting a default fails.
std::unique_ptr<BrowserServices> placeholderBrowserServices();
// Every script fails to run with a clear error.
std::unique_ptr<ScriptRunner> placeholderScriptRunner();

}  // namespace tarn::platform::x11
