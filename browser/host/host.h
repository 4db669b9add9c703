#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarn::browser {

// Which extension the browser started the host for, from the host's arguments: Chromium
// passes the caller's origin ("chrome-extension://<id>/"), Firefox the manifest's path and
// the extension's id. Absent unless it is Tarn's extension.
std::optional<std::string> pinnedCaller(const std::vector<std::string>& args);

// Serves one browser until it closes the host's standard input: requests from tarn on the
// listening socket go to the extension on `toBrowser`, answers from `fromBrowser` go back.
// One request at a time; a malformed or oversized request is answered with an error and the
// connection closed; a malformed answer is dropped; an oversized one ends the host (the
// stream can no longer be read). Problems are written to `log`. Returns the exit status.
int serve(int fromBrowser, int toBrowser, int listening, std::FILE* log);

}  // namespace tarn::browser
