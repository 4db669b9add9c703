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
// X keeps no clipboard contents of its own: the text lives in the owning client. Who owns
// what this process writes depends on the process:
// - forkedProcess (the one-shot `tarn` command): writing starts a small owner process
//   (forked twice, so nobody has to wait for it) that serves the text after this process has
//   ended, and ends itself when another client takes the selection. It detaches fully (new
//   session, root directory, no inherited descriptors), so a caller reading our output
//   through a pipe is not kept waiting by it.
// - thisProcess (the long-running agent, which has threads and must not fork): a thread of
//   this process, on a connection of its own, serves the text for as long as the process
//   runs or until another client takes the selection.
enum class ClipboardOwner { forkedProcess, thisProcess };

class ClipboardX11 final : public Clipboard {
  public:
    explicit ClipboardX11(Connection& connection,
                          ClipboardOwner owner = ClipboardOwner::forkedProcess,
                          std::chrono::milliseconds timeout = std::chrono::seconds(1));
    ~ClipboardX11() override;

    std::optional<std::string> readText() override;
    void writeText(const std::string& text) override;

  private:
    enum class Outcome { text, refused, noAnswer };
    Outcome convert(Atom target, std::string& text);
    Window requestor();

    class InProcessOwner;

    Connection& x_;
    ClipboardOwner ownerKind_;
    std::chrono::milliseconds timeout_;
    std::unique_ptr<HiddenWindow> requestor_;    // made on the first read
    std::unique_ptr<InProcessOwner> inProcess_;  // made on the first write (thisProcess)
};

}  // namespace tarn::platform::x11
