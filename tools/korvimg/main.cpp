// korvimg: the library's demosaicing and image operations on capture files.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "io/output.h"

namespace {

const char kUsage[] =
    "usage: korvimg COMMAND [options] ...\n"
    "\n"
    "commands:\n"
    "  demosaic IN -o OUT   turn raw frames (SER, FITS, PGM, PNG or headerless raw) into pictures\n"
    "  info IN              size, depth, frames, Bayer pattern and histogram summary of a file\n"
    "  demo [-o DIR]        demosaic a built-in test chart with every method; PSNR and timing\n"
    "\n"
    "korvimg COMMAND --help shows the options of a command.\n"
    "Exit status: 0 done, 1 bad or unreadable input or unwritable output, 2 bad command line.\n";

int run(int argc, char **argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        std::fputs(kUsage, stderr);
        return kvcli::kUsageError;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    kvcli::remove_temporaries_on_signals();
    try {
        if (command == "--help" || command == "-h" || command == "help") {
            std::fputs(kUsage, stdout);
            return kvcli::kOk;
        }
        if (command == "--version") {
            std::printf("korvimg %s\n", KORVIMG_VERSION);
            return kvcli::kOk;
        }
        if (command == "demo") return kvcli::run_demo(args);
        if (command == "info") return kvcli::run_info(args);
        if (command == "demosaic") return kvcli::run_demosaic(args);
        throw kvcli::usage_error("unknown command '" + command + "' (try korvimg --help)");
    } catch (const kvcli::Failure &f) {
        std::fprintf(stderr, "korvimg: %s\n", f.line().c_str());
        return f.code();
    } catch (const std::bad_alloc &) {
        std::fprintf(stderr, "korvimg: out of memory\n");
        return kvcli::kInputError;
    } catch (const std::exception &e) {
        std::fprintf(stderr, "korvimg: %s\n", e.what());
        return kvcli::kInputError;
    }
}

// What the program printed must have reached standard output: one that is full, closed
// or a pipe nobody reads (its SIGPIPE ignored) is an output that could not be written.
int finish_standard_output(int status) {
    errno = 0;
    const bool flushed = std::fflush(stdout) == 0;
    if (flushed && std::ferror(stdout) == 0) return status;
    const char *reason = errno != 0 ? std::strerror(errno) : "write error";
    std::fprintf(stderr, "korvimg: standard output: cannot write: %s\n", reason);
    return status == kvcli::kOk ? kvcli::kInputError : status;
}

}  // namespace

int main(int argc, char **argv) { return finish_standard_output(run(argc, argv)); }
