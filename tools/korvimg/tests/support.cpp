#include "support.h"

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

extern char **environ;

namespace kvtest {

namespace {

std::string slurp(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void remove_tree(const std::string &path) {
    DIR *d = opendir(path.c_str());
    if (d != nullptr) {
        while (dirent *e = readdir(d)) {
            const std::string n = e->d_name;
            if (n == "." || n == "..") continue;
            remove_tree(path + "/" + n);
        }
        closedir(d);
        rmdir(path.c_str());
    } else {
        unlink(path.c_str());
    }
}

}  // namespace

TempDir::TempDir() {
    const char *base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/korvimg-cli-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    dir_ = name.data();
}

TempDir::~TempDir() {
    chmod(dir_.c_str(), 0700);
    remove_tree(dir_);
}

std::vector<std::string> TempDir::entries() const { return list_directory(dir_); }

std::vector<std::string> list_directory(const std::string &path) {
    std::vector<std::string> out;
    DIR *d = opendir(path.c_str());
    if (d == nullptr) return out;
    while (dirent *e = readdir(d)) {
        const std::string n = e->d_name;
        if (n != "." && n != "..") out.push_back(n);
    }
    closedir(d);
    std::sort(out.begin(), out.end());
    return out;
}

namespace {

// Starts the program with stdin from /dev/null and stdout and stderr into the files
// named, in the directory `dir` when one is named (after the files are opened); the
// process id, or -1.
int spawn(const std::vector<std::string> &args, const std::string &out, const std::string &err,
          int err_flags = O_WRONLY | O_CREAT | O_TRUNC, const std::string &dir = "") {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), err_flags, 0600);
    if (!dir.empty()) posix_spawn_file_actions_addchdir_np(&actions, dir.c_str());
    std::vector<std::string> all{KVCLI_PROGRAM};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char *> argv;
    for (auto &a : all) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    const int failed = posix_spawn(&pid, KVCLI_PROGRAM, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return failed != 0 ? -1 : static_cast<int>(pid);
}

}  // namespace

namespace {

Run run_in(const std::string &dir, const std::vector<std::string> &args, const std::string &stdout_file) {
    TempDir io;
    const std::string out = stdout_file.empty() ? io.path("stdout") : stdout_file, err = io.path("stderr");
    Run r;
    const int pid = spawn(args, out, err, O_WRONLY | O_CREAT | O_TRUNC, dir);
    if (pid < 0) return r;
    const int status = wait_program(pid);
    r.status = status >= 0 ? status : -1;
    if (stdout_file.empty()) r.out = slurp(out);
    r.err = slurp(err);
    return r;
}

}  // namespace

Run run_program(const std::vector<std::string> &args, const std::string &stdout_file) {
    return run_in("", args, stdout_file);
}

Run run_program_in(const std::string &dir, const std::vector<std::string> &args) { return run_in(dir, args, ""); }

Run run_program_on_terminal(const std::vector<std::string> &args) {
    Run r;
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0) return r;
    const char *slave = grantpt(master) == 0 && unlockpt(master) == 0 ? ptsname(master) : nullptr;
    if (slave == nullptr) {
        close(master);
        return r;
    }
    TempDir io;
    const int pid = spawn(args, io.path("stdout"), slave, O_RDWR | O_NOCTTY);
    if (pid < 0) {
        close(master);
        return r;
    }
    // Only the program holds the terminal's other end: reading ends (EIO) once it has
    // exited.
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(master, buffer, sizeof buffer);
        if (n > 0) r.err.append(buffer, static_cast<size_t>(n));
        else if (n < 0 && errno == EINTR) continue;
        else break;
    }
    close(master);
    const int status = wait_program(pid);
    r.status = status >= 0 ? status : -1;
    r.out = slurp(io.path("stdout"));
    return r;
}

Disposition::Disposition(int signal_number, void (*handler)(int)) : signal_(signal_number) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(signal_, &action, &old_);
}
Disposition::~Disposition() { sigaction(signal_, &old_, nullptr); }

FileSizeLimit::FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &old_);
    struct rlimit limit = old_;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
}
FileSizeLimit::~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &old_); }

int start_program(const std::vector<std::string> &args) { return spawn(args, "/dev/null", "/dev/null"); }

int wait_program(int pid) {
    int status = 0;
    if (waitpid(static_cast<pid_t>(pid), &status, 0) != pid) return -1000;
    return WIFEXITED(status) ? WEXITSTATUS(status) : WIFSIGNALED(status) ? -WTERMSIG(status) : -1000;
}

void write_file(const std::string &path, const std::vector<uint8_t> &bytes) {
    std::ofstream f(path, std::ios::binary);
    f.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::vector<uint8_t> text_bytes(const std::string &text, size_t zeros) {
    std::vector<uint8_t> bytes(text.begin(), text.end());
    bytes.resize(bytes.size() + zeros, 0);
    return bytes;
}

std::vector<uint8_t> read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool exists(const std::string &path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0;
}

}  // namespace kvtest
