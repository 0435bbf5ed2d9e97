#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "commands.h"
#include "failure.h"

namespace kvcli {

void make_directories(const std::string &path) {
    if (path.empty()) return;
    struct stat st {};
    if (stat(path.c_str(), &st) == 0) {
        if (!S_ISDIR(st.st_mode)) throw file_error(path, "exists and is not a directory");
        return;
    }
    const size_t slash = path.find_last_of('/', path.size() > 1 ? path.size() - 2 : 0);
    if (slash != std::string::npos && slash > 0) make_directories(path.substr(0, slash));
    if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST)
        throw file_error(path, std::string("cannot create directory: ") + std::strerror(errno));
}

}  // namespace kvcli
