#pragma once

#include <string>

#include "support/files.h"

namespace tarn::testing {

// A long fixed text the tests compare against, kept beside them under tests/ rather than
// copied into test code (a transcript, a generated script).
inline std::string golden(const std::string& pathUnderTests) {
    return support::readFile(std::string(TARN_TESTS_DIR) + "/" + pathUnderTests)
        .value_or("<missing golden file " + pathUnderTests + ">");
}

}  // namespace tarn::testing
