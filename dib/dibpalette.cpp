#include "dibpalette.hpp"

#include <algorithm>
#include <new>

namespace vsk::dib {

namespace {

void setEntry(BITMAPINFOHEADER* dib, int i, int red, int green, int blue) {
    const RGBQUAD q{static_cast<std::uint8_t>(blue), static_cast<std::uint8_t>(green),
                    static_cast<std::uint8_t>(red), 0};
    std::memcpy(table(dib) + 4 * i, &q, 4);
}

// ---- one-dimensional median cut over grey levels ------------------------------------

struct Box1 {
    int state, low, high;
    std::int64_t count;
};

// The split of [low, high] holding `count` pixels: the bin after which the
// lower part ends, and the pixels of the lower part.
template <class Weight>
void medianSplit(int low, int high, std::int64_t count, Weight weight, int* split, std::int64_t* lower) {
    const std::int64_t half = count >> 1;
    std::int64_t s = 0;
    for (int k = low; k <= high; ++k) {
        const std::int64_t p = s;
        s += weight(k);
        if (s > half) {
            if (half - p < s - half) {
                *split = k - 1;
                *lower = p;
            } else {
                *split = k;
                *lower = s;
            }
            return;
        }
    }
    *split = high + 1;  // the sum never exceeded half
    *lower = s;
}

// The passes of a median cut: each pass splits once every box that existed
// when it began and is not closed (state 255), in index order, until there
// are maxColors boxes. `split` turns a box into its lower part (kept in
// place) and returns the upper part (appended). A pass that splits nothing
// ends the cut, and the table stays shorter.
template <class Box, class Split>
void medianCutPasses(std::vector<Box>& boxes, int maxColors, Split split) {
    while (static_cast<int>(boxes.size()) < maxColors) {
        const std::size_t existing = boxes.size();
        bool any = false;
        for (std::size_t i = 0; i < existing && static_cast<int>(boxes.size()) < maxColors; ++i) {
            if (boxes[i].state == 255) continue;
            Box upper = split(boxes[i]);
            boxes.push_back(upper);
            any = true;
        }
        if (!any) break;
    }
}

bool medcutGrey(BITMAPINFOHEADER* dib, const std::vector<std::int64_t>& hist, int maxColors,
                std::int64_t total) {
    int distinct = 0;
    for (std::int64_t h : hist) distinct += h != 0;
    if (distinct <= maxColors) {
        int n = 0;
        for (int g = 0; g < 256; ++g)
            if (hist[g]) setEntry(dib, n++, g, g, g);
        dib->biClrUsed = static_cast<std::uint32_t>(distinct);
        return true;
    }
    std::vector<Box1> boxes;
    boxes.reserve(static_cast<std::size_t>(maxColors));
    int first = 0, last = 255;
    while (!hist[first]) ++first;
    while (!hist[last]) --last;
    boxes.push_back({0, first, last, total});
    medianCutPasses(boxes, maxColors, [&](Box1& old) {
        const int state = old.state;
        int at = 0;
        std::int64_t lower = 0;
        medianSplit(old.low, old.high, old.count, [&](int k) { return hist[k]; }, &at, &lower);
        Box1 upper{0, at + 1, old.high, old.count - lower};
        old.high = at;
        old.count = lower;
        while (old.high > old.low && !hist[old.high]) --old.high;
        while (upper.low < upper.high && !hist[upper.low]) ++upper.low;
        if (upper.high > upper.low) {
            upper.state = old.state = state + 1;
        } else {
            upper.state = 255;
        }
        if (old.high <= old.low) old.state = 255;
        return upper;
    });
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        std::int64_t sum = 0;
        for (int k = boxes[i].low; k <= boxes[i].high; ++k) sum += k * hist[k];
        // An empty box would divide by zero: it becomes black.
        const int m = boxes[i].count > 0 ? static_cast<int>(sum / boxes[i].count) : 0;
        setEntry(dib, static_cast<int>(i), m, m, m);
    }
    dib->biClrUsed = static_cast<std::uint32_t>(maxColors);
    return true;
}

// ---- three-dimensional median cut over 6-bit levels ---------------------------------

constexpr int kLevels = 64;
inline int cellOf(int r, int g, int b) { return r + kLevels * g + kLevels * kLevels * b; }

struct Box3 {
    int state;
    int lo[3], hi[3];  // red, green, blue bounds
    std::int64_t count;
};

std::int64_t cellCount(const std::vector<std::int64_t>& hist, const int* c) {
    return hist[static_cast<std::size_t>(cellOf(c[0], c[1], c[2]))];
}

// Sum of the cells of a box whose coordinate on `axis` is `slice`.
std::int64_t sliceWeight(const std::vector<std::int64_t>& hist, const Box3& box, int axis, int slice) {
    int c[3];
    const int a1 = (axis + 1) % 3, a2 = (axis + 2) % 3;
    std::int64_t sum = 0;
    c[axis] = slice;
    for (c[a1] = box.lo[a1]; c[a1] <= box.hi[a1]; ++c[a1])
        for (c[a2] = box.lo[a2]; c[a2] <= box.hi[a2]; ++c[a2]) sum += cellCount(hist, c);
    return sum;
}

// Moves each bound inward to the first and last slice that holds pixels.
void shrink(const std::vector<std::int64_t>& hist, Box3& box) {
    for (int axis = 0; axis < 3; ++axis) {
        while (box.lo[axis] < box.hi[axis] && sliceWeight(hist, box, axis, box.lo[axis]) == 0) ++box.lo[axis];
        while (box.hi[axis] > box.lo[axis] && sliceWeight(hist, box, axis, box.hi[axis]) == 0) --box.hi[axis];
    }
}

bool singleCell(const Box3& b) { return b.lo[0] == b.hi[0] && b.lo[1] == b.hi[1] && b.lo[2] == b.hi[2]; }

bool medcutColour(BITMAPINFOHEADER* dib, const std::vector<std::int64_t>& hist, int maxColors,
                  std::int64_t total) {
    int distinct = 0;
    for (std::int64_t h : hist) distinct += h != 0;
    if (distinct <= maxColors) {
        int n = 0;
        for (int cell = 0; cell < kLevels * kLevels * kLevels; ++cell)
            if (hist[static_cast<std::size_t>(cell)])
                setEntry(dib, n++, 4 * (cell & 63), 4 * ((cell >> 6) & 63), 4 * ((cell >> 12) & 63));
        dib->biClrUsed = static_cast<std::uint32_t>(distinct);
        return true;
    }
    std::vector<Box3> boxes;
    boxes.reserve(static_cast<std::size_t>(maxColors));
    Box3 whole{0, {0, 0, 0}, {63, 63, 63}, total};
    shrink(hist, whole);
    boxes.push_back(whole);
    medianCutPasses(boxes, maxColors, [&](Box3& box) {
        const Box3 old = box;
        const int er = old.hi[0] - old.lo[0], eg = old.hi[1] - old.lo[1], eb = old.hi[2] - old.lo[2];
        const int axis = (er >= eg && er >= eb) ? 0 : (eg >= eb ? 1 : 2);
        int at = 0;
        std::int64_t lowerCount = 0;
        medianSplit(old.lo[axis], old.hi[axis], old.count,
                    [&](int k) { return sliceWeight(hist, old, axis, k); }, &at, &lowerCount);
        Box3 lower = old, upper = old;
        lower.hi[axis] = at;
        lower.count = lowerCount;
        upper.lo[axis] = at + 1;
        upper.count = old.count - lowerCount;
        // A side that falls outside the box keeps an empty range of one slice.
        lower.hi[axis] = std::clamp(lower.hi[axis], old.lo[axis], old.hi[axis]);
        upper.lo[axis] = std::clamp(upper.lo[axis], old.lo[axis], old.hi[axis]);
        shrink(hist, lower);
        shrink(hist, upper);
        if (singleCell(lower)) {
            // Deliberately the upper box is closed too, even when larger.
            lower.state = 255;
            upper.state = 255;
        } else {
            lower.state = old.state + 1;
            upper.state = singleCell(upper) ? 255 : lower.state;
        }
        box = lower;
        return upper;
    });
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        const Box3& b = boxes[i];
        std::int64_t sum[3] = {0, 0, 0};
        int c[3];
        for (c[2] = b.lo[2]; c[2] <= b.hi[2]; ++c[2])
            for (c[1] = b.lo[1]; c[1] <= b.hi[1]; ++c[1])
                for (c[0] = b.lo[0]; c[0] <= b.hi[0]; ++c[0]) {
                    const std::int64_t h = cellCount(hist, c);
                    for (int k = 0; k < 3; ++k) sum[k] += h * 4 * c[k];
                }
        // An empty box would divide by zero: it becomes black.
        const std::int64_t n = b.count > 0 ? b.count : 1;
        setEntry(dib, static_cast<int>(i), static_cast<int>(sum[0] / n), static_cast<int>(sum[1] / n),
                 static_cast<int>(sum[2] / n));
    }
    dib->biClrUsed = static_cast<std::uint32_t>(maxColors);
    return true;
}

}  // namespace

bool makeFixedPalette(BITMAPINFOHEADER* dib, bool grey) {
    const std::uint32_t n = colorCount(dib);
    if (n == 2) {
        setEntry(dib, 0, 0, 0, 0);
        setEntry(dib, 1, 255, 255, 255);
        return true;
    }
    if (n == 16) {
        static const std::uint8_t vga[16][3] = {
            {0, 0, 0},     {128, 0, 0},   {0, 128, 0},   {128, 128, 0},   {0, 0, 128},   {128, 0, 128},
            {0, 128, 128}, {128, 128, 128}, {192, 192, 192}, {255, 0, 0}, {0, 255, 0},   {255, 255, 0},
            {0, 0, 255},   {255, 0, 255}, {0, 255, 255}, {255, 255, 255}};
        for (int i = 0; i < 16; ++i) {
            if (grey) setEntry(dib, i, 255 * i / 15, 255 * i / 15, 255 * i / 15);
            else setEntry(dib, i, vga[i][0], vga[i][1], vga[i][2]);
        }
        return true;
    }
    if (n == 256) {
        static const int L8[8] = {0, 32, 64, 96, 128, 160, 192, 255};
        static const int L4[4] = {0, 64, 128, 255};
        for (int i = 0; i < 256; ++i) {
            if (grey) setEntry(dib, i, i, i, i);
            else setEntry(dib, i, L8[i >> 5], L8[(i >> 2) & 7], L4[i & 3]);
        }
        return true;
    }
    return false;
}

bool medcutPalette(BITMAPINFOHEADER* dib, const VskImage* image) {
    if (dib->biBitCount > 8) return false;
    const int maxColors = 1 << dib->biBitCount;
    if (image->depth == VSK_1U) {
        setEntry(dib, 0, 0, 0, 0);
        setEntry(dib, 1, 255, 255, 255);
        dib->biClrUsed = 2;
        return true;
    }
    const bool colour = image->nChannels >= 3;
    if (colour && !seqIs(image, "BGR\0") && !seqIs(image, "BGRA") && !seqIs(image, "RGB\0") &&
        !seqIs(image, "RGBA"))
        return false;
    const bool redFirst = seqIs(image, "RGB\0") || seqIs(image, "RGBA");
    try {
        std::vector<std::int64_t> hist(colour ? kLevels * kLevels * kLevels : 256, 0);
        std::vector<Pixel> line(static_cast<std::size_t>(image->width));
        for (int y = 0; y < image->height; ++y) {
            if (!readImageRow(image, y, line.data())) return false;
            for (const Pixel& p : line) {
                if (!colour) {
                    ++hist[p.b];
                    continue;
                }
                const int blue = redFirst ? p.r : p.b, red = redFirst ? p.b : p.r;
                ++hist[static_cast<std::size_t>(cellOf(red >> 2, p.g >> 2, blue >> 2))];
            }
        }
        const std::int64_t total = static_cast<std::int64_t>(image->height) * image->width;
        return colour ? medcutColour(dib, hist, maxColors, total) : medcutGrey(dib, hist, maxColors, total);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

NearestIndex::NearestIndex(const BITMAPINFOHEADER* dib) {
    const std::uint32_t n = dib->biBitCount <= 8 ? colorCount(dib) : 0;
    table_.resize(n);
    for (std::uint32_t i = 0; i < n; ++i) table_[i] = entry(dib, i);
    keys_.assign(4096, 0xFFFFFFFFu);
    answers_.assign(4096, 0);
}

unsigned NearestIndex::operator()(const Pixel& p) {
    const std::uint32_t key = (static_cast<std::uint32_t>(p.b) << 16) | (p.g << 8) | p.r;
    const std::uint32_t slot = (key * 2654435761u) >> 20;
    if (keys_[slot] == key) return answers_[slot];
    unsigned best = 0;
    std::int64_t bestDistance = INT64_MAX;
    for (std::size_t i = 0; i < table_.size(); ++i) {
        const int db = p.b - table_[i].rgbBlue, dg = p.g - table_[i].rgbGreen, dr = p.r - table_[i].rgbRed;
        const std::int64_t d = db * db + dg * dg + dr * dr;
        if (d < bestDistance) {
            bestDistance = d;
            best = static_cast<unsigned>(i);
        }
    }
    keys_[slot] = key;
    answers_[slot] = static_cast<std::uint16_t>(best);
    return best;
}

}  // namespace vsk::dib
