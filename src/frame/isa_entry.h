// Every demosaic method with a fast path also has one internal entry that runs a
// member with a chosen instruction set (lowered to what the CPU has). The tests use
// it to compare each fast path with the plain routine on the same frames; the
// exports always use best_isa().
#pragma once

#include "frame/cpu.h"
#include "frame/traits.h"

namespace korvimg {

// (isa, depth 24/32/48/64, pattern, source, width, height, destination) -> 1 or 0, as
// the member's export would return; 0 also for a depth that does not exist.
using DemosaicIsaEntry = uint32_t (*)(Isa isa, int bits, Pattern pattern, const void *source, int32_t width,
                                      int32_t height, void *destination);

// The entry of a method code (0..7), or null when the method has no fast path.
DemosaicIsaEntry demosaic_isa_entry(uint32_t method);

}  // namespace korvimg

// Defines korvimg::name(Isa, bits, pattern, ...) : a DemosaicIsaEntry calling
// worker<Depth<bits>, pattern>(source, width, height, destination, isa).
#define KORVIMG_ISA_MEMBER(worker, bits, pat)                                                       \
    if (bits_ == bits && pattern == ::korvimg::Pattern::pat)                                        \
        return worker<::korvimg::Depth<bits>, ::korvimg::Pattern::pat>(                             \
                   static_cast<const ::korvimg::Depth<bits>::Sample *>(source), width, height,      \
                   static_cast<::korvimg::Depth<bits>::Sample *>(destination), isa)                 \
                   ? 1u                                                                             \
                   : 0u;
#define KORVIMG_ISA_DEPTH(worker, bits)         \
    KORVIMG_ISA_MEMBER(worker, bits, bggr)      \
    KORVIMG_ISA_MEMBER(worker, bits, gbrg)      \
    KORVIMG_ISA_MEMBER(worker, bits, grbg)      \
    KORVIMG_ISA_MEMBER(worker, bits, rggb)
#define KORVIMG_ISA_ENTRY(name, worker)                                                              \
    namespace korvimg {                                                                              \
    uint32_t name(Isa isa, int bits_, Pattern pattern, const void *source, int32_t width, int32_t height, \
                  void *destination) {                                                               \
        KORVIMG_ISA_DEPTH(worker, 24)                                                                \
        KORVIMG_ISA_DEPTH(worker, 32)                                                                \
        KORVIMG_ISA_DEPTH(worker, 48)                                                                \
        KORVIMG_ISA_DEPTH(worker, 64)                                                                \
        return 0;                                                                                    \
    }                                                                                                \
    }
