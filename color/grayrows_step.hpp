// The vector kernels of colour and grey, written once over a vector of
// kBlocks 128-bit blocks. Included only by the instruction-set files
// (grayrows_ssse3.cpp, grayrows_avx2.cpp), inside their anonymous namespace,
// after they define Vec, VecF, kBlocks, VSK_STEP and the operations below;
// every block works on its own 16 pixels, so byte shuffles never cross a
// block.
//
//   loadBlocks(p, apart)   16 bytes at p for block 0, p + apart for block 1 ...
//   loadVec(p)             16 x kBlocks bytes at p; loadMask(m) the same, aligned
//   loadBitPairs(p)        2 x kBlocks bytes at p, repeated in every block
//   putBlocks<N>(p, v, s)  N registers per block, blocks one after the other
//   put(p, v, s), fence()  a store (past the caches when s) and the fence after
//   the 16- and 32-bit lane operations named after their instructions.

// Pixels a step.
constexpr int kStep = 16 * kBlocks;

// ---- shuffle masks ---------------------------------------------------------------

// 8-bit pixels of P values: the 16 pixels of a block span P registers; group g
// holds pixels 8g .. 8g + 7 of channel c in 16-bit lanes, zero-extended.
struct SplitMasks {
    alignas(32) std::int8_t m[2][3][4][16 * kBlocks];
    bool used[2][3][4];
};

constexpr SplitMasks splitMasks(int p) {
    SplitMasks s{};
    for (int g = 0; g < 2; ++g)
        for (int c = 0; c < 3; ++c)
            for (int r = 0; r < 4; ++r) {
                s.used[g][c][r] = false;
                for (int j = 0; j < 16 * kBlocks; ++j) {
                    const int lane = j % 16, pixel = g * 8 + lane / 2;
                    const int at = pixel * p + c;
                    const bool here = lane % 2 == 0 && at / 16 == r;
                    s.m[g][c][r][j] = static_cast<std::int8_t>(here ? at % 16 : -128);
                    s.used[g][c][r] = s.used[g][c][r] || here;
                }
            }
    return s;
}

// 16-bit pixels of P values: the 16 pixels of a block span 2P registers;
// quad q (pixels 4q .. 4q + 3) gives the pairs (c0, c1) and (c2, 0) in 32-bit
// lanes.
struct PairMasks {
    alignas(32) std::int8_t m[4][2][8][16 * kBlocks];
    bool used[4][2][8];
};

constexpr PairMasks pairMasks(int p) {
    PairMasks s{};
    for (int q = 0; q < 4; ++q)
        for (int kind = 0; kind < 2; ++kind)
            for (int r = 0; r < 8; ++r) {
                s.used[q][kind][r] = false;
                for (int j = 0; j < 16 * kBlocks; ++j) {
                    const int lane = j % 16, pixel = q * 4 + lane / 4, half = lane / 2 % 2;
                    // kind 0: c0 then c1; kind 1: c2 then nothing.
                    const int c = kind == 0 ? half : (half == 0 ? 2 : -1);
                    const int at = (pixel * p + c) * 2 + lane % 2;
                    const bool here = c >= 0 && at / 16 == r;
                    s.m[q][kind][r][j] = static_cast<std::int8_t>(here ? at % 16 : -128);
                    s.used[q][kind][r] = s.used[q][kind][r] || here;
                }
            }
    return s;
}

// Three channel registers of E-byte values (16 / E pixels a block) put
// together as pixels of three values: output register o takes channel c by
// m[o][c].
struct JoinMasks {
    alignas(32) std::int8_t m[3][3][16 * kBlocks];
};

constexpr JoinMasks joinMasks(int e) {
    JoinMasks s{};
    for (int o = 0; o < 3; ++o)
        for (int c = 0; c < 3; ++c)
            for (int j = 0; j < 16 * kBlocks; ++j) {
                const int at = o * 16 + j % 16, value = at / e;
                s.m[o][c][j] =
                    static_cast<std::int8_t>(value % 3 == c ? (value / 3) * e + at % e : -128);
            }
    return s;
}

// Bits to bytes: block b repeats byte 2b in its first eight lanes and byte
// 2b + 1 in the others, which then test bits 7 .. 0.
struct BitMasks {
    alignas(32) std::int8_t spread[16 * kBlocks];
    alignas(32) std::int8_t test[16 * kBlocks];
};

constexpr BitMasks bitMasks() {
    BitMasks s{};
    for (int j = 0; j < 16 * kBlocks; ++j) {
        s.spread[j] = static_cast<std::int8_t>(j / 16 * 2 + j % 16 / 8);
        s.test[j] = static_cast<std::int8_t>(0x80 >> (j % 8));
    }
    return s;
}

constexpr SplitMasks kSplit3 = splitMasks(3), kSplit4 = splitMasks(4);
constexpr PairMasks kPairs3 = pairMasks(3), kPairs4 = pairMasks(4);
constexpr JoinMasks kJoin1 = joinMasks(1), kJoin2 = joinMasks(2), kJoin4 = joinMasks(4);
constexpr BitMasks kBits = bitMasks();

template <int Layout>
constexpr std::int64_t kPitch = Layout == kPixels3   ? 3
                                : Layout == kPixels4 ? 4
                                                     : 1;

// ---- streaming -----------------------------------------------------------------

// The pixels to take one at a time before `p` + k x bytes is aligned for a
// vector store; -1 when it never is.
std::int64_t headToAlign(const void* p, std::int64_t bytes) {
    const auto a = reinterpret_cast<std::uintptr_t>(p);
    for (std::int64_t k = 0; k < 16 * kBlocks; ++k)
        if ((a + static_cast<std::uintptr_t>(k * bytes)) % (16 * kBlocks) == 0) return k;
    return -1;
}

// Where a row's head ends: the first pixel from which all `count` outputs
// are aligned (0 without streaming; `stream` is cleared when they never are).
std::int64_t streamHead(void* const* out, int count, std::int64_t bytes, std::int64_t n,
                        bool& stream) {
    if (!stream) return 0;
    const std::int64_t k = headToAlign(out[0], bytes);
    bool same = k >= 0;
    for (int c = 1; c < count; ++c) same = same && headToAlign(out[c], bytes) == k;
    if (!same) {
        stream = false;
        return 0;
    }
    return k < n ? k : n;
}

// ---- colour to grey ----------------------------------------------------------

template <class S, int Layout, class D>
void lumaScalar(const void* const ch[3], D* out, std::int64_t from, std::int64_t to,
                const std::int32_t w[3]) {
    constexpr std::int64_t p = kPitch<Layout>;
    constexpr int post = sizeof(S) == 1 ? (sizeof(D) == 1 ? 8 : 0) : (sizeof(D) == 1 ? 16 : 8);
    const S* c0 = static_cast<const S*>(ch[0]);
    const S* c1 = Layout == kPlanes ? static_cast<const S*>(ch[1]) : c0 + 1;
    const S* c2 = Layout == kPlanes ? static_cast<const S*>(ch[2]) : c0 + 2;
    for (std::int64_t k = from; k < to; ++k)
        out[k] = static_cast<D>((std::int32_t{c0[k * p]} * w[0] + std::int32_t{c1[k * p]} * w[1] +
                                 std::int32_t{c2[k * p]} * w[2]) >>
                                post);
}

// The three channels of a step of 8-bit pixels: v[g][c] holds group g of
// every block in 16-bit lanes.
template <int Layout>
VSK_STEP void split8(const void* const ch[3], std::int64_t k, Vec v[2][3]) {
    if constexpr (Layout == kPlanes) {
        for (int c = 0; c < 3; ++c) {
            const Vec x = loadVec(static_cast<const std::uint8_t*>(ch[c]) + k);
            v[0][c] = unpackLo8(x, zero());
            v[1][c] = unpackHi8(x, zero());
        }
    } else {
        constexpr int p = static_cast<int>(kPitch<Layout>);
        constexpr const SplitMasks& s = p == 3 ? kSplit3 : kSplit4;
        const std::uint8_t* src = static_cast<const std::uint8_t*>(ch[0]) + k * p;
        Vec r[p];
#pragma GCC unroll 4
        for (int i = 0; i < p; ++i) r[i] = loadBlocks(src + 16 * i, 16 * p);
#pragma GCC unroll 2
        for (int g = 0; g < 2; ++g)
#pragma GCC unroll 3
            for (int c = 0; c < 3; ++c) {
                Vec x = zero();
#pragma GCC unroll 4
                for (int i = 0; i < p; ++i)
                    if (s.used[g][c][i]) x = bitOr(x, shuffle8(r[i], loadMask(s.m[g][c][i])));
                v[g][c] = x;
            }
    }
}

// The channel pairs of a step of 16-bit pixels: a[q] = (c0, c1), b[q] =
// (c2, 0) for quad q of every block.
template <int Layout>
VSK_STEP void pairs16(const void* const ch[3], std::int64_t k, Vec a[4], Vec b[4]) {
    if constexpr (Layout == kPlanes) {
        for (int g = 0; g < 2; ++g) {
            Vec c[3];
            for (int i = 0; i < 3; ++i)
                c[i] = loadBlocks(static_cast<const std::uint16_t*>(ch[i]) + k + 8 * g, 32);
            a[2 * g] = unpackLo16(c[0], c[1]);
            a[2 * g + 1] = unpackHi16(c[0], c[1]);
            b[2 * g] = unpackLo16(c[2], zero());
            b[2 * g + 1] = unpackHi16(c[2], zero());
        }
    } else {
        constexpr int p = static_cast<int>(kPitch<Layout>);
        constexpr const PairMasks& s = p == 3 ? kPairs3 : kPairs4;
        const std::uint16_t* src = static_cast<const std::uint16_t*>(ch[0]) + k * p;
        Vec r[2 * p];
#pragma GCC unroll 8
        for (int i = 0; i < 2 * p; ++i) r[i] = loadBlocks(src + 8 * i, 32 * p);
#pragma GCC unroll 4
        for (int q = 0; q < 4; ++q) {
            Vec x = zero(), y = zero();
#pragma GCC unroll 8
            for (int i = 0; i < 2 * p; ++i) {
                if (s.used[q][0][i]) x = bitOr(x, shuffle8(r[i], loadMask(s.m[q][0][i])));
                if (s.used[q][1][i]) y = bitOr(y, shuffle8(r[i], loadMask(s.m[q][1][i])));
            }
            a[q] = x;
            b[q] = y;
        }
    }
}

template <class S, int Layout, class D>
void lumaRow(const void* const ch[3], void* dst, std::int64_t n, const std::int32_t w[3],
             bool stream) {
    D* out = static_cast<D*>(dst);
    void* const outs[1] = {dst};
    const std::int64_t head = streamHead(outs, 1, sizeof(D), n, stream);
    lumaScalar<S, Layout>(ch, out, 0, head, w);
    std::int64_t k = head;
    // Pixels of four values read the fourth value of a step's last pixel: a
    // pixel must follow the step.
    const std::int64_t last = Layout == kPixels4 ? n - 1 : n;
    if constexpr (sizeof(S) == 1) {
        // 8 bits: the weighted sum stays below 65536.
        const Vec w0 = set16(w[0]), w1 = set16(w[1]), w2 = set16(w[2]);
        for (; k + kStep <= last; k += kStep) {
            Vec v[2][3];
            split8<Layout>(ch, k, v);
            Vec sum[2];
            for (int g = 0; g < 2; ++g)
                sum[g] =
                    add16(add16(mullo16(v[g][0], w0), mullo16(v[g][1], w1)), mullo16(v[g][2], w2));
            if constexpr (sizeof(D) == 1) {
                put(out + k, packus16(srli16<8>(sum[0]), srli16<8>(sum[1])), stream);
            } else {
                putBlocks<2>(out + k, sum, stream);
            }
        }
    } else {
        // 16 bits: 32-bit sums of pairs of signed products, the values taken
        // 32768 down (the high bit flipped) and the weights' share of that
        // added back. 16-bit results are packed signed, 32768 down, and
        // flipped back.
        const Vec w01 = set32(static_cast<std::int32_t>(static_cast<std::uint32_t>(w[1]) << 16 |
                                                        static_cast<std::uint32_t>(w[0])));
        const Vec w2 = set32(w[2]);
        const std::int32_t bias = 32768 * (w[0] + w[1] + w[2]);
        const Vec add = set32(sizeof(D) == 1 ? bias : bias - (32768 << 8));
        const Vec flip = set16(-32768), flipLow = set32(0x8000);
        for (; k + kStep <= last; k += kStep) {
            Vec a[4], b[4];
            pairs16<Layout>(ch, k, a, b);
            Vec sum[4];
            for (int q = 0; q < 4; ++q)
                sum[q] = add32(
                    add32(madd16(bitXor(a[q], flip), w01), madd16(bitXor(b[q], flipLow), w2)), add);
            if constexpr (sizeof(D) == 1) {
                // At most 254.
                const Vec g0 = packs32(srli32<16>(sum[0]), srli32<16>(sum[1]));
                const Vec g1 = packs32(srli32<16>(sum[2]), srli32<16>(sum[3]));
                put(out + k, packus16(g0, g1), stream);
            } else {
                const Vec g[2] = {bitXor(packs32(srai32<8>(sum[0]), srai32<8>(sum[1])), flip),
                                  bitXor(packs32(srai32<8>(sum[2]), srai32<8>(sum[3])), flip)};
                putBlocks<2>(out + k, g, stream);
            }
        }
    }
    lumaScalar<S, Layout>(ch, out, k, n, w);
    if (stream) fence();
}

// ---- grey to colour ------------------------------------------------------------

template <class S>
using SpreadTo = std::conditional_t<std::is_void_v<S>, std::uint8_t, S>;

// Pixels from .. to one at a time.
template <class S, int Layout>
void spreadScalar(const void* src, void* const ch[3], std::int64_t from, std::int64_t to,
                  const SpreadCoeffs& k) {
    using D = SpreadTo<S>;
    constexpr std::int64_t p = kPitch<Layout>;
    D* o[3];
    for (int c = 0; c < 3; ++c)
        o[c] = Layout == kPlanes ? static_cast<D*>(ch[c]) : static_cast<D*>(ch[0]) + c;
    for (std::int64_t i = from; i < to; ++i)
        for (int c = 0; c < 3; ++c) {
            D v;
            if constexpr (std::is_void_v<S>) {
                const std::uint8_t* bits = static_cast<const std::uint8_t*>(src);
                v = (bits[i >> 3] >> (7 - (i & 7))) & 1 ? k.bit[c] : 0;
            } else if constexpr (std::is_same_v<S, std::int32_t>) {
                // Out of range and NaN give INT32_MIN, as the vector conversion.
                v = _mm_cvttss_si32(
                    _mm_set_ss(static_cast<float>(static_cast<const S*>(src)[i]) * k.f[c]));
            } else {
                v = static_cast<D>((std::uint32_t{static_cast<const S*>(src)[i]} * k.m[c]) >>
                                   k.shift);
            }
            o[c][i * p] = v;
        }
}

// The multipliers of a row as vectors.
struct SpreadVecs {
    Vec m[3];
    __m128i down, up;  // shift counts of the low and the high product halves
    bool byteShift;    // shift 8: the low halves alone give the bytes
    VecF f[3];
    Vec bit[3];
};

template <class S>
SpreadVecs spreadVecs(const SpreadCoeffs& k) {
    SpreadVecs v{};
    for (int c = 0; c < 3; ++c) {
        if constexpr (std::is_void_v<S>)
            v.bit[c] = set8(static_cast<std::int8_t>(k.bit[c]));
        else if constexpr (std::is_same_v<S, std::int32_t>)
            v.f[c] = setF(k.f[c]);
        else
            v.m[c] = set16(static_cast<std::int16_t>(k.m[c]));
    }
    v.down = shiftCount(k.shift);
    v.up = shiftCount(16 - k.shift);
    v.byteShift = k.shift == 8;
    return v;
}

// (g m) >> shift, low 16 bits, from the low and high halves of the products.
VSK_STEP Vec scaled(Vec g, Vec m, const SpreadVecs& v) {
    return bitOr(srl16(mullo16(g, m), v.down), sll16(mulhi16(g, m), v.up));
}

// Register block b of the step's source (16 / E pixels of every block) as
// three channel registers.
template <class S>
VSK_STEP void spreadValues(const void* src, std::int64_t i, int b, const SpreadVecs& v,
                           Vec out[3]) {
    if constexpr (std::is_void_v<S>) {
        const Vec bits = shuffle8(loadBitPairs(static_cast<const std::uint8_t*>(src) + i / 8),
                                  loadMask(kBits.spread));
        const Vec test = loadMask(kBits.test);
        const Vec set = cmpeq8(bitAnd(bits, test), test);
        for (int c = 0; c < 3; ++c) out[c] = bitAnd(set, v.bit[c]);
    } else if constexpr (std::is_same_v<S, std::int32_t>) {
        const VecF g = toFloat(loadBlocks(static_cast<const S*>(src) + i + 4 * b, 64));
        for (int c = 0; c < 3; ++c) out[c] = truncate(mulF(g, v.f[c]));
    } else if constexpr (sizeof(S) == 1) {
        const Vec x = loadVec(static_cast<const S*>(src) + i);
        const Vec lo = unpackLo8(x, zero()), hi = unpackHi8(x, zero());
        if (v.byteShift) {
            for (int c = 0; c < 3; ++c)
                out[c] = packus16(srli16<8>(mullo16(lo, v.m[c])), srli16<8>(mullo16(hi, v.m[c])));
        } else {
            const Vec low8 = set16(0xFF);
            for (int c = 0; c < 3; ++c)
                out[c] = packus16(bitAnd(scaled(lo, v.m[c], v), low8),
                                  bitAnd(scaled(hi, v.m[c], v), low8));
        }
    } else {
        const Vec g = loadBlocks(static_cast<const S*>(src) + i + 8 * b, 32);
        for (int c = 0; c < 3; ++c) out[c] = scaled(g, v.m[c], v);
    }
}

template <class S, int Layout>
void spreadRow(const void* src, void* const ch[3], std::int64_t n, const SpreadCoeffs& k,
               bool stream) {
    using D = SpreadTo<S>;
    constexpr int e = sizeof(D);
    constexpr const JoinMasks& join = e == 1 ? kJoin1 : e == 2 ? kJoin2 : kJoin4;
    // 1-bit steps start on a byte of the source: no head, no streaming.
    if constexpr (std::is_void_v<S>) stream = false;
    const std::int64_t head =
        streamHead(ch, Layout == kPlanes ? 3 : 1, kPitch<Layout> * e, n, stream);
    spreadScalar<S, Layout>(src, ch, 0, head, k);
    std::int64_t i = head;
    const SpreadVecs v = spreadVecs<S>(k);
    for (; i + kStep <= n; i += kStep) {
        Vec c[e][3];
#pragma GCC unroll 4
        for (int b = 0; b < e; ++b) spreadValues<S>(src, i, b, v, c[b]);
        if constexpr (Layout == kPlanes) {
            for (int x = 0; x < 3; ++x) {
                Vec planes[e];
                for (int b = 0; b < e; ++b) planes[b] = c[b][x];
                putBlocks<e>(static_cast<D*>(ch[x]) + i, planes, stream);
            }
        } else {
            Vec out[3 * e];
#pragma GCC unroll 4
            for (int b = 0; b < e; ++b)
#pragma GCC unroll 3
                for (int o = 0; o < 3; ++o)
                    out[3 * b + o] = bitOr(bitOr(shuffle8(c[b][0], loadMask(join.m[o][0])),
                                                 shuffle8(c[b][1], loadMask(join.m[o][1]))),
                                           shuffle8(c[b][2], loadMask(join.m[o][2])));
            putBlocks<3 * e>(static_cast<D*>(ch[0]) + 3 * i, out, stream);
        }
    }
    spreadScalar<S, Layout>(src, ch, i < n ? i : n, n, k);
    if (stream) fence();
}

// ---- the table -----------------------------------------------------------------

template <int Layout>
void fillLayout(GrayRows& rows) {
    rows.luma[0][Layout][0] = lumaRow<std::uint8_t, Layout, std::uint8_t>;
    rows.luma[0][Layout][1] = lumaRow<std::uint8_t, Layout, std::uint16_t>;
    rows.luma[1][Layout][0] = lumaRow<std::uint16_t, Layout, std::uint8_t>;
    rows.luma[1][Layout][1] = lumaRow<std::uint16_t, Layout, std::uint16_t>;
    // Four-value pixels keep their fourth value unwritten: no kernel.
    if constexpr (Layout != kPixels4) {
        rows.spread[kSpread8U][Layout] = spreadRow<std::uint8_t, Layout>;
        rows.spread[kSpread16U][Layout] = spreadRow<std::uint16_t, Layout>;
        rows.spread[kSpread32S][Layout] = spreadRow<std::int32_t, Layout>;
        rows.spread[kSpread1U][Layout] = spreadRow<void, Layout>;
    }
}

GrayRows allRows() {
    GrayRows rows{};
    fillLayout<kPlanes>(rows);
    fillLayout<kPixels3>(rows);
    fillLayout<kPixels4>(rows);
    return rows;
}
