#include "tests/common/desktop_oracle.h"

#include <cmath>
#include <sstream>

namespace tarn::testing {

::testing::AssertionResult settlesAt(const TestClient& client, const platform::Rect& expected) {
    std::optional<platform::Rect> seen;
    if (eventually([&] { return (seen = client.frame()) && near(*seen, expected); }))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "expected " << describe(expected) << ", oracle saw "
                                         << (seen ? describe(*seen) : "no window");
}

bool near(const platform::Rect& a, const platform::Rect& b, double tolerance) {
    return std::fabs(a.x - b.x) <= tolerance && std::fabs(a.y - b.y) <= tolerance &&
           std::fabs(a.width - b.width) <= tolerance && std::fabs(a.height - b.height) <= tolerance;
}

std::string describe(const platform::Rect& r) {
    std::ostringstream text;
    text << r.x << "," << r.y << " " << r.width << "x" << r.height;
    return text.str();
}

}  // namespace tarn::testing
