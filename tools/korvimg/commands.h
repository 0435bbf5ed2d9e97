// The subcommands. Each takes its arguments (after the subcommand's name), writes its
// results, and returns the exit status or throws a Failure.
#pragma once

#include <string>
#include <vector>

namespace kvcli {

int run_demo(const std::vector<std::string> &args);
int run_info(const std::vector<std::string> &args);
int run_demosaic(const std::vector<std::string> &args);

// Creates a directory and its missing parents; a file error when that fails.
void make_directories(const std::string &path);

}  // namespace kvcli
