#pragma once

#include <chrono>
#include <memory>

#include "platform/input.h"
#include "platform/x11/connection.h"

namespace tarn::platform::x11 {

// The CLIPBOARD selection as plain text.
//
// Reading asks the owner for UTF8_STRING, then for STRING (Latin-1) when it has no UTF-8;
// an owner that does not answer within the timeout counts as an empty clipboard.
//
// X keeps no clipboard contents of its own: the text lives in the owning client. So writing
// starts a small owner process (forked twice, so nobody has to wait for it) that serves the
// text after this process has ended, and ends itself when another client takes the
// selection. It detaches fully (new session, root directory, no inherited descriptors), so
// a caller reading our output through a pipe is not kept waiting by it.
class ClipboardX11 final : public Clipboard {
  public:
    explicit ClipboardX11(Connection& connection,
                          std::chrono::milliseconds timeout = std::chrono::seconds(1))
        : x_(connection), timeout_(timeout) {}
    ~ClipboardX11() override;

    std::optional<std::string> readText() override;
    void writeText(const std::string& text) override;

  private:
    enum class Outcome { text, refused, noAnswer };
    Outcome convert(Atom target, std::string& text);
    Window requestor();

    Connection& x_;
    std::chrono::milliseconds timeout_;
    std::unique_ptr<HiddenWindow> requestor_;  // made on the first read
};

}  // namespace tarn::platform::x11
