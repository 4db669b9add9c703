#!/usr/bin/env python3
"""Times `tarn browser-tab` on headless Chromium with 200 tabs in 10 windows: from the
command's start to its exit, which comes after the extension has selected the tab.

    bench/browser/browser_tab_chromium.py [build folder, default build/default] [runs]

Needs chromium and python3; uses a private profile, home and runtime folder."""
import base64, json, os, socket, statistics, struct, subprocess, sys, tempfile, time

root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
build = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, "build/default"))
runs = int(sys.argv[2]) if len(sys.argv) > 2 else 40
WINDOWS, TABS = 10, 20


def cdp(port, path, method, params):
    """One DevTools command over a minimal WebSocket client (text frames only)."""
    s = socket.create_connection(("127.0.0.1", port))
    key = base64.b64encode(os.urandom(16)).decode()
    s.sendall((f"GET {path} HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\nUpgrade: websocket\r\n"
               f"Connection: Upgrade\r\nSec-WebSocket-Key: {key}\r\n"
               "Sec-WebSocket-Version: 13\r\n\r\n").encode())
    reply = b""
    while b"\r\n\r\n" not in reply:
        reply += s.recv(4096)
    data = json.dumps({"id": 1, "method": method, "params": params}).encode()
    mask = os.urandom(4)
    header = bytes([0x81, 0x80 | 126]) + struct.pack(">H", len(data)) + mask
    s.sendall(header + bytes(b ^ mask[i % 4] for i, b in enumerate(data)))
    rest = reply.split(b"\r\n\r\n", 1)[1]
    while True:
        while len(rest) < 2:
            rest += s.recv(65536)
        size, at = rest[1] & 0x7F, 2
        if size == 126:
            size, at = struct.unpack(">H", rest[2:4])[0], 4
        elif size == 127:
            size, at = struct.unpack(">Q", rest[2:10])[0], 10
        while len(rest) < at + size:
            rest += s.recv(65536)
        message, rest = json.loads(rest[at:at + size]), rest[at + size:]
        if message.get("id") == 1:
            s.close()
            return message


def shape(run):
    """The tab count of each window, asked of the host directly."""
    folder = run + "/tarn-browser"
    s = socket.socket(socket.AF_UNIX)
    s.connect(os.path.join(folder, os.listdir(folder)[0]))
    request = json.dumps({"id": 1, "command": "list"}).encode()
    s.sendall(struct.pack("<I", len(request)) + request)
    data = b""
    while len(data) < 4 or len(data) < 4 + struct.unpack("<I", data[:4])[0]:
        data += s.recv(65536)
    return [len(w["tabs"]) for w in json.loads(data[4:])["windows"]]


def main():
    tmp = tempfile.mkdtemp(prefix="tarn-bench-")
    home, profile, run, www = (os.path.join(tmp, d) for d in ("home", "profile", "run", "www"))
    for folder in (home, profile, run, www):
        os.makedirs(folder, mode=0o700)
    with open(os.path.join(www, "p.html"), "w") as page:
        page.write("<title>page</title>")
    env = dict(os.environ, HOME=home, XDG_RUNTIME_DIR=run, XDG_CONFIG_HOME=home + "/.config")
    http = subprocess.Popen([sys.executable, "-u", "-m", "http.server", "--bind", "127.0.0.1",
                             "--directory", www, "0"], stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL, text=True)
    base = "http://127.0.0.1:" + http.stdout.readline().split("port ")[1].split()[0]
    subprocess.run([root + "/scripts/browser-setup", "install", "--host",
                    build + "/browser/tarn-browser-host", "--chromium-profile", profile],
                   env=env, check=True, stdout=subprocess.DEVNULL)
    chromium = subprocess.Popen(
        ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--user-data-dir=" + profile,
         "--load-extension=" + build + "/browser/extension/chromium",
         "--remote-debugging-port=0", base + "/p.html?w0t0"],
        env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    tarn = build + "/tarn"

    def browser_tab(url_pattern, url):
        started = time.perf_counter()
        subprocess.run([tarn, "browser-tab", "chromium", url_pattern, "zzz", url], env=env,
                       check=True)
        return time.perf_counter() - started

    try:
        active = os.path.join(profile, "DevToolsActivePort")
        while not (os.path.exists(active) and os.path.isdir(run + "/tarn-browser")
                   and os.listdir(run + "/tarn-browser")):
            time.sleep(0.1)
        port, path = open(active).read().split()
        for w in range(WINDOWS):
            if w:
                cdp(int(port), path, "Target.createTarget",
                    {"url": f"{base}/p.html?w{w}t0", "newWindow": True})
                time.sleep(0.3)
            browser_tab(f"?w{w}t0", "unused")  # its window to the front
            for t in range(1, TABS):
                browser_tab("nomatch", f"{base}/p.html?w{w}t{t}")
        print("windows and their tabs, as the extension lists them:", shape(run))
        last, first = f"?w{WINDOWS - 1}t{TABS - 1}", "?w0t0"
        times = [browser_tab(last if i % 2 else first, "unused") * 1000 for i in range(runs)]
        print(f"browser-tab, {WINDOWS * TABS} tabs in {WINDOWS} windows, {runs} runs: "
              f"median {statistics.median(times):.1f} ms, min {min(times):.1f} ms, "
              f"max {max(times):.1f} ms")
    finally:
        chromium.kill()
        http.kill()
        chromium.wait()
        http.wait()


main()
