// The subcommands. Each takes its arguments (after the subcommand's name), writes its
// results, and returns the exit status or throws a Failure.
#pragma once

#include <string>
#include <vector>

#include "io/source.h"
#include "options.h"

namespace kvcli {

int run_demo(const std::vector<std::string> &args);
int run_info(const std::vector<std::string> &args);
int run_demosaic(const std::vector<std::string> &args);

// The options that say how to read an input file (--bits, --width, --height,
// --offset, --endian, --format), and the reader settings they give.
OpenOptions open_options(const Arguments &arguments);
// The command's own options followed by the input options.
std::vector<OptionSpec> with_input_options(std::vector<OptionSpec> own);

// Creates a directory and its missing parents; returns those it created, outermost
// first. A file error when that fails (having removed the ones it created).
std::vector<std::string> make_directories(const std::string &path);

}  // namespace kvcli
