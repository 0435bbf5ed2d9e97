// Building blocks of the row kernels, written once over an instruction set I (Sse2 or
// Avx2, vec_*.h) and a sample type S (8 or 16 bits). Included only by *_sse2.cpp and
// *_avx2.cpp files.
//
// A vector holds I::bytes / sizeof(S) samples. Vectors loaded from a mosaic row at an
// even column hold pairs (even column, odd column) of samples, one pair per 2S-wide
// element, which the pair helpers below work on without moving data across pairs.
#pragma once

#include <cstdint>

namespace korvimg {
namespace simd {

template <class I, class S>
struct Ops {
    using V = typename I::V;
    static constexpr int lanes = I::bytes / static_cast<int>(sizeof(S));  // samples per vector
    static constexpr bool wide = sizeof(S) == 2;

    // (a, b) -> (a, 0) and (0, b)
    static V keep_even(V v) { return I::and_(v, wide ? I::set32(0xFFFF) : I::set16(0x00FF)); }
    static V keep_odd(V v) { return I::and_(v, wide ? I::set32(static_cast<int>(0xFFFF0000u)) : I::set16(0xFF00)); }
    // (a, b) -> (a, a) and (b, b)
    static V dup_even(V v) {
        const V x = keep_even(v);
        return wide ? I::or_(x, I::template sll32<16>(x)) : I::or_(x, I::template sll16<8>(x));
    }
    static V dup_odd(V v) {
        const V x = wide ? I::template srl32<16>(v) : I::template srl16<8>(v);
        return wide ? I::or_(x, I::template sll32<16>(x)) : I::or_(x, I::template sll16<8>(x));
    }
    // Sample K of a tile (raster order 0..3) of the rows `top` and `bottom`, repeated
    // on both columns of the tile.
    template <int K>
    static V tile_sample(V top, V bottom) {
        const V row = K >= 2 ? bottom : top;
        return (K & 1) ? dup_odd(row) : dup_even(row);
    }

    // The even and the odd samples of two vectors, as one vector in column order.
    static V pack_even(V a, V b) {
        if constexpr (wide)
            return I::pack_order(I::packs32(I::template sra32<16>(I::template sll32<16>(a)),
                                            I::template sra32<16>(I::template sll32<16>(b))));
        else
            return I::pack_order(I::packus16(keep_even(a), keep_even(b)));
    }
    static V pack_odd(V a, V b) {
        // The arithmetic shift makes a 16-bit value its own signed saturation.
        if constexpr (wide)
            return I::pack_order(I::packs32(I::template sra32<16>(a), I::template sra32<16>(b)));
        else
            return I::pack_order(I::packus16(I::template srl16<8>(a), I::template srl16<8>(b)));
    }

    // floor((a + b) / 2) per sample: the rounding-up average minus the odd bit.
    static V mean_down(V a, V b) {
        const V odd = I::and_(I::xor_(a, b), wide ? I::set16(1) : I::set8(1));
        return wide ? I::sub16(I::avg16(a, b), odd) : I::sub8(I::avg8(a, b), odd);
    }

    // Writes `lanes` pixels (blue, green, red from the three vectors; a fourth channel
    // of 0 when C is 4) at out. Three-channel pixels go straight from the planes where
    // the instruction set has a byte shuffle; otherwise they are made as four-channel
    // ones and squeezed.
    template <int C>
    static void put_pixels(S *out, V blue, V green, V red) {
        if constexpr (C == 3 && I::byte_shuffle) {
            I::template store_planes3<S, false, false, false>(out, blue, green, red);
        } else {
            const V z = I::zero();
            V p0, p1, p2, p3;
            if constexpr (wide) {
                const V bg_lo = I::unpacklo16(blue, green), bg_hi = I::unpackhi16(blue, green);
                const V r_lo = I::unpacklo16(red, z), r_hi = I::unpackhi16(red, z);
                p0 = I::unpacklo32(bg_lo, r_lo); p1 = I::unpackhi32(bg_lo, r_lo);
                p2 = I::unpacklo32(bg_hi, r_hi); p3 = I::unpackhi32(bg_hi, r_hi);
            } else {
                const V bg_lo = I::unpacklo8(blue, green), bg_hi = I::unpackhi8(blue, green);
                const V r_lo = I::unpacklo8(red, z), r_hi = I::unpackhi8(red, z);
                p0 = I::unpacklo16(bg_lo, r_lo); p1 = I::unpackhi16(bg_lo, r_lo);
                p2 = I::unpacklo16(bg_hi, r_hi); p3 = I::unpackhi16(bg_hi, r_hi);
            }
            I::pixel_order(p0, p1, p2, p3);
            if constexpr (C == 4) {
                uint8_t *o = reinterpret_cast<uint8_t *>(out);
                I::store(o, p0);
                I::store(o + I::bytes, p1);
                I::store(o + 2 * I::bytes, p2);
                I::store(o + 3 * I::bytes, p3);
            } else {
                I::template store3<S>(out, p0, p1, p2, p3);
            }
        }
    }

    // put_pixels with planes given in halves where BlueHalves, ... say so: each
    // 128-bit block's samples of even position before its odd ones, as
    // Wide::halves makes them.
    template <int C, bool BlueHalves, bool GreenHalves, bool RedHalves>
    static void put_halves(S *out, V blue, V green, V red) {
        if constexpr (C == 3 && I::byte_shuffle) {
            I::template store_planes3<S, BlueHalves, GreenHalves, RedHalves>(out, blue, green, red);
        } else {
            auto in_order = [](V v, bool halves) { return halves ? I::template zip_halves<S>(v) : v; };
            put_pixels<C>(out, in_order(blue, BlueHalves), in_order(green, GreenHalves), in_order(red, RedHalves));
        }
    }
};

// Arithmetic on samples widened to twice their size (16-bit elements for 8-bit
// samples, 32-bit for 16-bit samples), signed, so that sums, differences and
// corrections cannot overflow. A vector of samples widens into lo() and hi(); any
// element-wise work on both and narrow() gives the samples back in their order.
template <class I, class S>
struct Wide {
    using V = typename I::V;
    static constexpr bool wide = sizeof(S) == 2;

    static V lo(V v) { return wide ? I::unpacklo16(v, I::zero()) : I::unpacklo8(v, I::zero()); }
    static V hi(V v) { return wide ? I::unpackhi16(v, I::zero()) : I::unpackhi8(v, I::zero()); }
    // Back to samples, clamping to 0 .. the largest sample.
    static V narrow(V lo, V hi) { return wide ? I::packus32(lo, hi) : I::packus16(lo, hi); }

    static V set(int x) { return wide ? I::set32(x) : I::set16(x); }
    static V add(V a, V b) { return wide ? I::add32(a, b) : I::add16(a, b); }
    static V sub(V a, V b) { return wide ? I::sub32(a, b) : I::sub16(a, b); }
    static V abs(V a) { return wide ? I::abs32(a) : I::abs16(a); }
    static V eq(V a, V b) { return wide ? I::cmpeq32(a, b) : I::cmpeq16(a, b); }
    static V gt(V a, V b) { return wide ? I::cmpgt32(a, b) : I::cmpgt16(a, b); }
    // mask ? a : b
    static V select(V mask, V a, V b) { return I::select(mask, a, b); }
    // Shift right of a value that is never negative (the floor of a / 2^K).
    template <int K> static V shr(V a) { return wide ? I::template srl32<K>(a) : I::template srl16<K>(a); }
    // Signed division by 2^K truncating toward zero.
    // Where the instruction set copies signs, the magnitude is shifted and given the
    // sign back; elsewhere a negative value is biased by 2^K - 1 (from its sign bits)
    // before the arithmetic shift.
    template <int K> static V div(V a) {
        if constexpr (I::has_sign) {
            return sign_of(shr<K>(abs(a)), a);
        } else {
            const V bias = wide ? I::template srl32<32 - K>(I::template sra32<31>(a))
                                : I::template srl16<16 - K>(I::template sra16<15>(a));
            const V biased = add(a, bias);
            return wide ? I::template sra32<K>(biased) : I::template sra16<K>(biased);
        }
    }
    // The same division when abs(a) is at hand.
    template <int K> static V div(V a, V magnitude) {
        if constexpr (I::has_sign) return sign_of(shr<K>(magnitude), a);
        else return div<K>(a);
    }
    // The samples at even and at odd positions of a vector of samples, each widened
    // in place of its pair (sample 2k or 2k + 1 becomes widened element k).
    static V even(V v) { return I::and_(v, wide ? I::set32(0xFFFF) : I::set16(0x00FF)); }
    static V odd(V v) { return wide ? I::template srl32<16>(v) : I::template srl16<8>(v); }
    // The inverse of even and odd: samples from the widened even and odd ones,
    // clamping to 0 .. the largest sample. The packs keep each 128-bit block's evens
    // before its odds; zip_halves interleaves the two halves of each block.
    static V interleave(V evens, V odds) { return I::template zip_halves<S>(halves(evens, odds)); }
    // The same samples before the last step: each 128-bit block's even ones, then its
    // odd ones.
    static V halves(V evens, V odds) { return narrow(evens, odds); }

  private:
    template <class J = I>
    static V sign_of(V a, V b) { return wide ? J::sign32(a, b) : J::sign16(a, b); }
};

}  // namespace simd
}  // namespace korvimg
