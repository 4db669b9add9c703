#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/browser_tabs.h"

namespace tarn::platform::nativemsg {

// A browser family as the user names it: the words that pick it (compared in lower case),
// the name messages use, the file names of its running program, and the commands that
// start it.
struct BrowserFamily {
    std::vector<std::string> words;
    std::string name;
    std::vector<std::string> programs;
    std::vector<std::string> launchers;
};

const std::vector<BrowserFamily>& browserFamilies();
// The family the word names; null for a browser Tarn cannot reach on Linux.
const BrowserFamily* familyFor(const std::string& browser);

// The tabs of the running browser of that family through Tarn's extension and its native
// host, one socket per running browser. An unknown browser word gives tabs whose every
// answer is a failure naming the browsers that work.
std::unique_ptr<BrowserTabs> makeNativeTabs(const std::string& browser);

}  // namespace tarn::platform::nativemsg
