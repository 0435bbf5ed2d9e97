// Access to the korvimg library. The program is built against whatever the export
// table lists: a library function that is not exported (yet) is a null entry here
// and fails with a clear message when an option needs it, instead of failing to link.
#pragma once

#include <cstdint>
#include <string>

#include "failure.h"
#include "korvimg.h"

namespace kvcli {

// True when `name` is one of the library's exports (compile time, from the table).
constexpr bool strings_equal(const char *a, const char *b) {
    while (*a != '\0' && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}
constexpr const char *kExportNames[] = {
#define KORVIMG_EXPORT(name, bytes, target) #name,
#include "export_table.inc"
#undef KORVIMG_EXPORT
};
constexpr bool exported(const char *name) {
    for (const char *e : kExportNames)
        if (strings_equal(e, name)) return true;
    return false;
}

// A library function that may be absent from this build.
template <class F> struct LibFn {
    F fn;
    const char *name;
    explicit operator bool() const { return fn != nullptr; }
    template <class... A> auto operator()(A... args) const {
        if (fn == nullptr)
            throw usage_error(std::string("this build of the korvimg library has no ") + name);
        return fn(args...);
    }
};

}  // namespace kvcli

// The address of an export, or null when the table does not list it. The reference
// sits in a discarded statement, so an absent function is never linked.
#define KVCLI_ADDRESS(name) \
    ([]() -> decltype(&name) { if constexpr (::kvcli::exported(#name)) return &name; else return nullptr; }())
#define KVCLI_FN(name) (::kvcli::LibFn<decltype(&name)>{KVCLI_ADDRESS(name), #name})
// The four pattern members of a family, by pattern code (rggb, grbg, gbrg, bggr).
#define KVCLI_BY_PATTERN(prefix) \
    { KVCLI_FN(prefix##rggb), KVCLI_FN(prefix##grbg), KVCLI_FN(prefix##gbrg), KVCLI_FN(prefix##bggr) }

namespace kvcli {

constexpr int kMethods = 8;
extern const char *const kMethodNames[kMethods];  // by method code
extern const char *const kPatternNames[4];        // by pattern code
int method_code(const std::string &name);         // -1 when unknown
int pattern_code(const std::string &name);        // -1 when unknown

// True when all 16 members of the method are exported.
bool method_available(int method);
// Output size of a method for a width x height frame.
int32_t output_width(int method, int32_t width);
int32_t output_height(int method, int32_t height);
// Calls the member of (method, format, pattern); format 24, 32 (8-bit samples) or
// 48, 64 (16-bit samples). Returns the member's result.
uint32_t demosaic(int method, int format, int pattern, const void *source, int32_t width, int32_t height,
                  void *destination);
// Smallest frame the method accepts (2 for the tile methods, 4 for the interpolating
// ones, 1 for mono).
int32_t minimum_size(int method);

}  // namespace kvcli
