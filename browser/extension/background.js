// Tarn's browser extension: answers the requests tarn sends through the native host
// (formats in browser/protocol/messages.h). One source for Chromium-family browsers (a
// service worker) and Firefox (a background page).
"use strict";

const api = globalThis.browser ?? globalThis.chrome;
const HOST = "tarn.browser_tab";

// Windows in the order the user last brought them forward, front first: the browsers list
// windows in the order they were made.
let focusOrder = [];

function bringForward(windowId) {
  focusOrder = [windowId, ...focusOrder.filter((id) => id !== windowId)];
}

api.windows.onFocusChanged.addListener((windowId) => {
  if (windowId !== api.windows.WINDOW_ID_NONE) bringForward(windowId);
});
api.windows.onRemoved.addListener((windowId) => {
  focusOrder = focusOrder.filter((id) => id !== windowId);
});

async function windowsFrontToBack() {
  const windows = await api.windows.getAll({ populate: true, windowTypes: ["normal"] });
  // What the worker saw come forward counts first: a headless browser or a window manager
  // may leave "focused" on a window the user has since left. After the worker was
  // restarted it knows nothing yet, and the browser's focused window leads.
  const rank = (w) => {
    const at = focusOrder.indexOf(w.id);
    if (at >= 0) return at;
    return focusOrder.length + (w.focused ? 0 : 1);
  };
  return windows
    .map((w, made) => ({ w, made }))
    .sort((a, b) => rank(a.w) - rank(b.w) || a.made - b.made)
    .map(({ w }) => w);
}

async function answer(request) {
  switch (request.command) {
    case "list": {
      const windows = (await windowsFrontToBack()).map((w) => ({
        id: w.id,
        tabs: (w.tabs ?? [])
          .sort((a, b) => a.index - b.index)
          .map((t) => ({ id: t.id, url: t.url ?? t.pendingUrl ?? "", title: t.title ?? "" })),
      }));
      return { id: request.id, windows };
    }
    case "select": {
      await api.tabs.update(request.tab, { active: true });
      await api.windows.update(request.window, { focused: true });
      bringForward(request.window);
      return { id: request.id, ok: true };
    }
    case "open": {
      const [front] = await windowsFrontToBack();
      if (front) {
        await api.tabs.create({ windowId: front.id, url: request.url, active: true });
        await api.windows.update(front.id, { focused: true });
      } else {
        const made = await api.windows.create({ url: request.url, focused: true });
        bringForward(made.id);
      }
      return { id: request.id, ok: true };
    }
    default:
      return { id: request.id, error: "unknown command" };
  }
}

// Reconnects after the host ends, waiting longer each time it fails at once (a host that
// is not installed), up to a minute.
let retryMs = 1000;

function connect() {
  const port = api.runtime.connectNative(HOST);
  const connectedAt = Date.now();
  port.onMessage.addListener(async (request) => {
    let reply;
    try {
      reply = await answer(request);
    } catch (error) {
      reply = { id: request.id, error: String(error?.message ?? error) };
    }
    port.postMessage(reply);
  });
  port.onDisconnect.addListener(() => {
    retryMs = Date.now() - connectedAt > 10000 ? 1000 : Math.min(retryMs * 2, 60000);
    setTimeout(connect, retryMs);
  });
}

connect();
