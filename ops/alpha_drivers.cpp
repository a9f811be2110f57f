// Compositing drivers: each runs one operator over a region row by row, the
// selectors pick among them once per call, and the dispatch tables pick the
// selector by operator and depth.
#include "alpha_drivers.hpp"

#include <algorithm>
#include <type_traits>

#include "alpha_rows.hpp"

namespace vsk::alpha {

namespace {

enum class Path {
    Plane,  // every lane contiguous: integer arithmetic, vectorised
    Pixel,  // any layout: integer arithmetic
    Real,   // any layout: floating point with division by the result alpha
};

// Rows are composed in chunks so that the result alpha can be held until the
// colours of the chunk are done: a destination that is also a source (or an
// alpha target that is also an alpha source) reads its old values only.
constexpr int kChunk = 512;

// Interleaved pixels of four channels with their alphas last: one pass per
// row. 8-bit rows take the table's kernels (written around the caches when
// the destination is large) wherever the destination is a source or apart
// from both.
template <class Op, class T, bool Premul, Path P>
void composeRgba(const CompositeCall& c) {
    const std::int64_t bytes = std::int64_t{4} * std::int64_t{sizeof(T)} * c.cols;
    const bool stream = c.rows * bytes >= kStreamBytes;
    for (int y = 0; y < c.rows; ++y) {
        const T* A = c.a.lane<const T>(0, y).p;
        const T* B = c.b.lane<const T>(0, y).p;
        T* d = c.dst.lane<T>(0, y).p;
        if constexpr (std::is_same_v<T, std::uint8_t>) {
            if (apart(d, A, bytes) && apart(d, B, bytes)) {
                const AlphaRows& rows = alphaRows();
                const RgbaRow8 row = P == Path::Real ? rows.rgbaDivide[c.op][Premul]
                                                     : rows.rgba[c.op][Premul];
                row(A, B, d, c.cols, stream);
                continue;
            }
        }
        if constexpr (P == Path::Real)
            rgbaDivideRow<Op, T, Premul, true>(A, B, d, c.cols);
        else
            rgbaRow<Op, T, Premul, true>(A, B, d, c.cols);
    }
}

template <class Op, class T, bool Premul, bool HasB, Path P>
void composeRows(const CompositeCall& c) {
    using Colour = std::conditional_t<P == Path::Real, RealColourRule<Op, T, Premul, HasB>,
                                      ColourRule<Op, T, Premul, HasB>>;
    using Alpha =
        std::conditional_t<P == Path::Real, RealAlphaRule<Op, T, HasB>, AlphaRule<Op, T, HasB>>;
    constexpr bool unit = P == Path::Plane;
    // 8-bit contiguous lanes take the table's kernels.
    constexpr bool table = unit && std::is_same_v<T, std::uint8_t>;
    // The interleaved pass always has B's own alpha. The dividing pass at
    // 16 bits keeps the channel-by-channel rows.
    if constexpr (HasB && P != Path::Plane) {
        if (c.rgba && (P == Path::Pixel || std::is_same_v<T, std::uint8_t>)) {
            composeRgba<Op, T, Premul, P>(c);
            return;
        }
    }
    T held[kChunk];
    const Lane<T> heldOut{held, 1};
    const Lane<const T> heldIn{held, 1};
    for (int y = 0; y < c.rows; ++y) {
        const Lane<const T> a = c.alphaA.lane<const T>(0, y);
        // Without a B alpha the rules ignore this lane.
        const Lane<const T> b = HasB ? c.alphaB.lane<const T>(0, y) : a;
        for (int x = 0; x < c.cols; x += kChunk) {
            const int n = std::min(kChunk, c.cols - x);
            if (c.hasTarget) {
                if constexpr (table)
                    alphaRows().alpha[c.op][HasB](a.p + x, b.p + x, held, n);
                else
                    zipRow<unit>(Alpha{}, heldOut, n, a.at(x), b.at(x));
            }
            for (int k = 0; k < c.colours; ++k) {
                const Lane<T> d = c.dst.lane<T>(k, y).at(x);
                const Lane<const T> A = c.a.lane<const T>(k, y).at(x);
                const Lane<const T> B = c.b.lane<const T>(k, y).at(x);
                if constexpr (table) {
                    const std::int64_t bytes = n;
                    if (apart(d.p, A.p, bytes) && apart(d.p, B.p, bytes) &&
                        apart(d.p, a.p + x, bytes) && apart(d.p, b.p + x, bytes)) {
                        alphaRows().colour[c.op][Premul][HasB](A.p, a.p + x, B.p, b.p + x, d.p, n);
                        continue;
                    }
                }
                zipRow<unit>(Colour{}, d, n, A, a.at(x), B, b.at(x));
            }
            if (c.hasTarget) zipRow<unit>(CopyRule{}, c.target.lane<T>(0, y).at(x), n, heldIn);
        }
    }
}

// Calls f with the premultiplied and B-alpha flags as compile-time constants.
template <class F>
void withFlags(bool premul, bool hasB, F&& f) {
    using Yes = std::true_type;
    using No = std::false_type;
    if (premul) {
        if (hasB) f(Yes{}, Yes{}); else f(Yes{}, No{});
    } else {
        if (hasB) f(No{}, Yes{}); else f(No{}, No{});
    }
}

template <class Op, class T, Path P>
void drive(const CompositeCall& c) {
    withFlags(c.premul, c.hasB, [&](auto premul, auto hasB) {
        composeRows<Op, T, decltype(premul)::value, decltype(hasB)::value, P>(c);
    });
}

// Alpha images: the floating driver divides; otherwise the plane driver when
// every image is in plane order, else the pixel driver.
template <class Op, class T>
void selectComposite(const CompositeCall& c) {
    if (c.divide)
        drive<Op, T, Path::Real>(c);
    else if (c.allPlane)
        drive<Op, T, Path::Plane>(c);
    else
        drive<Op, T, Path::Pixel>(c);
}

// Constant alphas, limited to the sample maximum first (a negative one
// stays negative: the image's own alpha channel is used instead).
template <class Op, class T>
void selectConstant(const CompositeCall& call) {
    constexpr int kMax = std::numeric_limits<T>::max();
    const T a = static_cast<T>(std::min(call.constA, kMax));
    const T b = static_cast<T>(std::min(call.constB, kMax));
    CompositeCall c = call;
    if (call.constA >= 0) c.alphaA = constantLayout(&a);
    if (call.constB >= 0) c.alphaB = constantLayout(&b);
    if (c.divide)
        drive<Op, T, Path::Real>(c);
    else
        drive<Op, T, Path::Pixel>(c);
}

using Selector = void (*)(const CompositeCall&);

template <template <class, class> class Select, class T>
constexpr Selector kRow[6] = {Select<Over, T>::run, Select<In, T>::run,  Select<Out, T>::run,
                              Select<Atop, T>::run, Select<Xor, T>::run, Select<Plus, T>::run};

template <class Op, class T>
struct CompositeSelector {
    static void run(const CompositeCall& c) { selectComposite<Op, T>(c); }
};
template <class Op, class T>
struct ConstantSelector {
    static void run(const CompositeCall& c) { selectConstant<Op, T>(c); }
};

// Six selectors per depth (8, 16) for each operation.
constexpr const Selector* kCompositeTable[2] = {kRow<CompositeSelector, std::uint8_t>,
                                                kRow<CompositeSelector, std::uint16_t>};
constexpr const Selector* kConstantTable[2] = {kRow<ConstantSelector, std::uint8_t>,
                                               kRow<ConstantSelector, std::uint16_t>};

void dispatch(const Selector* const* table, const CompositeCall& c) {
    if (c.op < 0 || c.op > 5 || (c.bits != 8 && c.bits != 16)) return;
    table[c.bits == 16][c.op](c);
}

template <class T>
void multiplyRows(const MultiplyCall& c) {
    const bool unit = c.x.step == 1 && c.y.step == 1 && c.d.step == 1;
    const std::int64_t bytes = c.cols;
    for (int y = 0; y < c.rows; ++y) {
        for (int k = 0; k < c.channels; ++k) {
            const Lane<T> d = c.d.lane<T>(k, y);
            const Lane<const T> x = c.x.lane<const T>(k, y), v = c.y.lane<const T>(k, y);
            if (!unit) {
                zipRow<false>(MulRule<T>{}, d, c.cols, x, v);
                continue;
            }
            if constexpr (std::is_same_v<T, std::uint8_t>) {
                if (apart(d.p, x.p, bytes) && apart(d.p, v.p, bytes)) {
                    alphaRows().multiply(x.p, v.p, d.p, c.cols);
                    continue;
                }
            }
            zipRow<true>(MulRule<T>{}, d, c.cols, x, v);
        }
    }
}

template <class T>
void fillRows(const Layout& to, const Layout& from, int rows, int cols) {
    for (int y = 0; y < rows; ++y)
        zipRow<false>(CopyRule{}, to.lane<T>(0, y), cols, from.lane<const T>(0, y));
}

}  // namespace

void composite(const CompositeCall& call) { dispatch(kCompositeTable, call); }
void compositeConstant(const CompositeCall& call) { dispatch(kConstantTable, call); }

void multiply(const MultiplyCall& call) {
    if (call.bits == 16)
        multiplyRows<std::uint16_t>(call);
    else
        multiplyRows<std::uint8_t>(call);
}

void fill(int bits, const Layout& to, const Layout& from, int rows, int cols) {
    if (bits == 16)
        fillRows<std::uint16_t>(to, from, rows, cols);
    else
        fillRows<std::uint8_t>(to, from, rows, cols);
}

}  // namespace vsk::alpha
