#include <algorithm>
#include <chrono>
#include <cmath>

#include "platform/wayland/connection.h"
#include "wlr-virtual-pointer-unstable-v1-client-protocol.h"

namespace tarn::platform::wayland {
namespace {

// The pointer through zwlr_virtual_pointer_v1. Absolute motion is a fraction of an extent,
// which the compositor lays over the bounding box of all its outputs: giving the box's own
// size as the extent makes the fraction land on the very pixel asked for. The device is made
// at the first move, so a command that moves nothing adds none to the seat.
class VirtualPointer final : public Pointer {
  public:
    VirtualPointer(std::shared_ptr<Connection> connection, zwlr_virtual_pointer_manager_v1* manager,
                   std::function<Rect()> layout, std::function<std::optional<Point>()> location)
        : connection_(std::move(connection)),
          manager_(manager),
          layout_(std::move(layout)),
          location_(std::move(location)) {}

    ~VirtualPointer() override {
        if (pointer_) zwlr_virtual_pointer_v1_destroy(pointer_);
        zwlr_virtual_pointer_manager_v1_destroy(manager_);
        connection_->flush();
    }

    void warp(Point to) override {
        Rect box = layout_();
        if (box.width < 1 || box.height < 1) return;
        if (!pointer_) {
            pointer_ = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(manager_,
                                                                              connection_->seat());
        }
        auto along = [](double at, double origin, double extent) {
            return static_cast<std::uint32_t>(
                std::clamp(std::lround(at - origin), 0L, std::lround(extent) - 1));
        };
        using namespace std::chrono;
        auto time = static_cast<std::uint32_t>(
            duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
        zwlr_virtual_pointer_v1_motion_absolute(
            pointer_, time, along(to.x, box.x, box.width), along(to.y, box.y, box.height),
            static_cast<std::uint32_t>(std::lround(box.width)),
            static_cast<std::uint32_t>(std::lround(box.height)));
        zwlr_virtual_pointer_v1_frame(pointer_);
        // Handled before this returns, so a reading of the pointer that follows sees it.
        connection_->roundtrip();
    }

    std::optional<Point> location() override { return location_ ? location_() : std::nullopt; }

    bool canCreateMouseEvent(Point) override { return !connection_->lost(); }

  private:
    std::shared_ptr<Connection> connection_;
    zwlr_virtual_pointer_manager_v1* manager_;
    zwlr_virtual_pointer_v1* pointer_ = nullptr;
    std::function<Rect()> layout_;
    std::function<std::optional<Point>()> location_;
};

}  // namespace

std::unique_ptr<Pointer> makePointer(std::shared_ptr<Connection> connection,
                                     std::function<Rect()> layout,
                                     std::function<std::optional<Point>()> location,
                                     std::string& error) {
    auto* manager = static_cast<zwlr_virtual_pointer_manager_v1*>(
        connection->bind(&zwlr_virtual_pointer_manager_v1_interface, 1));
    if (!manager) {
        error = "the Wayland compositor offers no virtual pointer (zwlr_virtual_pointer_v1)";
        return nullptr;
    }
    return std::make_unique<VirtualPointer>(std::move(connection), manager, std::move(layout),
                                            std::move(location));
}

}  // namespace tarn::platform::wayland
