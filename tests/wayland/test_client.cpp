// A plain xdg-shell client for the Wayland tests: windows of an exact size (it commits a
// buffer of the size it was given, and follows the compositor only when that names a size),
// a chosen app_id and title, and a log of what it receives.
//
// usage: tarn_wayland_test_client --log FILE [--app-id ID] [--title TEXT] [--size WxH]
//                                 [--windows N] [--min WxH]
//
// With several windows the second and later ones are titled "TEXT 2", "TEXT 3", ...
//
// Log lines (windows are numbered from 1 in creation order):
//   "window <n> <title>" per window, then "made" once every window has shown its first
//   buffer; "size <n> <w>x<h>" each time a window's buffer takes a new size;
//   "focus <n>" / "unfocus <n>" as the keyboard enters and leaves a window;
//   "key <keysym> <state>" per key press, "mod <keysym> <state>" for modifier keys (keysym
//   names as xkbcommon spells them; the state in hex with the X11 bits: Shift 0x1, Lock 0x2,
//   Control 0x4, Mod1 0x8, Mod2 0x10, Mod4 0x40 ..., as the X11 test client logs them);
//   "text <n> <utf8>" the text of each press, when it has any;
//   "pointer <n> <x> <y>" when the pointer enters a window, "motion <n> <x> <y>" when it
//   moves over it (surface-local), "leave <n>";
//   "closed <n>" when the compositor asks a window to close (the client leaves once every
//   window has).
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "xdg-shell-client-protocol.h"

namespace {

FILE* logFile = nullptr;

struct Window;

struct Client {
    wl_display* display = nullptr;
    wl_compositor* compositor = nullptr;
    wl_shm* shm = nullptr;
    xdg_wm_base* wmBase = nullptr;
    wl_seat* seat = nullptr;
    wl_keyboard* keyboard = nullptr;
    wl_pointer* pointer = nullptr;
    xkb_context* xkb = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    xkb_keymap* keymap = nullptr;
    xkb_state* state = nullptr;
    std::vector<std::unique_ptr<Window>> windows;
    int open = 0;
    std::uint32_t color = 0xffffffff;
    int wantWidth = 640, wantHeight = 480;
};

struct Window {
    Client* client = nullptr;
    int number = 0;
    wl_surface* surface = nullptr;
    xdg_surface* shell = nullptr;
    xdg_toplevel* toplevel = nullptr;
    wl_buffer* buffer = nullptr;
    int width = 0, height = 0;          // the buffer shown
    int nextWidth = 0, nextHeight = 0;  // what the next configure settles on
    bool shown = false;
    bool closed = false;
};

Window* windowOf(Client& client, wl_surface* surface) {
    for (auto& window : client.windows)
        if (window->surface == surface) return window.get();
    return nullptr;
}

// A buffer of the size, filled with the client's colour (each app_id its own, so screenshots
// tell the applications apart).
wl_buffer* makeBuffer(Client& client, int width, int height) {
    const int stride = width * 4;
    const std::size_t size = static_cast<std::size_t>(stride) * static_cast<std::size_t>(height);
    int fd = memfd_create("tarn-test-client", MFD_CLOEXEC);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(size)) != 0) std::exit(1);
    void* pixels = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (pixels == MAP_FAILED) std::exit(1);
    auto* words = static_cast<std::uint32_t*>(pixels);
    for (std::size_t i = 0; i < size / 4; ++i) words[i] = client.color;
    munmap(pixels, size);
    wl_shm_pool* pool = wl_shm_create_pool(client.shm, fd, static_cast<std::int32_t>(size));
    wl_buffer* buffer =
        wl_shm_pool_create_buffer(pool, 0, width, height, stride, WL_SHM_FORMAT_ARGB8888);
    wl_shm_pool_destroy(pool);
    close(fd);
    return buffer;
}

// --- Shell ---------------------------------------------------------------------------------

void wmBasePing(void*, xdg_wm_base* base, std::uint32_t serial) {
    xdg_wm_base_pong(base, serial);
}
const xdg_wm_base_listener wmBaseListener{wmBasePing};

void toplevelConfigure(void* data, xdg_toplevel*, std::int32_t width, std::int32_t height,
                       wl_array*) {
    auto* window = static_cast<Window*>(data);
    // Zero: the client picks; it keeps the size it has (or was given).
    window->nextWidth =
        width > 0 ? width : (window->width ? window->width : window->client->wantWidth);
    window->nextHeight =
        height > 0 ? height : (window->height ? window->height : window->client->wantHeight);
}
void toplevelClose(void* data, xdg_toplevel*) {
    auto* window = static_cast<Window*>(data);
    if (window->closed) return;
    window->closed = true;
    std::fprintf(logFile, "closed %d\n", window->number);
    xdg_toplevel_destroy(window->toplevel);
    xdg_surface_destroy(window->shell);
    wl_surface_destroy(window->surface);
    if (window->buffer) wl_buffer_destroy(window->buffer);
    window->buffer = nullptr;
    --window->client->open;
}
void toplevelConfigureBounds(void*, xdg_toplevel*, std::int32_t, std::int32_t) {}
void toplevelCapabilities(void*, xdg_toplevel*, wl_array*) {}
const xdg_toplevel_listener toplevelListener{toplevelConfigure, toplevelClose,
                                             toplevelConfigureBounds, toplevelCapabilities};

void surfaceConfigure(void* data, xdg_surface* shell, std::uint32_t serial) {
    auto* window = static_cast<Window*>(data);
    Client& client = *window->client;
    xdg_surface_ack_configure(shell, serial);
    if (!window->buffer || window->nextWidth != window->width ||
        window->nextHeight != window->height) {
        if (window->buffer) wl_buffer_destroy(window->buffer);
        window->width = window->nextWidth;
        window->height = window->nextHeight;
        window->buffer = makeBuffer(client, window->width, window->height);
        std::fprintf(logFile, "size %d %dx%d\n", window->number, window->width, window->height);
    }
    wl_surface_attach(window->surface, window->buffer, 0, 0);
    wl_surface_damage(window->surface, 0, 0, window->width, window->height);
    wl_surface_commit(window->surface);
    if (window->shown) return;
    window->shown = true;
    bool all = true;
    for (auto& each : client.windows) all = all && each->shown;
    if (all) std::fprintf(logFile, "made\n");
}
const xdg_surface_listener surfaceListener{surfaceConfigure};

// --- Keyboard ------------------------------------------------------------------------------

// The state in the X11 bits, by modifier name, so the log reads alike whatever keymap the
// compositor hands over.
unsigned xState(xkb_state* state) {
    static const std::pair<const char*, unsigned> bits[] = {{XKB_MOD_NAME_SHIFT, 0x1},
                                                            {XKB_MOD_NAME_CAPS, 0x2},
                                                            {XKB_MOD_NAME_CTRL, 0x4},
                                                            {"Mod1", 0x8},
                                                            {"Mod2", 0x10},
                                                            {"Mod3", 0x20},
                                                            {"Mod4", 0x40},
                                                            {"Mod5", 0x80}};
    unsigned mask = 0;
    for (const auto& [name, bit] : bits) {
        if (xkb_state_mod_name_is_active(state, name, XKB_STATE_MODS_EFFECTIVE) > 0) mask |= bit;
    }
    return mask;
}

// X11's IsModifierKey.
bool isModifierKey(xkb_keysym_t symbol) {
    return (symbol >= XKB_KEY_Shift_L && symbol <= XKB_KEY_Hyper_R) ||
           (symbol >= XKB_KEY_ISO_Lock && symbol <= XKB_KEY_ISO_Level5_Lock) ||
           symbol == XKB_KEY_Mode_switch || symbol == XKB_KEY_Num_Lock;
}

void keyboardKeymap(void* data, wl_keyboard*, std::uint32_t format, std::int32_t fd,
                    std::uint32_t size) {
    auto& client = *static_cast<Client*>(data);
    if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1) {
        void* text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
        if (text != MAP_FAILED) {
            xkb_keymap* keymap =
                xkb_keymap_new_from_string(client.xkb, static_cast<const char*>(text),
                                           XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS);
            munmap(text, size);
            if (keymap) {
                xkb_state_unref(client.state);
                xkb_keymap_unref(client.keymap);
                client.keymap = keymap;
                client.state = xkb_state_new(keymap);
            }
        }
    }
    close(fd);
}
void keyboardEnter(void* data, wl_keyboard*, std::uint32_t, wl_surface* surface, wl_array*) {
    if (Window* window = windowOf(*static_cast<Client*>(data), surface))
        std::fprintf(logFile, "focus %d\n", window->number);
}
void keyboardLeave(void* data, wl_keyboard*, std::uint32_t, wl_surface* surface) {
    if (Window* window = windowOf(*static_cast<Client*>(data), surface))
        std::fprintf(logFile, "unfocus %d\n", window->number);
}
void keyboardKey(void* data, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t key,
                 std::uint32_t pressed) {
    auto& client = *static_cast<Client*>(data);
    if (pressed != WL_KEYBOARD_KEY_STATE_PRESSED || !client.state) return;
    xkb_keysym_t symbol = xkb_state_key_get_one_sym(client.state, key + 8);
    char name[64] = "NoSymbol";
    if (symbol != XKB_KEY_NoSymbol) xkb_keysym_get_name(symbol, name, sizeof name);
    std::fprintf(logFile, "%s %s 0x%x\n", isModifierKey(symbol) ? "mod" : "key", name,
                 xState(client.state));
    char text[64] = "";
    xkb_state_key_get_utf8(client.state, key + 8, text, sizeof text);
    if (text[0] != '\0' && static_cast<unsigned char>(text[0]) >= 0x20 && text[0] != 0x7f)
        std::fprintf(logFile, "text %s\n", text);
}
void keyboardModifiers(void* data, wl_keyboard*, std::uint32_t, std::uint32_t depressed,
                       std::uint32_t latched, std::uint32_t locked, std::uint32_t group) {
    auto& client = *static_cast<Client*>(data);
    if (client.state) xkb_state_update_mask(client.state, depressed, latched, locked, 0, 0, group);
}
void keyboardRepeat(void*, wl_keyboard*, std::int32_t, std::int32_t) {}
const wl_keyboard_listener keyboardListener{keyboardKeymap, keyboardEnter,     keyboardLeave,
                                            keyboardKey,    keyboardModifiers, keyboardRepeat};

// --- Pointer -------------------------------------------------------------------------------

Window* pointerWindow = nullptr;

void pointerEnter(void* data, wl_pointer*, std::uint32_t, wl_surface* surface, wl_fixed_t x,
                  wl_fixed_t y) {
    pointerWindow = windowOf(*static_cast<Client*>(data), surface);
    if (pointerWindow)
        std::fprintf(logFile, "pointer %d %g %g\n", pointerWindow->number, wl_fixed_to_double(x),
                     wl_fixed_to_double(y));
}
void pointerLeave(void* data, wl_pointer*, std::uint32_t, wl_surface* surface) {
    if (Window* window = windowOf(*static_cast<Client*>(data), surface))
        std::fprintf(logFile, "leave %d\n", window->number);
    pointerWindow = nullptr;
}
void pointerMotion(void*, wl_pointer*, std::uint32_t, wl_fixed_t x, wl_fixed_t y) {
    if (pointerWindow)
        std::fprintf(logFile, "motion %d %g %g\n", pointerWindow->number, wl_fixed_to_double(x),
                     wl_fixed_to_double(y));
}
void pointerButton(void*, wl_pointer*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {
}
void pointerAxis(void*, wl_pointer*, std::uint32_t, std::uint32_t, wl_fixed_t) {}
void pointerFrame(void*, wl_pointer*) {}
void pointerAxisSource(void*, wl_pointer*, std::uint32_t) {}
void pointerAxisStop(void*, wl_pointer*, std::uint32_t, std::uint32_t) {}
void pointerAxisDiscrete(void*, wl_pointer*, std::uint32_t, std::int32_t) {}
// Seat version 5: no events of later versions come.
const wl_pointer_listener pointerListener{.enter = pointerEnter,
                                          .leave = pointerLeave,
                                          .motion = pointerMotion,
                                          .button = pointerButton,
                                          .axis = pointerAxis,
                                          .frame = pointerFrame,
                                          .axis_source = pointerAxisSource,
                                          .axis_stop = pointerAxisStop,
                                          .axis_discrete = pointerAxisDiscrete,
#ifdef WL_POINTER_AXIS_VALUE120_SINCE_VERSION
                                          .axis_value120 = nullptr
#endif
};

void seatCapabilities(void* data, wl_seat* seat, std::uint32_t capabilities) {
    auto& client = *static_cast<Client*>(data);
    // A seat whose last keyboard went (the one a key-typing tool brought) gets a new one
    // with the next: the device is made again then, as clients do.
    bool keyboard = capabilities & WL_SEAT_CAPABILITY_KEYBOARD;
    if (keyboard && !client.keyboard) {
        client.keyboard = wl_seat_get_keyboard(seat);
        wl_keyboard_add_listener(client.keyboard, &keyboardListener, &client);
    } else if (!keyboard && client.keyboard) {
        wl_keyboard_release(client.keyboard);
        client.keyboard = nullptr;
    }
    bool pointer = capabilities & WL_SEAT_CAPABILITY_POINTER;
    if (pointer && !client.pointer) {
        client.pointer = wl_seat_get_pointer(seat);
        wl_pointer_add_listener(client.pointer, &pointerListener, &client);
    } else if (!pointer && client.pointer) {
        wl_pointer_release(client.pointer);
        client.pointer = nullptr;
        pointerWindow = nullptr;
    }
}
void seatName(void*, wl_seat*, const char*) {}
const wl_seat_listener seatListener{seatCapabilities, seatName};

void registryGlobal(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
                    std::uint32_t) {
    auto& client = *static_cast<Client*>(data);
    auto bind = [&](const wl_interface* type, std::uint32_t version) {
        return wl_registry_bind(registry, name, type, version);
    };
    if (std::strcmp(interface, wl_compositor_interface.name) == 0) {
        client.compositor = static_cast<wl_compositor*>(bind(&wl_compositor_interface, 4));
    } else if (std::strcmp(interface, wl_shm_interface.name) == 0) {
        client.shm = static_cast<wl_shm*>(bind(&wl_shm_interface, 1));
    } else if (std::strcmp(interface, xdg_wm_base_interface.name) == 0) {
        client.wmBase = static_cast<xdg_wm_base*>(bind(&xdg_wm_base_interface, 1));
        xdg_wm_base_add_listener(client.wmBase, &wmBaseListener, nullptr);
    } else if (std::strcmp(interface, wl_seat_interface.name) == 0 && !client.seat) {
        client.seat = static_cast<wl_seat*>(bind(&wl_seat_interface, 5));
        wl_seat_add_listener(client.seat, &seatListener, &client);
    }
}
void registryGlobalRemove(void*, wl_registry*, std::uint32_t) {}
const wl_registry_listener registryListener{registryGlobal, registryGlobalRemove};

}  // namespace

int main(int argc, char** argv) {
    // Each option with the number of values it takes.
    const std::map<std::string, int> arity{{"--log", 1},  {"--app-id", 1},  {"--title", 1},
                                           {"--size", 1}, {"--windows", 1}, {"--min", 1}};
    std::map<std::string, std::string> given;
    for (int i = 1; i < argc; ++i) {
        auto option = arity.find(argv[i]);
        if (option == arity.end() || i + option->second >= argc) return 2;
        given[argv[i]] = argv[i + 1];
        ++i;
    }
    auto value = [&](const char* name, const char* otherwise) {
        return given.count(name) ? given[name] : std::string(otherwise);
    };
    const std::string appId = value("--app-id", "tarn.TestClient");
    const std::string title = value("--title", "Tarn test client");
    Client client;
    int minWidth = 0, minHeight = 0;
    if (std::sscanf(value("--size", "640x480").c_str(), "%dx%d", &client.wantWidth,
                    &client.wantHeight) != 2 ||
        client.wantWidth <= 0 || client.wantHeight <= 0)
        return 2;
    std::sscanf(value("--min", "0x0").c_str(), "%dx%d", &minWidth, &minHeight);
    const int count = std::atoi(value("--windows", "1").c_str());
    if (count < 1) return 2;
    logFile = std::fopen(value("--log", "").c_str(), "a");
    client.display = wl_display_connect(nullptr);
    if (!logFile || !client.display) return 1;
    std::setvbuf(logFile, nullptr, _IONBF, 0);
    unsigned hash = 2166136261u;
    for (char c : appId) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
    client.color = 0xff000000u | (hash & 0x007f7f7fu) | 0x00808080u;  // opaque, light

    wl_registry* registry = wl_display_get_registry(client.display);
    wl_registry_add_listener(registry, &registryListener, &client);
    wl_display_roundtrip(client.display);
    if (!client.compositor || !client.shm || !client.wmBase) return 1;

    for (int i = 1; i <= count; ++i) {
        auto window = std::make_unique<Window>();
        window->client = &client;
        window->number = i;
        window->surface = wl_compositor_create_surface(client.compositor);
        window->shell = xdg_wm_base_get_xdg_surface(client.wmBase, window->surface);
        xdg_surface_add_listener(window->shell, &surfaceListener, window.get());
        window->toplevel = xdg_surface_get_toplevel(window->shell);
        xdg_toplevel_add_listener(window->toplevel, &toplevelListener, window.get());
        const std::string name = i == 1 ? title : title + " " + std::to_string(i);
        xdg_toplevel_set_app_id(window->toplevel, appId.c_str());
        xdg_toplevel_set_title(window->toplevel, name.c_str());
        if (minWidth > 0 && minHeight > 0)
            xdg_toplevel_set_min_size(window->toplevel, minWidth, minHeight);
        wl_surface_commit(window->surface);  // no buffer yet: asks for the first configure
        std::fprintf(logFile, "window %d %s\n", i, name.c_str());
        client.windows.push_back(std::move(window));
    }
    client.open = count;
    while (client.open > 0 && wl_display_dispatch(client.display) != -1) {
    }
    wl_display_disconnect(client.display);
    return client.open > 0 ? 1 : 0;
}
