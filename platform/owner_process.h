#pragma once

#include <functional>

namespace tarn::platform {

// Keeps what this process offers (the clipboard's text) after it has ended: `owner` runs in a
// process of its own, nobody's child, detached from everything this one inherited or opened.
// There it opens a connection of its own, takes the clipboard, calls `ready` once it holds it,
// and serves until another client takes it; false when it could not. Returns once the owner
// is ready, or gave up, or two seconds have passed: a read that follows sees the new text.
void runInOwnerProcess(const std::function<bool(const std::function<void()>& ready)>& owner);

}  // namespace tarn::platform
