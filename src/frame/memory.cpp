// Memory services: allocation through the platform's fixed-block allocator, and
// byte-level copy and clear.
#include <cstring>

#include "frame/memory.h"
#include "korvimg.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <cstdlib>
#endif

extern "C" KORVIMG_API void *KORVIMG_CALL memory_alloc(uint32_t size) {
#ifdef _WIN32
    return GlobalAlloc(0 /* fixed, not zero-filled */, size);
#else
    return std::malloc(size);
#endif
}

extern "C" KORVIMG_API void *KORVIMG_CALL memory_free(void *block) {
#ifdef _WIN32
    return GlobalFree(block);
#else
    std::free(block);
    return nullptr;
#endif
}

// The copy is defined as strictly forward, one byte at a time: destination[i] =
// source[i] for ascending i, so a destination that starts p bytes above the source
// inside it reads back bytes it has already written, and the first p source bytes
// repeat through the block. Outside that case the result is that of a plain copy;
// inside it, the same repetition is produced a chunk at a time.
extern "C" KORVIMG_API void KORVIMG_CALL memory_copy(void *destination, const void *source, uint32_t count) {
    if (count == 0) return;
    auto *dst = static_cast<unsigned char *>(destination);
    const auto *src = static_cast<const unsigned char *>(source);
    const uintptr_t d = reinterpret_cast<uintptr_t>(dst);
    const uintptr_t s = reinterpret_cast<uintptr_t>(src);
    if (d <= s || d - s >= count) {
        // Either no overlap, or the destination below the source, where a forward
        // copy reads every byte before it is overwritten.
        std::memmove(dst, src, count);
        return;
    }
    const size_t period = d - s;  // 0 < period < count
    std::memcpy(dst, src, period);  // the two ranges are adjacent, not overlapping
    size_t done = period;
    while (done < count) {
        const size_t chunk = done < count - done ? done : count - done;
        std::memcpy(dst + done, dst, chunk);  // done is a multiple of the period
        done += chunk;
    }
}

extern "C" KORVIMG_API void KORVIMG_CALL memory_zero(void *destination, uint32_t count) {
    if (count == 0) return;
    std::memset(destination, 0, count);
}

namespace korvimg {
const MemoryServices kLibraryMemory = {memory_alloc, memory_free};
}
