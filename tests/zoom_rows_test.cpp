// Zoom's row kernels: every instruction-set level this processor has against
// the scalar kernels on random rows (odd lengths, every channel count, both
// depths, tables that stop short of the row's end), and the proof that the
// integer rule of 8-bit linear zoom by quarters gives the double formula's
// bytes for every weight and every pair of samples and of horizontal values.
#include "../geometry/zoom_rows.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "simd.hpp"
#include "support/levels.hpp"

using namespace vsk::zoom;
using vsk::simd::SimdLevel;

namespace {

const ZoomKernels kScalar = zoomKernelsScalar();

std::mt19937 rng(1313);
int pick(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }
double uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); }

// A source row of `pixels` pixels of `pitch` elements, exactly as long as
// that (so that a read past it is caught by the sanitizers), and the leading
// columns whose samples (offsets o[k][i] of channel 0) keep kReadSlack
// elements readable after their last channel.
template <class T>
std::vector<T> randomRow(int pixels, int pitch) {
    std::vector<T> row(static_cast<std::size_t>(pixels) * pitch);
    for (T& v : row) v = static_cast<T>(pick(0, sizeof(T) == 1 ? 255 : 65535));
    return row;
}
int safeOf(const std::vector<const std::int32_t*>& o, int n, int ch, std::size_t length) {
    for (int i = 0; i < n; ++i)
        for (const std::int32_t* p : o)
            if (p[i] + ch + kReadSlack > static_cast<std::int64_t>(length)) return i;
    return n;
}

// Columns moving through the row by steps of at most one pixel, clamped at
// its end as the zoom clamps them, so the last ones are never safe.
std::vector<int> columnsThrough(int n, int pixels) {
    std::vector<int> s(n);
    double at = uniform(0, 2);
    const double step = uniform(0.2, 1.0);
    for (int i = 0; i < n; ++i, at += step) s[i] = std::min(static_cast<int>(at), pixels - 1);
    return s;
}

template <class T>
void expectHorizontalKernelsMatch(const ZoomKernels& fast, int round) {
    const int ch = pick(1, 5),
              pitch = pick(0, 3) ? ch : ch + pick(1, 2);  // pitch > ch: one channel of several
    const int pixels = pick(4, 60), n = pick(1, 90);
    const std::vector<T> row = randomRow<T>(pixels, pitch);
    const std::vector<int> s = columnsThrough(n, pixels);
    std::vector<std::int32_t> o[4];
    for (auto& v : o) v.resize(n);
    std::vector<double> w[3], f(n);
    for (auto& v : w) v.resize(n);
    const double specials[] = {0.0, 0.5, 1.0, 1.5, 0.25};
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < 4; ++k) o[k][i] = std::clamp(s[i] + k - 1, 0, pixels - 1) * pitch;
        f[i] = pick(0, 3) ? uniform(0, 2.5) : specials[pick(0, 4)];
        const double t = pick(0, 3) ? uniform(-1.5, 2.5) : specials[pick(0, 4)];
        w[0][i] = 1 + t;
        w[1][i] = t * (1 + t) * 0.5;
        w[2][i] = (t - 1) * w[1][i] * 0.3333333333333333;
    }
    // Runs of columns on the same samples (the columns move by less than a pixel).
    std::vector<std::int32_t> run(n);
    for (int i = n - 1; i >= 0; --i) {
        bool same = i + 1 < n;
        for (int k = 0; k < 4; ++k) same = same && o[k][i + 1] == o[k][i];
        run[i] = same ? run[i + 1] + 1 : 1;
    }
    const LinearColumns lin{o[1].data(), o[2].data(), f.data(), n,
                            safeOf({o[1].data(), o[2].data()}, n, ch, row.size())};
    const CubicColumns cub{
        {o[0].data(), o[1].data(), o[2].data(), o[3].data()},
        w[0].data(),
        w[1].data(),
        w[2].data(),
        n,
        safeOf({o[0].data(), o[1].data(), o[2].data(), o[3].data()}, n, ch, row.size()),
        run.data()};
    const ZoomRows<T>& scalar = rowsOf<T>(kScalar);
    const ZoomRows<T>& vec = rowsOf<T>(fast);
    const std::size_t values = static_cast<std::size_t>(n) * ch;
    std::vector<float> want(values + kRowSlack), got(values + kRowSlack);
    SCOPED_TRACE("round " + std::to_string(round) + " ch " + std::to_string(ch) + " pitch " +
                 std::to_string(pitch) + " n " + std::to_string(n));
    scalar.linearH(row.data(), lin, ch, want.data());
    vec.linearH(row.data(), lin, ch, got.data());
    ASSERT_EQ(0, std::memcmp(want.data(), got.data(), values * sizeof(float))) << "linear";
    scalar.cubicH(row.data(), cub, ch, want.data());
    vec.cubicH(row.data(), cub, ch, got.data());
    ASSERT_EQ(0, std::memcmp(want.data(), got.data(), values * sizeof(float))) << "cubic";
}

// Rows of floats such as the horizontal step makes (and some past the
// depth's range, which the vertical step wraps or clamps), read from an odd
// start.
template <class T>
void expectVerticalKernelsMatch(const ZoomKernels& fast, int round) {
    const int n = pick(1, 140), start = pick(0, 3);
    const double top = sizeof(T) == 1 ? 255 : 65535;
    std::vector<float> rows[4];
    // A third of the values lie on or just below an integer or a half, where
    // int() and the clamps decide.
    const double nudges[] = {0, -0.000005, -0.00002, 0.5, -0.5, 0.499995};
    for (auto& r : rows) {
        r.resize(static_cast<std::size_t>(start + n));
        for (float& v : r)
            v = static_cast<float>(pick(0, 2)
                                       ? uniform(-0.6 * top, 1.6 * top)
                                       : pick(-10, 10) + pick(0, 1) * top + nudges[pick(0, 5)]);
    }
    const float* q[4] = {rows[0].data() + start, rows[1].data() + start, rows[2].data() + start,
                         rows[3].data() + start};
    // Up to kVRows destination rows at once, each with its own weights.
    const int rowCount = pick(1, kVRows);
    double f[kVRows], c[kVRows][3];
    for (int r = 0; r < rowCount; ++r) {
        f[r] = pick(0, 2) ? uniform(0, 2) : (pick(0, 1) ? 0.0 : 1.0);
        const double t = pick(0, 2) ? uniform(-1.5, 2.5) : pick(0, 1), c2 = t * (1 + t) * 0.5;
        c[r][0] = 1 + t;
        c[r][1] = c2;
        c[r][2] = (t - 1) * c2 * 0.3333333333333333;
    }
    const ZoomRows<T>& scalar = rowsOf<T>(kScalar);
    const ZoomRows<T>& vec = rowsOf<T>(fast);
    std::vector<T> want(static_cast<std::size_t>(n) * rowCount), got(want.size());
    T *w[kVRows], *g[kVRows];
    for (int r = 0; r < rowCount; ++r) {
        w[r] = want.data() + r * n;
        g[r] = got.data() + r * n;
    }
    SCOPED_TRACE("round " + std::to_string(round) + " n " + std::to_string(n) + " rows " +
                 std::to_string(rowCount));
    scalar.linearV(q[0], q[1], f, w, rowCount, n);
    vec.linearV(q[0], q[1], f, g, rowCount, n);
    ASSERT_EQ(want, got) << "linear";
    scalar.cubicV(q, c, w, rowCount, n);
    vec.cubicV(q, c, g, rowCount, n);
    ASSERT_EQ(want, got) << "cubic";
}

// Every horizontal value of the integer rule: 4 p0 + (p1 - p0) m.
std::vector<int> quarterValues() {
    std::vector<bool> seen(4096);
    for (int m = 0; m < 8; ++m)
        for (int p0 = 0; p0 < 256; ++p0)
            for (int p1 = 0; p1 < 256; ++p1) seen[4 * p0 + (p1 - p0) * m + 2048] = true;
    std::vector<int> values;
    for (int v = 0; v < 4096; ++v)
        if (seen[v]) values.push_back(v - 2048);
    return values;
}

}  // namespace

TEST(ZoomRows, EveryLevelMatchesTheScalarKernels) {
    for (SimdLevel level : vsktest::vectorLevels()) {
        SCOPED_TRACE(vsk::simd::levelName(level));
        const ZoomKernels fast = zoomKernelsFor(level);
        for (int round = 0; round < 300; ++round) {
            expectHorizontalKernelsMatch<std::uint8_t>(fast, round);
            expectHorizontalKernelsMatch<std::uint16_t>(fast, round);
            expectVerticalKernelsMatch<std::uint8_t>(fast, round);
            expectVerticalKernelsMatch<std::uint16_t>(fast, round);
        }
    }
}

// The double formula with weights m / 4 (0 <= m < 8): the horizontal value
// of every pair of bytes is exactly H / 4, and the vertical step of every
// pair of such values gives the byte of the integer rule.
TEST(ZoomRows, QuarterRuleGivesTheDoubleFormulasBytes) {
    const ZoomRows<std::uint8_t>& scalar = kScalar.u8;
    // Horizontal: the 65536 pairs (p0, p1) side by side in one row, eight
    // values to a group of sixteen bytes.
    constexpr int kPairs = 256 * 256;
    std::vector<std::uint8_t> row(2 * kPairs);
    std::vector<std::int32_t> o0(kPairs), o1(kPairs), base(kPairs / kQuarterGroup);
    std::vector<std::uint8_t> pickAt(2 * kPairs);
    for (int k = 0; k < kPairs; ++k) {
        row[2 * k] = static_cast<std::uint8_t>(k >> 8);
        row[2 * k + 1] = static_cast<std::uint8_t>(k);
        o0[k] = 2 * k;
        o1[k] = 2 * k + 1;
        const int g = k / kQuarterGroup, e = k % kQuarterGroup;
        base[g] = 2 * kQuarterGroup * g;
        pickAt[2 * kQuarterGroup * g + e] = static_cast<std::uint8_t>(2 * e);
        pickAt[2 * kQuarterGroup * g + kQuarterGroup + e] = static_cast<std::uint8_t>(2 * e + 1);
    }
    std::vector<float> h(kPairs + kRowSlack);
    std::vector<std::int16_t> whole(kPairs);
    for (int m = 0; m < 8; ++m) {
        const std::vector<double> f(kPairs, m / 4.0);
        scalar.linearH(row.data(), {o0.data(), o1.data(), f.data(), kPairs, 0}, 1, h.data());
        const std::vector<std::int16_t> ms(kPairs, static_cast<std::int16_t>(m));
        quarterHScalar(row.data(), {base.data(), pickAt.data(), ms.data(), kPairs, 0},
                       whole.data());
        for (int k = 0; k < kPairs; ++k)
            ASSERT_EQ(static_cast<double>(h[k]) * 4, whole[k]) << "m " << m << " pair " << k;
    }

    // Vertical: every pair of horizontal values (a, b), as floats a / 4 and
    // b / 4, with every weight.
    const std::vector<int> values = quarterValues();
    const int count = static_cast<int>(values.size());
    std::vector<float> b(values.size()), a(values.size());
    std::vector<std::int16_t> bi(values.size()), ai(values.size());
    for (int k = 0; k < count; ++k) {
        b[k] = static_cast<float>(values[k] / 4.0);
        bi[k] = static_cast<std::int16_t>(values[k]);
    }
    std::vector<std::uint8_t> want(values.size()), got(values.size());
    for (int m = 0; m < 8; ++m)
        for (int v : values) {
            std::fill(a.begin(), a.end(), static_cast<float>(v / 4.0));
            std::fill(ai.begin(), ai.end(), static_cast<std::int16_t>(v));
            const double f = m / 4.0;
            std::uint8_t* out = want.data();
            scalar.linearV(a.data(), b.data(), &f, &out, 1, count);
            quarterVScalar(ai.data(), bi.data(), m, got.data(), count, false);
            ASSERT_EQ(want, got) << "m " << m << " a " << v;
        }
}

// The window kernels on random windows of a quarter table (every sample
// within kQuarterWindow bytes of its group's base), with any weights, against
// the scalar linear and cubic steps on one channel.
void expectWindowKernelsMatch(const ZoomKernels& fast, const std::vector<std::uint8_t>& row,
                              const std::vector<std::int32_t>& base, int n, int safe) {
    const std::size_t groups = base.size();
    std::vector<std::uint8_t> lin(groups * kWindowControl, 0x80);
    std::vector<std::uint8_t> cub(groups * kCubicWindowControl, 0x80);
    std::vector<std::int32_t> o[4], run(n, 1);
    std::vector<double> f(n), c[3];
    for (auto& v : o) v.resize(n);
    for (auto& v : c) v.resize(n);
    for (int k = 0; k < n; ++k) {
        const int g = k / kQuarterGroup, e = k % kQuarterGroup;
        const int room = std::min<int>(kQuarterWindow, static_cast<int>(row.size()) - base[g]);
        for (int m = 0; m < 4; ++m) {
            const auto at = static_cast<std::uint8_t>(pick(0, room - 1));
            cub[g * kCubicWindowControl + m * kWindowControl / 2 + 4 * e] = at;
            if (m < 2) lin[g * kWindowControl + m * kWindowControl / 2 + 4 * e] = at;
            o[m][k] = base[g] + at;
        }
        f[k] = pick(0, 3) ? uniform(-0.5, 2) : pick(0, 4) / 5.0;
        const double t = pick(0, 3) ? uniform(-1.5, 2.5) : pick(0, 4) / 4.0;
        c[0][k] = 1 + t;
        c[1][k] = t * (1 + t) * 0.5;
        c[2][k] = (t - 1) * c[1][k] * 0.3333333333333333;
    }
    std::vector<float> want(n), got(n);
    if (fast.windowH) {
        kScalar.u8.linearH(row.data(), {o[0].data(), o[1].data(), f.data(), n, 0}, 1, want.data());
        fast.windowH(row.data(), {base.data(), lin.data(), f.data(), n, safe}, got.data());
        ASSERT_EQ(0, std::memcmp(want.data(), got.data(), n * sizeof(float))) << "window";
    }
    if (fast.cubicWindowH) {
        const CubicColumns x{{o[0].data(), o[1].data(), o[2].data(), o[3].data()},
                             c[0].data(), c[1].data(), c[2].data(), n, 0, run.data()};
        kScalar.u8.cubicH(row.data(), x, 1, want.data());
        const CubicWindowColumns w{base.data(), cub.data(), c[0].data(), c[1].data(),
                                   c[2].data(), n, safe};
        fast.cubicWindowH(row.data(), w, got.data());
        ASSERT_EQ(0, std::memcmp(want.data(), got.data(), n * sizeof(float))) << "cubic window";
    }
}

TEST(ZoomRows, QuarterKernelsMatchTheScalarRule) {
    const std::vector<int> values = quarterValues();
    for (SimdLevel level : vsktest::vectorLevels()) {
        const ZoomKernels fast = zoomKernelsFor(level);
        if (!fast.quarterH) continue;
        SCOPED_TRACE(vsk::simd::levelName(level));
        for (int round = 0; round < 300; ++round) {
            // Random windows in a row that ends right after the last readable one.
            const int n = pick(1, 150), groups = (n + kQuarterGroup - 1) / kQuarterGroup;
            const int length = pick(kQuarterWindow, 400);
            std::vector<std::uint8_t> row(static_cast<std::size_t>(length));
            for (auto& v : row) v = static_cast<std::uint8_t>(pick(0, 255));
            std::vector<std::int32_t> base(groups);
            std::vector<std::uint8_t> at(static_cast<std::size_t>(groups) * 2 * kQuarterGroup);
            std::vector<std::int16_t> m(n);
            int safe = groups;
            for (int g = 0; g < groups; ++g) {
                base[g] = pick(0, length - 1);
                if (safe == groups && base[g] + kQuarterWindow > length) safe = g;
                const int room = std::min(kQuarterWindow, length - base[g]);
                for (int e = 0; e < 2 * kQuarterGroup; ++e)
                    at[2 * kQuarterGroup * g + e] = static_cast<std::uint8_t>(pick(0, room - 1));
            }
            for (auto& w : m) w = static_cast<std::int16_t>(pick(0, 7));
            const QuarterColumns x{base.data(), at.data(), m.data(), n, safe};
            std::vector<std::int16_t> want(n), got(n);
            quarterHScalar(row.data(), x, want.data());
            fast.quarterH(row.data(), x, got.data());
            ASSERT_EQ(want, got) << "round " << round;
            expectWindowKernelsMatch(fast, row, base, n, safe);

            std::vector<std::int16_t> a(n), b(n);
            for (int k = 0; k < n; ++k) {
                a[k] =
                    static_cast<std::int16_t>(values[pick(0, static_cast<int>(values.size()) - 1)]);
                b[k] =
                    static_cast<std::int16_t>(values[pick(0, static_cast<int>(values.size()) - 1)]);
            }
            const int weight = pick(0, 7);
            // Streamed rows start at any offset.
            const int start = pick(0, 31);
            std::vector<std::uint8_t> wantBytes(n), gotBytes(n + 32);
            quarterVScalar(a.data(), b.data(), weight, wantBytes.data(), n, false);
            fast.quarterV(a.data(), b.data(), weight, gotBytes.data() + start, n, pick(0, 1));
            ASSERT_EQ(wantBytes, std::vector<std::uint8_t>(gotBytes.begin() + start,
                                                           gotBytes.begin() + start + n))
                << "round " << round;
        }
    }
}

TEST(ZoomRows, NearestShufflesCopyEveryByteFromItsSource) {
    for (SimdLevel level : vsktest::vectorLevels()) {
        const ZoomKernels fast = zoomKernelsFor(level);
        if (!fast.nearest) continue;
        SCOPED_TRACE(vsk::simd::levelName(level));
        for (int round = 0; round < 300; ++round) {
            // Sources moving by up to two bytes per byte, so that some groups
            // fit a window and some don't; the last windows run past the row.
            const int bytes = pick(1, 120), groups = bytes / kNearestGroup;
            std::vector<std::int32_t> src(bytes);
            int at = pick(0, 8);
            for (int k = 0; k < bytes; ++k, at += pick(0, 2)) src[k] = at;
            const int length = at + 1;
            std::vector<std::uint8_t> row(static_cast<std::size_t>(length));
            for (auto& v : row) v = static_cast<std::uint8_t>(pick(0, 255));
            std::vector<std::int32_t> base(std::max(groups, 1));
            std::vector<std::uint8_t> sel(std::max(groups, 1) * kNearestGroup);
            int safe = groups;
            for (int g = 0; g < groups; ++g) {
                const std::int32_t* s = src.data() + g * kNearestGroup;
                const bool fits = s[kNearestGroup - 1] - s[0] < kNearestGroup;
                base[g] = fits ? s[0] : kNoWindow;
                for (int k = 0; k < kNearestGroup; ++k)
                    sel[g * kNearestGroup + k] = static_cast<std::uint8_t>(fits ? s[k] - s[0] : 0);
                if (safe == groups && fits && s[0] + kNearestGroup > length) safe = g;
            }
            std::vector<std::uint8_t> want(bytes), got(bytes);
            for (int k = 0; k < bytes; ++k) want[k] = row[src[k]];
            fast.nearest(row.data(), {src.data(), base.data(), sel.data(), bytes, safe},
                         got.data());
            ASSERT_EQ(want, got) << "round " << round;
        }
    }
}
