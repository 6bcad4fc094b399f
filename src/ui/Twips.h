#pragma once
// Window lengths are kept in twips, 1/1440 inch, and turned into pixels with
// the screen's logical DPI, so the layout keeps its proportions at any scale.

#include <QPaintDevice>

namespace ui {

inline constexpr int kTwipsPerInch = 1440;

inline int twipsToPixelsX(const QPaintDevice& d, int twips)
{
    return (twips * d.logicalDpiX() + kTwipsPerInch / 2) / kTwipsPerInch;
}
inline int twipsToPixelsY(const QPaintDevice& d, int twips)
{
    return (twips * d.logicalDpiY() + kTwipsPerInch / 2) / kTwipsPerInch;
}
inline int pixelsToTwipsX(const QPaintDevice& d, int px)
{
    return (px * kTwipsPerInch + d.logicalDpiX() / 2) / d.logicalDpiX();
}

}  // namespace ui
