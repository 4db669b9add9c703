#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/files.h"
#include "support/json_text.h"
#include "tests/common/golden.h"
#include "tests/common/temp_dir.h"

namespace tarn::testing {

struct CommandResult {
    std::string out;
    std::string err;
    int status = -1;  // exit status; 128 + signal number when killed by a signal
};

// Runs the built tarn binary with argv (without the program name) in a sealed environment:
// HOME and XDG_CONFIG_HOME point into `home`, DISPLAY is unset, TARN_SIM_DESKTOP names
// `simFile` when given. extraEnv entries are "NAME=value" and replace those above. A run
// that takes longer than a minute is killed (a hang is a failure, not a stuck test run).
// Safe to call from several threads at once.
CommandResult runTarn(const std::vector<std::string>& args, const std::filesystem::path& home,
                      const std::optional<std::filesystem::path>& simFile = std::nullopt,
                      const std::vector<std::string>& extraEnv = {});

// Base fixture for command tests: a temp home, a desktop file to fill, helpers to run tarn
// and read what it left behind.
class CommandTest : public ::testing::Test {
  protected:
    const std::filesystem::path& home() const { return dir_.path(); }
    // $XDG_CONFIG_HOME/Tarn, where tarn keeps its files.
    std::filesystem::path configDir() const { return home() / ".config" / "Tarn"; }
    std::filesystem::path simFile() const { return home() / "desktop.json"; }

    // Writes the desktop file; later runs use it.
    void writeDesktop(const support::Json& desktop);
    support::Json readDesktop() const;
    // The "events" the sim recorded.
    support::Json events() const {
        auto desktop = readDesktop();
        return desktop.is_object() ? desktop.value("events", support::Json::array())
                                   : support::Json::array();
    }

    // Runs with the desktop file when one was written, else without a desktop.
    CommandResult run(const std::vector<std::string>& args,
                      const std::vector<std::string>& extraEnv = {});

    // Contents of a file in configDir(); absent when it does not exist.
    std::optional<std::string> configFile(const std::string& name) const {
        return support::readFile(configDir() / name);
    }
    void writeConfigFile(const std::string& name, const std::string& bytes) const;

    // A one-display, one-window desktop to start from.
    static support::Json basicDesktop() {
        return support::Json::parse(golden("common/basic_desktop.json"));
    }

  private:
    TempDir dir_;
    bool haveDesktop_ = false;
};

}  // namespace tarn::testing
