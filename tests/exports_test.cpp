// The export table against the header and against the built library: every name
// declared with its stdcall argument size, aliases bound to one function, and every
// name resolvable in the shared library.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <type_traits>

#include "support/testkit.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

// Bytes one argument takes on the 32-bit stdcall stack: doubles 8, everything else
// (pointers, 32-bit integers and codes) 4.
template <class T>
constexpr int slot_bytes() {
    static_assert(std::is_same_v<T, double> || std::is_pointer_v<T> ||
                      (std::is_integral_v<T> && sizeof(T) == 4),
                  "an export argument is a pointer, a 32-bit integer or a double");
    return std::is_same_v<T, double> ? 8 : 4;
}
template <class R, class... A>
constexpr int argument_bytes(R(KORVIMG_CALL *)(A...)) {
    return (0 + ... + slot_bytes<A>());
}

// Every name of the table is declared by the header with the argument size the
// table gives it; this fails to compile otherwise.
#define KORVIMG_EXPORT(name, bytes, target)                                   \
    static_assert(argument_bytes(&name) == bytes, #name " argument bytes"); \
    static_assert(std::is_same_v<decltype(&name), decltype(&target)>, #name " has the type of " #target);
#include "export_table.inc"
#undef KORVIMG_EXPORT

TEST(Exports, TableNamesAreUniqueAndAliasesNameFunctions) {
    std::set<std::string> names, functions;
    for (const auto &e : kt::exports()) {
        EXPECT_TRUE(names.insert(e.name).second) << e.name;
        if (std::string(e.name) == e.target) functions.insert(e.name);
    }
    for (const auto &e : kt::exports()) {
        EXPECT_TRUE(functions.count(e.target)) << e.name << " is bound to " << e.target << ", not a function of the table";
    }
}

// 199 functions under 219 plain names (the 32-bit DLL adds each one's decorated
// form, checked in its export table). Every method, depth and pattern has its
// demosaic name.
TEST(Exports, TheTableHasEveryNameOnce) {
    std::set<std::string> names;
    size_t functions = 0;
    for (const auto &e : kt::exports()) {
        names.insert(e.name);
        if (std::string(e.name) == e.target) ++functions;
    }
    EXPECT_EQ(names.size(), 219u);
    EXPECT_EQ(functions, 199u);
    size_t demosaic = 0;
    for (const char *method : {"mono", "bayer", "nearest", "simple", "bilinear", "adaptive", "laplacian", "preview"})
        for (const char *depth : {"24", "32", "48", "64"})
            for (const char *pattern : {"bggr", "gbrg", "grbg", "rggb"}) {
                const std::string name = std::string(method) + depth + pattern;
                EXPECT_TRUE(names.count(name)) << name;
                demosaic += names.count(name);
            }
    EXPECT_EQ(demosaic, 128u);
}

TEST(Exports, AliasesShareOneAddress) {
    for (const auto &e : kt::exports()) {
        const auto *t = kt::find_export(e.target);
        ASSERT_NE(t, nullptr) << e.name;
        EXPECT_EQ(e.address, t->address) << e.name << " and " << e.target;
    }
    // Distinct functions have distinct addresses.
    std::map<kt::AnyFunction, std::string> by_address;
    for (const auto &e : kt::exports()) {
        if (std::string(e.name) != e.target) continue;
        auto [it, fresh] = by_address.emplace(e.address, e.name);
        EXPECT_TRUE(fresh) << e.name << " shares an address with " << it->second;
    }
}

TEST(Exports, MonoNamesAreOneFunctionPerDepth) {
    if (!kt::find_export("mono24rggb")) GTEST_SKIP();
    EXPECT_EQ(kt::find_export("mono24rggb")->address, kt::find_export("mono24bggr")->address);
    EXPECT_EQ(kt::find_export("mono64grbg")->address, kt::find_export("mono64bggr")->address);
    EXPECT_NE(kt::find_export("mono24bggr")->address, kt::find_export("mono32bggr")->address);
}

// The shared library as an application loads it.
class SharedLibrary {
  public:
    SharedLibrary() {
#ifdef _WIN32
        handle_ = LoadLibraryA("korvimg.dll");
#else
        handle_ = dlopen(KORVIMG_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
#endif
    }
    ~SharedLibrary() {
#ifdef _WIN32
        if (handle_) FreeLibrary(static_cast<HMODULE>(handle_));
#else
        if (handle_) dlclose(handle_);
#endif
    }
    bool loaded() const { return handle_ != nullptr; }
    void *lookup(const std::string &name) const {
#ifdef _WIN32
        return reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(handle_), name.c_str()));
#else
        return dlsym(handle_, name.c_str());
#endif
    }

  private:
    void *handle_ = nullptr;
};

TEST(Exports, SharedLibraryResolvesEveryNameAndAlias) {
    SharedLibrary lib;
    ASSERT_TRUE(lib.loaded());
    std::set<void *> entry_points;
    size_t functions = 0;
    for (const auto &e : kt::exports()) {
        void *p = lib.lookup(e.name);
        ASSERT_NE(p, nullptr) << e.name;
        EXPECT_EQ(p, lib.lookup(e.target)) << e.name << " and " << e.target;
        entry_points.insert(p);
        if (std::string(e.name) == e.target) ++functions;
    }
    EXPECT_EQ(entry_points.size(), functions);
    EXPECT_EQ(lib.lookup("korvimg_no_such_export"), nullptr);
}

TEST(Exports, SharedLibraryCallsWork) {
    SharedLibrary lib;
    ASSERT_TRUE(lib.loaded());
    auto *fn = reinterpret_cast<kt::Demosaic8>(lib.lookup("simple24bggr"));
    ASSERT_NE(fn, nullptr);
    const uint8_t tile[4] = {11, 12, 21, 22};
    uint8_t out[12] = {};
    EXPECT_EQ(fn(tile, 2, 2, out), 1u);
    EXPECT_EQ(out[0], 11);
    EXPECT_EQ(out[1], 16);
    EXPECT_EQ(out[2], 22);
#ifdef _WIN32
    auto *alloc = reinterpret_cast<void *(KORVIMG_CALL *)(uint32_t)>(lib.lookup("memory_alloc"));
    auto *release = reinterpret_cast<void *(KORVIMG_CALL *)(void *)>(lib.lookup("memory_free"));
    void *block = alloc(1000);
    ASSERT_NE(block, nullptr);
    // A fixed block from the platform allocator: the pointer is the memory itself.
    EXPECT_EQ(GlobalHandle(block), static_cast<HGLOBAL>(block));
    EXPECT_EQ(GlobalSize(block), 1000u);
    EXPECT_EQ(release(block), nullptr);
#endif
}

}  // namespace
