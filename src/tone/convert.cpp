// Lookup tables and bit-depth conversion over flat runs of samples: each source
// sample, unchanged, indexes a table whose entry becomes the destination sample.
#include <cstdint>

#include "korvimg.h"

namespace korvimg {
namespace {

// dst[k] = table[src[k]] for k < count. Each sample is read before its own
// destination is written, so source and destination may be one buffer where their
// sample widths agree.
template <class Src, class Entry, class Dst>
void map_through(const Src *source, int32_t count, const Entry *table, Dst *destination) {
    for (int32_t k = 0; k < count; ++k) destination[k] = static_cast<Dst>(table[source[k]]);
}

// The same through a table of Entries entries, with samples above the last entry
// read as the last entry: the fixed reductions never read outside their own table.
template <uint32_t Entries>
void map_through_clamped(const uint16_t *source, int32_t count, const uint8_t *table, uint8_t *destination) {
    for (int32_t k = 0; k < count; ++k) {
        const uint32_t s = source[k];
        destination[k] = table[s < Entries ? s : Entries - 1];
    }
}

// Entry i = i >> Shift, for the Entries entries of a reducing table.
template <uint32_t Entries, int Shift>
uint32_t fill_reduction(uint8_t *table) {
    if (table == nullptr) return 0;
    for (uint32_t i = 0; i < Entries; ++i) table[i] = static_cast<uint8_t>(i >> Shift);
    return 1;
}

// Widening by a left shift; the low bits are 0.
template <int Shift>
uint32_t widen(const uint8_t *source, int32_t count, uint16_t *destination) {
    if (source == nullptr || destination == nullptr) return 0;
    for (int32_t k = 0; k < count; ++k) destination[k] = static_cast<uint16_t>(source[k] << Shift);
    return 1;
}

}  // namespace
}  // namespace korvimg

using korvimg::map_through;

extern "C" KORVIMG_API void KORVIMG_CALL apply_lut(const uint16_t *source, int32_t count, const uint8_t *table,
                                                   uint8_t *destination) {
    map_through(source, count, table, destination);
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL convert_frame8to8LUT(const uint8_t *source, int32_t count,
                                                                  const uint8_t *table, uint8_t *destination) {
    map_through(source, count, table, destination);
    return 1;
}

// Also published as convert_frame12to8LUT.
extern "C" KORVIMG_API uint32_t KORVIMG_CALL convert_frame10to8LUT(const uint16_t *source, int32_t count,
                                                                   const uint8_t *table, uint8_t *destination) {
    map_through(source, count, table, destination);
    return 1;
}

// Also published as convert_frame12to10LUT and convert_frame12to12LUT.
extern "C" KORVIMG_API uint32_t KORVIMG_CALL convert_frame10to10LUT(const uint16_t *source, int32_t count,
                                                                    const uint16_t *table, uint16_t *destination) {
    map_through(source, count, table, destination);
    return 1;
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL lookup_table10to8(uint8_t *table) {
    return korvimg::fill_reduction<1024, 2>(table);
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL lookup_table12to8(uint8_t *table) {
    return korvimg::fill_reduction<4096, 4>(table);
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL convert_frame10to8(const uint16_t *source, int32_t count,
                                                                uint8_t *destination) {
    if (count < 1) return 1;
    uint8_t table[1024];
    korvimg::fill_reduction<1024, 2>(table);
    korvimg::map_through_clamped<1024>(source, count, table, destination);
    return 1;
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL convert_frame12to8(const uint16_t *source, int32_t count,
                                                                uint8_t *destination) {
    if (count < 1) return 1;
    uint8_t table[4096];
    lookup_table12to8(table);
    korvimg::map_through_clamped<4096>(source, count, table, destination);
    return 1;
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL convert_frame8to10(const uint8_t *source, int32_t count,
                                                                uint16_t *destination) {
    return korvimg::widen<2>(source, count, destination);
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL convert_frame8to12(const uint8_t *source, int32_t count,
                                                                uint16_t *destination) {
    return korvimg::widen<4>(source, count, destination);
}
