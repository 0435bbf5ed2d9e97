// How the program reports a problem: one line naming the file (or option) and what is
// wrong with it, and the exit status that goes with it.
#pragma once

#include <stdexcept>
#include <string>

namespace kvcli {

enum Exit : int { kOk = 0, kInputError = 1, kUsageError = 2 };

class Failure : public std::runtime_error {
  public:
    Failure(int code, std::string where, const std::string &what)
        : std::runtime_error(what), code_(code), where_(std::move(where)) {}
    int code() const { return code_; }
    const std::string &where() const { return where_; }
    // "where: what", or just "what" when there is no subject.
    std::string line() const { return where_.empty() ? what() : where_ + ": " + what(); }

  private:
    int code_;
    std::string where_;
};

// A problem with a file (reading or writing it): exit status 1.
inline Failure file_error(const std::string &path, const std::string &what) {
    return Failure(kInputError, path, what);
}
// A problem with the command line: exit status 2.
inline Failure usage_error(const std::string &what) { return Failure(kUsageError, "", what); }
// A command line that asks a file for what it does not have (a frame beyond its
// last): exit status 2, the file named.
inline Failure usage_error(const std::string &path, const std::string &what) {
    return Failure(kUsageError, path, what);
}

}  // namespace kvcli
