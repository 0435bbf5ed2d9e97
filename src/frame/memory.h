// Memory services as a pair of functions. The routines that take memory (working
// memory for a call, or the colour-correction context) get it from one of these: the
// library's own (memory_alloc and memory_free), or, in the tests, services that
// refuse or count blocks.
#pragma once

#include <cstdint>

#include "korvimg.h"

namespace korvimg {

struct MemoryServices {
    void *(KORVIMG_CALL *alloc)(uint32_t size);
    void *(KORVIMG_CALL *release)(void *block);
};

// memory_alloc and memory_free.
extern const MemoryServices kLibraryMemory;

}  // namespace korvimg
