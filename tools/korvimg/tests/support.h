// Running the program and handling scratch files in the program's tests.
#pragma once

#include <signal.h>
#include <sys/resource.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kvtest {

struct Run {
    int status = -1;  // exit status, or -1 when the program did not exit normally
    std::string out, err;
};
// Runs the korvimg program with the arguments; stdin is /dev/null. Standard output
// goes to the file named (its contents are not kept in the result), when one is.
Run run_program(const std::vector<std::string> &args, const std::string &stdout_file = "");
// The same, run in the directory `dir` (relative names in the arguments start there).
Run run_program_in(const std::string &dir, const std::vector<std::string> &args);
// Runs the program with standard error on a terminal (a pseudo-terminal this process
// reads), stdin from /dev/null and stdout into a scratch file: the exit status and
// what the terminal showed, in `err` (line ends as the terminal sends them, "\r\n").
Run run_program_on_terminal(const std::vector<std::string> &args);
// Starts the program without waiting for it (all three streams on /dev/null); the
// process id, or -1.
int start_program(const std::vector<std::string> &args);
// Waits for a started program: its exit status, or -(signal number) when a signal
// ended it.
int wait_program(int pid);

// A signal's disposition in this process, and so in the programs it starts, for the
// life of the object.
class Disposition {
  public:
    Disposition(int signal_number, void (*handler)(int));
    ~Disposition();
    Disposition(const Disposition &) = delete;
    Disposition &operator=(const Disposition &) = delete;

  private:
    int signal_;
    struct sigaction old_ {};
};

// The largest file this process, and so the programs it starts, may write, for the
// life of the object. A write beyond it fails (as on a full disk) where SIGXFSZ is
// ignored.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

  private:
    struct rlimit old_ {};
};

// A fresh directory, removed with its contents at the end of the test.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    std::string path(const std::string &name) const { return dir_ + "/" + name; }
    const std::string &dir() const { return dir_; }
    // Names in the directory (hidden ones included), sorted.
    std::vector<std::string> entries() const;

  private:
    std::string dir_;
};

// Names in a directory (hidden ones included), sorted; empty if it cannot be read.
std::vector<std::string> list_directory(const std::string &path);
void write_file(const std::string &path, const std::vector<uint8_t> &bytes);
// The bytes of `text` (a header written by hand, say), then `zeros` zero bytes.
std::vector<uint8_t> text_bytes(const std::string &text, size_t zeros = 0);
std::vector<uint8_t> read_file(const std::string &path);
bool exists(const std::string &path);

}  // namespace kvtest
