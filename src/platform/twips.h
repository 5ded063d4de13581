#pragma once

#include <QRect>

namespace rehome::platform {

/// Layouts are given in twips, 1/1440 inch; a device-independent pixel is 1/96 inch.
inline constexpr int TwipsPerPixel = 15;

inline int toTwips(int pixels) {
    return pixels * TwipsPerPixel;
}

/// Whole pixels, rounded to the nearest.
inline int toPixels(int twips) {
    return qRound(static_cast<double>(twips) / TwipsPerPixel);
}

inline QRect toPixels(int left, int top, int width, int height) {
    return {toPixels(left), toPixels(top), toPixels(width), toPixels(height)};
}

} // namespace rehome::platform
