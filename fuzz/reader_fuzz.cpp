// libFuzzer harness over one file reader of the korvimg program: the input is the
// file (for headerless raw files, after six bytes that choose the options the command
// line would give). The reader opens it as the program does and reads its first
// frames; a file the reader refuses ends in a reported error, which is fine. Memory
// errors, undefined behaviour, leaks, crashes and hangs are not. Built once per
// format (KORVIMG_FUZZ_FORMAT).
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <string>

#include "io/source.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const int fd = memfd_create("korvimg-fuzz", 0);
    if (fd < 0) return 0;
    kvcli::OpenOptions options;
    options.format = KORVIMG_FUZZ_FORMAT;
    if (options.format == "raw") {
        uint8_t o[6] = {};
        const size_t k = std::min<size_t>(size, 6);
        std::copy(data, data + k, o);
        data += k;
        size -= k;
        static const int bits[4] = {8, 10, 12, 16};
        options.width = 1 + o[0] % 64 + (o[1] & 0x80 ? 65536 : 0);  // now and then implausible
        options.height = 1 + o[1] % 64;
        options.bits = bits[o[2] % 4];
        options.offset = static_cast<int8_t>(o[3]);
        options.order = o[4] & 1 ? kvcli::ByteOrder::big : kvcli::ByteOrder::little;
    }
    if (ftruncate(fd, 0) != 0 || (size && pwrite(fd, data, size, 0) != static_cast<ssize_t>(size))) return 0;
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    try {
        const auto source = kvcli::open_source(path, options);
        const kvcli::SourceInfo &info = source->info();
        // The first frames, as long as a frame is of a size worth the time.
        if (static_cast<uint64_t>(info.width) * static_cast<uint64_t>(info.height) <= (uint64_t(1) << 22)) {
            const uint32_t frames = std::min<uint32_t>(info.frames, 3);
            for (uint32_t i = 0; i < frames; ++i) {
                kvcli::RawFrame frame;
                source->read(i, frame);
            }
        }
    } catch (const std::exception &) {
        // The program reports these and exits with its error status.
    }
    return 0;
}
