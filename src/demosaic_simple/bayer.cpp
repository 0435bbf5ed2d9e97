// bayer: each photosite shown in the colour of its filter, the other two channels 0.
#include "demosaic_simple/tile_walk.h"
#include "frame/isa_entry.h"

namespace korvimg {
namespace {

struct BayerView {
    static constexpr TileOp op = TileOp::bayer;
    static constexpr bool half_size = false;

    // The pixel of a photosite of colour C holding sample s.
    template <class D, Colour C>
    static void site(typename D::Sample *px, uint32_t s) {
        put_pixel<D>(px, C == kBlue ? s : 0u, C == kGreen ? s : 0u, C == kRed ? s : 0u);
    }

    template <class D, Pattern P>
    static void tiles(const typename D::Sample *top, const typename D::Sample *bottom, int32_t count,
                      typename D::Sample *out_top, typename D::Sample *out_bottom) {
        using M = Mosaic<P>;
        constexpr int C = D::channels;
        for (int32_t u = 0; u < count; ++u) {
            const size_t x = 2 * static_cast<size_t>(u);
            site<D, M::at(0, 0)>(out_top + x * C, top[x]);
            site<D, M::at(0, 1)>(out_top + (x + 1) * C, top[x + 1]);
            site<D, M::at(1, 0)>(out_bottom + x * C, bottom[x]);
            site<D, M::at(1, 1)>(out_bottom + (x + 1) * C, bottom[x + 1]);
        }
    }
};

template <class D, Pattern P>
bool bayer(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination,
           Isa isa = best_isa()) {
    return tile_walk<BayerView, D, P>(source, width, height, destination, isa);
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(bayer, ::korvimg::bayer)
KORVIMG_ISA_ENTRY(bayer_isa, ::korvimg::bayer)
