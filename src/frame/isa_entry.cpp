// The table of the demosaic methods' instruction-set entries (isa_entry.h).
#include "frame/isa_entry.h"

namespace korvimg {

uint32_t mono_isa(Isa, int, Pattern, const void *, int32_t, int32_t, void *);
uint32_t bayer_isa(Isa, int, Pattern, const void *, int32_t, int32_t, void *);
uint32_t nearest_isa(Isa, int, Pattern, const void *, int32_t, int32_t, void *);
uint32_t simple_isa(Isa, int, Pattern, const void *, int32_t, int32_t, void *);
uint32_t preview_isa(Isa, int, Pattern, const void *, int32_t, int32_t, void *);
uint32_t bilinear_isa(Isa, int, Pattern, const void *, int32_t, int32_t, void *);
uint32_t adaptive_isa(Isa, int, Pattern, const void *, int32_t, int32_t, void *);
uint32_t laplacian_isa(Isa, int, Pattern, const void *, int32_t, int32_t, void *);

DemosaicIsaEntry demosaic_isa_entry(uint32_t method) {
    switch (method) {
        case 0: return &mono_isa;
        case 1: return &bayer_isa;
        case 2: return &nearest_isa;
        case 3: return &simple_isa;
        case 4: return &bilinear_isa;
        case 5: return &adaptive_isa;
        case 6: return &laplacian_isa;
        case 7: return &preview_isa;
        default: return nullptr;
    }
}

}  // namespace korvimg
