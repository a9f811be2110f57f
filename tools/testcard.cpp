// The built-in pictures of the demo: a synthetic test card and a badge with
// an alpha channel, drawn without any input file.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>

#include "cli.hpp"

namespace vsk::cli {

namespace {

// A 5x7 pixel font: each glyph is seven rows of five cells, '#' set.
const std::map<char, const char*>& font() {
    static const std::map<char, const char*> glyphs = {
        {'A', " ### #   ##   #######   ##   ##   #"},
        {'B', "#### #   ##   ##### #   ##   ##### "},
        {'C', " ### #   ##    #    #    #   # ### "},
        {'D', "#### #   ##   ##   ##   ##   ##### "},
        {'E', "######    #    #### #    #    #####"},
        {'F', "######    #    #### #    #    #    "},
        {'G', " ### #   ##    # ####   ##   # ####"},
        {'H', "#   ##   ##   #######   ##   ##   #"},
        {'I', " ###   #    #    #    #    #   ### "},
        {'J', "  ###   #    #    #    # #  #  ##  "},
        {'K', "#   ##  # # #  ##   # #  #  # #   #"},
        {'L', "#    #    #    #    #    #    #####"},
        {'M', "#   ### ### # ## # ##   ##   ##   #"},
        {'N', "#   ###  ## # ##  ###   ##   ##   #"},
        {'O', " ### #   ##   ##   ##   ##   # ### "},
        {'P', "#### #   ##   ##### #    #    #    "},
        {'Q', " ### #   ##   ##   ## # ##  #  ## #"},
        {'R', "#### #   ##   ##### # #  #  # #   #"},
        {'S', " #####    #     ###     #    ##### "},
        {'T', "#####  #    #    #    #    #    #  "},
        {'U', "#   ##   ##   ##   ##   ##   # ### "},
        {'V', "#   ##   ##   ##   # # #  # #   #  "},
        {'W', "#   ##   ##   ## # ## # ### ###   #"},
        {'X', "#   ##   # # #   #   # # #   ##   #"},
        {'Y', "#   ##   # # #   #    #    #    #  "},
        {'Z', "#####    #   #   #   #   #    #####"},
        {'0', " ### #   ##  ### # ###  ##   # ### "},
        {'1', "  #   ##    #    #    #    #   ### "},
        {'2', " ### #   #    #   #   #   #   #####"},
        {'3', "#####   #   #     #     ##   # ### "},
        {'4', "   #   ##  # # #  # #####   #    # "},
        {'5', "######    ####     #    ##   # ### "},
        {'6', "  ##  #   #    #### #   ##   # ### "},
        {'7', "#####    #   #   #   #    #    #   "},
        {'8', " ### #   ##   # ### #   ##   # ### "},
        {'9', " ### #   ##   # ####    #   #  ##  "},
        {'-', "               #####               "},
        {'.', "                          ##   ##  "},
        {' ', "                                   "},
    };
    return glyphs;
}

void setPixel(VskImage* image, int x, int y, const int* colour) {
    if (x < 0 || y < 0 || x >= image->width || y >= image->height) return;
    auto* p = reinterpret_cast<std::uint8_t*>(image->imageData) + static_cast<std::int64_t>(y) * image->widthStep +
              static_cast<std::int64_t>(x) * image->nChannels;
    for (int c = 0; c < image->nChannels; ++c) p[c] = static_cast<std::uint8_t>(colour[c]);
}

VskImage* newImage(int channels, int height, int width) {
    VskImage* image = tvskCreateImageHeader(channels, channels == 4 ? 4 : 0, VSK_8U, channels == 4 ? "RGBA" : "RGB",
                                            channels == 4 ? "BGRA" : "BGR", VSK_DATA_ORDER_PIXEL, 0, 4, height,
                                            width, nullptr, nullptr, nullptr);
    if (image) tvskAllocateImage(image, 0);
    if (image && !image->imageData) {
        tvskDeallocate(image, VSK_FREE_HEADER);
        return nullptr;
    }
    return image;
}

int clamp255(double v) { return static_cast<int>(std::clamp(v, 0.0, 255.0)); }

}  // namespace

void drawText(VskImage* image, int x, int y, const std::string& text, const int* colour, int scale) {
    for (char ch : text) {
        const auto it = font().find(static_cast<char>(std::toupper(static_cast<unsigned char>(ch))));
        const char* g = it == font().end() ? font().at(' ') : it->second;
        for (int r = 0; r < 7; ++r)
            for (int c = 0; c < 5; ++c)
                if (g[r * 5 + c] == '#')
                    for (int dy = 0; dy < scale; ++dy)
                        for (int dx = 0; dx < scale; ++dx) setPixel(image, x + c * scale + dx, y + r * scale + dy, colour);
        x += 6 * scale;
    }
}

VskImage* drawTestCard(int width, int height) {
    VskImage* img = newImage(3, height, width);
    if (!img) return nullptr;
    const int bars = height * 3 / 10;
    // Colour bars: white, yellow, cyan, green, magenta, red, blue, black (blue first).
    const int colours[8][3] = {{235, 235, 235}, {16, 235, 235}, {235, 235, 16}, {16, 235, 16},
                               {235, 16, 235},  {16, 16, 235},  {235, 16, 16},  {16, 16, 16}};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            int c[3] = {48, 48, 48};
            if (y < bars) {
                std::memcpy(c, colours[std::min(7, x * 8 / width)], sizeof c);
            } else if (y < bars + height / 10) {
                const int g = x * 255 / std::max(1, width - 1);  // grey ramp
                c[0] = c[1] = c[2] = g;
            } else if (y < bars + 2 * height / 10) {
                const double h = 6.0 * x / width;  // hue ramp
                const double r = std::clamp(std::fabs(h - 3) - 1, 0.0, 1.0);
                const double gr = std::clamp(2 - std::fabs(h - 2), 0.0, 1.0);
                const double b = std::clamp(2 - std::fabs(h - 4), 0.0, 1.0);
                c[0] = clamp255(255 * b);
                c[1] = clamp255(255 * gr);
                c[2] = clamp255(255 * r);
            } else if (x < width / 3) {
                // Fine lines: vertical pairs of growing spacing, then a checkerboard.
                const int lx = x - 4;
                const int period = 2 + (lx * 4 / std::max(1, width / 3));
                const bool on = y < height * 3 / 4 ? (lx % period) == 0 : ((x / 2 + y / 2) & 1);
                c[0] = c[1] = c[2] = on ? 230 : 30;
            } else if (x > width * 2 / 3) {
                // Zone plate: rings whose frequency grows with the radius.
                const double cx = width * 5.0 / 6, cy = (bars + 2 * height / 10 + height) / 2.0;
                const double r2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
                const int g = clamp255(127.5 + 127.5 * std::cos(r2 * 3.14159265 / (width * 0.9)));
                c[0] = c[1] = c[2] = g;
            } else {
                // Soft two-way gradient behind the text.
                c[0] = clamp255(255.0 * (y - bars) / std::max(1, height - bars));
                c[1] = 80;
                c[2] = clamp255(255.0 * (x - width / 3) / std::max(1, width / 3));
            }
            setPixel(img, x, y, c);
        }
    const int white[3] = {255, 255, 255}, black[3] = {0, 0, 0};
    const int tx = width / 3 + 6, ty = bars + 2 * height / 10 + 8;
    drawText(img, tx + 1, ty + 1, "VSK TEST", black, 2);
    drawText(img, tx, ty, "VSK TEST", white, 2);
    drawText(img, tx, ty + 22, "CARD 0123456789", white);
    drawText(img, tx, ty + 32, "ABCDEFGHIJKLM", white);
    drawText(img, tx, ty + 42, "NOPQRSTUVWXYZ", white);
    for (int x = 0; x < width; ++x) {
        setPixel(img, x, 0, white);
        setPixel(img, x, height - 1, white);
    }
    for (int y = 0; y < height; ++y) {
        setPixel(img, 0, y, white);
        setPixel(img, width - 1, y, white);
    }
    return img;
}

VskImage* drawBadge(int width, int height) {
    VskImage* img = newImage(4, height, width);
    if (!img) return nullptr;
    const double cx = width * 0.3, cy = height * 0.55, radius = std::min(width, height) * 0.3;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double d = std::hypot(x - cx, y - cy);
            const double alpha = std::clamp((radius - d) / 6.0, 0.0, 1.0);  // soft edge
            const int c[4] = {clamp255(255.0 * x / width), clamp255(200 - 150.0 * y / height), 255 - clamp255(100.0 * d / radius),
                              clamp255(255 * alpha)};
            setPixel(img, x, y, c);
        }
    const int ink[4] = {255, 255, 255, 255};
    drawText(img, static_cast<int>(cx - 3 * 6 * 3 / 2), static_cast<int>(cy - 10), "VSK", ink, 3);
    return img;
}

}  // namespace vsk::cli
