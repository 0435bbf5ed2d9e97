#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "commands.h"
#include "failure.h"

namespace kvcli {

std::vector<OptionSpec> with_input_options(std::vector<OptionSpec> own) {
    // Built here rather than as a namespace-scope table: the commands' own tables use
    // this during static initialisation.
    static const OptionSpec input[] = {
        {"bits", 0, "BITS", "significant bits of the samples: 8|10|12|16 (default from the file)"},
        {"width", 0, "W", "raw input: frame width"},
        {"height", 0, "H", "raw input: frame height"},
        {"offset", 0, "BYTES", "raw input: bytes before the first frame (default 0)"},
        {"endian", 0, "ORDER", "16-bit samples of SER and raw files: file|little|big (default file:\n"
                               "the SER header flag, little-endian for raw)"},
        {"format", 0, "FORMAT", "input format: auto|ser|fits|pgm|png|raw (default auto)"},
    };
    own.insert(own.end() - 1, std::begin(input), std::end(input));  // --help stays last
    return own;
}

OpenOptions open_options(const Arguments &a) {
    OpenOptions o;
    o.format = a.get("format", "auto");
    if (a.has("bits")) o.bits = static_cast<int>(parse_integer(a.get("bits"), "--bits", 8, 16));
    if (o.bits != 0 && o.bits != 8 && o.bits != 10 && o.bits != 12 && o.bits != 16)
        throw usage_error("--bits: expected 8, 10, 12 or 16");
    if (a.has("width")) o.width = parse_integer(a.get("width"), "--width", 1, 1 << 30);
    if (a.has("height")) o.height = parse_integer(a.get("height"), "--height", 1, 1 << 30);
    if (a.has("offset")) o.offset = parse_integer(a.get("offset"), "--offset", 0, 1LL << 62);
    if (a.has("endian")) {
        const int e = parse_choice(a.get("endian"), "--endian", {"file", "little", "big"});
        o.order = e == 0 ? ByteOrder::file : e == 1 ? ByteOrder::little : ByteOrder::big;
    }
    return o;
}

std::vector<std::string> make_directories(const std::string &path) {
    std::vector<std::string> made;
    if (path.empty()) return made;
    struct stat st {};
    if (stat(path.c_str(), &st) == 0) {
        if (!S_ISDIR(st.st_mode)) throw file_error(path, "exists and is not a directory");
        return made;
    }
    const size_t slash = path.find_last_of('/', path.size() > 1 ? path.size() - 2 : 0);
    if (slash != std::string::npos && slash > 0) made = make_directories(path.substr(0, slash));
    if (mkdir(path.c_str(), 0777) == 0) {
        made.push_back(path);
    } else if (errno != EEXIST) {
        const int e = errno;
        for (auto m = made.rbegin(); m != made.rend(); ++m) rmdir(m->c_str());
        throw file_error(path, std::string("cannot create directory: ") + std::strerror(e));
    }
    return made;
}

}  // namespace kvcli
