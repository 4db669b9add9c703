#pragma once

// Rectangles and points in the global display space: origin at the top-left corner of the
// primary display, x to the right, y downward, in points (pixels on X11).

namespace tarn::platform {

struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minX() const { return x; }
    double minY() const { return y; }
    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    Point origin() const { return {x, y}; }
    Size size() const { return {width, height}; }
    // Minimum edges inclusive, maximum edges exclusive.
    bool contains(Point p) const { return p.x >= x && p.x < maxX() && p.y >= y && p.y < maxY(); }
    friend bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace tarn::platform
