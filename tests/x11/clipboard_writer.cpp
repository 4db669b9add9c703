// Puts its first argument on the clipboard through the X11 desktop, says so and exits: the
// tests then check that the text is still served after its writer has gone. Further
// arguments are ignored; tests use one to find the owner process it left behind.
#include <cstdlib>
#include <iostream>

#include "platform/x11/x11_desktop.h"

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    const char* display = std::getenv("DISPLAY");
    auto choice = tarn::platform::x11::openX11Desktop(display ? display : "", nullptr, nullptr);
    if (!choice.desktop) {
        std::cerr << choice.error << '\n';
        return 1;
    }
    choice.desktop->clipboard().writeText(argv[1]);
    std::cout << "written" << std::endl;
    return 0;
}
