#include "io/output.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "failure.h"

namespace kvcli {

namespace {

std::string lower_extension(const std::string &path) {
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string ext = path.substr(dot + 1);
    for (auto &c : ext) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return ext;
}

// The permissions a newly created file gets (0666 less the umask), read once.
mode_t creation_mode() {
    static const mode_t mode = [] {
        const mode_t mask = umask(022);
        umask(mask);
        return static_cast<mode_t>(0666 & ~mask);
    }();
    return mode;
}

// The temporary files being written, for the signal handler (which may only read
// them and call unlink).
constexpr int kSlots = 256;
std::atomic<const char *> temporaries[kSlots];

int register_temporary(const char *name) {
    for (int i = 0; i < kSlots; ++i) {
        const char *expected = nullptr;
        if (temporaries[i].compare_exchange_strong(expected, name)) return i;
    }
    return -1;  // more files at once than slots: that one is not cleaned up on a signal
}

// The staged set under way (one at a time), for the signal handler.
struct StagedSet {
    const char *dir;
    const char *const *made;  // directories made for the set, innermost first
    size_t made_count;
};
std::atomic<const StagedSet *> staged_set{nullptr};

// Removes a staging directory with whatever is in it: the pictures written, and the
// temporaries of pictures under way, registered or not yet. Only calls that a signal
// handler may make.
void remove_staging_directory(const char *dir) {
    const int fd = open(dir, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        alignas(struct dirent64) char entries[4096];
        // Each pass lists what is left; one that removes nothing ends it.
        for (bool removed = true; removed;) {
            removed = false;
            ssize_t n = 0;
            while ((n = getdents64(fd, entries, sizeof entries)) > 0) {
                for (ssize_t at = 0; at < n;) {
                    const auto *e = reinterpret_cast<const struct dirent64 *>(entries + at);
                    at += e->d_reclen;
                    const char *name = e->d_name;
                    if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))) continue;
                    removed = unlinkat(fd, name, 0) == 0 || removed;
                }
            }
            lseek(fd, 0, SEEK_SET);
        }
        close(fd);
    }
    rmdir(dir);
}

extern "C" void on_terminating_signal(int signal_number) {
    for (auto &slot : temporaries) {
        const char *name = slot.load();
        if (name != nullptr) unlink(name);
    }
    if (const StagedSet *set = staged_set.load()) {
        remove_staging_directory(set->dir);
        for (size_t i = 0; i < set->made_count; ++i) rmdir(set->made[i]);
    }
    std::signal(signal_number, SIG_DFL);
    std::raise(signal_number);
}

}  // namespace

void remove_temporaries_on_signals() {
    // Every signal that ends the program by default: those sent to end it, those of a
    // limit reached, the spare ones, and those of a crash (they still dump core after).
    // One that the program was started with ignored (a hangup under nohup, a broken
    // pipe a shell ignores) stays ignored, and one that already has a handler (a
    // profiler's SIGPROF, a sanitizer's SIGSEGV) keeps it.
    std::vector<int> signals = {SIGHUP,  SIGINT,  SIGQUIT, SIGILL,    SIGTRAP, SIGABRT, SIGBUS, SIGFPE,
                                SIGUSR1, SIGSEGV, SIGUSR2, SIGPIPE,   SIGALRM, SIGTERM, SIGSTKFLT, SIGXCPU,
                                SIGXFSZ, SIGVTALRM, SIGPROF, SIGIO, SIGPWR, SIGSYS};
    for (int s = SIGRTMIN; s <= SIGRTMAX; ++s) signals.push_back(s);
    for (int s : signals) {
        struct sigaction old {};
        if (sigaction(s, nullptr, &old) != 0 || (old.sa_flags & SA_SIGINFO) != 0 || old.sa_handler != SIG_DFL)
            continue;
        std::signal(s, on_terminating_signal);
    }
}

namespace {

// Gives the file `made`, which is to replace `path`, what the regular file there has:
// its owner and group, as far as the system lets this process (root gives both;
// anyone else only a group they belong to, the new file staying theirs), then its
// permissions, set after the owner since a change of owner clears the set-ID bits.
// Where no regular file is there, the permissions of any new file.
void take_over(const std::string &path, const std::string &made) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        chmod(made.c_str(), creation_mode());
        return;
    }
    if (st.st_uid != geteuid() || st.st_gid != getegid()) {
        if (chown(made.c_str(), st.st_uid, st.st_gid) != 0 &&
            chown(made.c_str(), static_cast<uid_t>(-1), st.st_gid) != 0) {
            // Not the owner's to give, nor the group: the file is this process's own.
        }
    }
    chmod(made.c_str(), st.st_mode & 07777);
}

// The file a path names once symbolic links are followed: the path itself unless it
// is a link; for a link, what it points to, followed again while that is a link, even
// when the last one points to nothing yet (written, it comes into being, as a shell's
// redirection would make it).
std::string link_target(const std::string &path) {
    std::string p = path;
    for (int hops = 0; hops < 40; ++hops) {
        struct stat st {};
        if (lstat(p.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return p;
        std::vector<char> text(static_cast<size_t>(st.st_size > 0 ? st.st_size : 255) + 1);
        const ssize_t n = readlink(p.c_str(), text.data(), text.size());
        if (n <= 0 || static_cast<size_t>(n) >= text.size())
            throw file_error(path, std::string("cannot follow the link: ") + std::strerror(n < 0 ? errno : ENAMETOOLONG));
        const std::string to(text.data(), static_cast<size_t>(n));
        const size_t slash = p.find_last_of('/');
        p = to[0] == '/' || slash == std::string::npos ? to : p.substr(0, slash + 1) + to;
    }
    throw file_error(path, std::string("cannot follow the link: ") + std::strerror(ELOOP));
}

// What is wrong with writing a picture over what `path` names now, through links:
// only a regular file (or nothing) is replaced. A device or a FIFO would be replaced
// by a file, not written into. "" when it may be written.
std::string unwritable_kind(const std::string &path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0 || S_ISREG(st.st_mode)) return "";
    if (S_ISDIR(st.st_mode)) return "is a directory";
    const char *kind = S_ISFIFO(st.st_mode) ? "a FIFO" : S_ISCHR(st.st_mode) ? "a character device"
                       : S_ISBLK(st.st_mode)  ? "a block device"
                       : S_ISSOCK(st.st_mode) ? "a socket"
                                              : "not a file";
    return std::string("is ") + kind + ", not a regular file (pictures replace regular files only)";
}

}  // namespace

AtomicFile::AtomicFile(const std::string &path) : path_(path), target_(link_target(path)) {
    const std::string unwritable = unwritable_kind(target_);
    if (!unwritable.empty()) throw file_error(path, unwritable);
    const size_t slash = target_.find_last_of('/');
    const std::string dir = slash == std::string::npos ? "" : target_.substr(0, slash + 1);
    const std::string base = slash == std::string::npos ? target_ : target_.substr(slash + 1);
    if (base.empty()) throw file_error(path, "not a file name");
    // ".NAME.XXXXXX", or a fixed short name where that would pass the longest file
    // name a directory takes.
    constexpr size_t kLongestName = 255;
    temp_ = dir + (base.size() + 8 > kLongestName ? std::string(".korvimg-XXXXXX") : "." + base + ".XXXXXX");
    // The signal handler learns the name before the file exists (mkstemp fills it in
    // in place), so that no signal finds the file there and unknown to it.
    slot_ = register_temporary(temp_.c_str());
    const int fd = mkstemp(temp_.data());
    if (fd < 0) {
        const int e = errno;
        if (slot_ >= 0) temporaries[slot_].store(nullptr);
        slot_ = -1;
        // Through a link, the file that could not be made is the one it points to.
        const std::string what = target_ == path ? "" : " " + target_ + " (where the link points)";
        throw file_error(path, "cannot create" + what + ": " + std::strerror(e));
    }
    take_over(target_, temp_);  // the owner and permissions of the file it replaces
    stream_ = fdopen(fd, "wb");
    if (stream_ == nullptr) {
        const int e = errno;
        close(fd);
        std::remove(temp_.c_str());
        if (slot_ >= 0) temporaries[slot_].store(nullptr);
        throw file_error(path, std::string("cannot create: ") + std::strerror(e));
    }
}

AtomicFile::~AtomicFile() {
    if (stream_ != nullptr) std::fclose(stream_);
    if (!done_) std::remove(temp_.c_str());
    if (slot_ >= 0) temporaries[slot_].store(nullptr);
}

void AtomicFile::commit() {
    bool ok = std::fflush(stream_) == 0 && !std::ferror(stream_);
    int e = errno;
    if (std::fclose(stream_) != 0 && ok) {
        ok = false;
        e = errno;
    }
    stream_ = nullptr;
    if (ok && std::rename(temp_.c_str(), target_.c_str()) != 0) {
        ok = false;
        e = errno;
    }
    if (!ok) throw file_error(path_, std::string("cannot write: ") + std::strerror(e));
    done_ = true;
    if (slot_ >= 0) temporaries[slot_].store(nullptr);
    slot_ = -1;
}

namespace {

std::string directory_of(const std::string &path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? "" : path.substr(0, slash + 1);
}

// The one StagedFiles object that the signal handler knows of.
StagedSet staged_record;

}  // namespace

StagedFiles::StagedFiles(std::vector<std::string> targets, const std::vector<std::string> &made)
    : targets_(std::move(targets)), made_(made.rbegin(), made.rend()) {
    for (const auto &m : made_) made_names_.push_back(m.c_str());
    if (targets_.empty()) return;
    const std::string parent = directory_of(targets_.front());
    for (const auto &t : targets_) {
        if (directory_of(t) != parent) throw std::logic_error("staged files in more than one directory");
        const std::string unwritable = unwritable_kind(t);
        if (!unwritable.empty()) {
            remove_staged();  // the directories made for the set
            throw file_error(t, unwritable);
        }
    }
    // The signal handler learns the directory's name before it exists (mkdtemp fills
    // it in in place): a signal at any time after finds it known.
    dir_ = parent + ".korvimg-XXXXXX";
    if (staged_set.load() == nullptr) {
        staged_record = StagedSet{dir_.c_str(), made_names_.data(), made_names_.size()};
        staged_set.store(&staged_record);
        registered_ = true;
    }
    if (mkdtemp(dir_.data()) == nullptr) {
        const int e = errno;
        dir_.clear();  // not made
        remove_staged();
        throw file_error(targets_.front(), std::string("cannot create: ") + std::strerror(e));
    }
    staged_.reserve(targets_.size());
    for (const auto &t : targets_) staged_.push_back(dir_ + "/" + t.substr(parent.size()));
}

void StagedFiles::remove_staged() {
    if (registered_) staged_set.store(nullptr);
    registered_ = false;
    for (const auto &s : staged_) std::remove(s.c_str());
    if (!dir_.empty()) rmdir(dir_.c_str());
    dir_.clear();
    if (!committed_)
        for (const auto &m : made_) rmdir(m.c_str());  // only empty ones go
}

void StagedFiles::write(size_t i, const FilePixels &pixels, const PictureOptions &options) const {
    try {
        write_picture(staged_[i], pixels, options);
    } catch (const Failure &f) {
        throw Failure(f.code(), targets_[i], f.what());
    }
}

StagedFiles::~StagedFiles() { remove_staged(); }

namespace {

// Holds back every signal that can be held, on the calling thread, for the life of the
// object; one that arrives meanwhile is delivered when it ends.
class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &old_);
    }
    ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &old_, nullptr); }
    SignalsHeld(const SignalsHeld &) = delete;
    SignalsHeld &operator=(const SignalsHeld &) = delete;

  private:
    sigset_t old_;
};

}  // namespace

void StagedFiles::commit() {
    // The set is put in place whole: a signal that comes while the files are moved
    // (the workers are done, this is the only thread) ends the program only after
    // the last of them, and the staging directory is gone by then.
    const SignalsHeld held;
    for (size_t i = 0; i < targets_.size(); ++i) {
        take_over(targets_[i], staged_[i]);  // a file replaced keeps its owner and permissions
        if (std::rename(staged_[i].c_str(), targets_[i].c_str()) != 0)
            throw file_error(targets_[i], std::string("cannot write: ") + std::strerror(errno));
    }
    committed_ = true;  // the directories made hold the pictures now
    remove_staged();
}

FileFormat format_for(const std::string &path) {
    const std::string ext = lower_extension(path);
    if (ext == "png") return FileFormat::png;
    if (ext == "tif" || ext == "tiff") return FileFormat::tiff;
    if (ext == "ppm") return FileFormat::ppm;
    if (ext == "pgm") return FileFormat::pgm;
    if (ext == "pam") return FileFormat::pam;
    if (path.empty()) throw usage_error("the output file name is empty");
    throw usage_error(path + ": unknown output format (use .png, .tif, .ppm, .pgm or .pam)");
}

void check_format(FileFormat format, const std::string &path, int channels, int bits) {
    (void)bits;
    const bool alpha = channels == 2 || channels == 4;
    if ((format == FileFormat::ppm || format == FileFormat::pgm) && alpha)
        throw usage_error(path + (format == FileFormat::ppm ? ": a PPM" : ": a PGM") +
                          " file has no alpha channel (use .png, .tif or .pam)");
    if (format == FileFormat::pgm && channels != 1)
        throw usage_error(path + ": a PGM file holds grey pictures only (use --method mono, or .png)");
}

void write_picture(const std::string &path, const FilePixels &pixels, const PictureOptions &options) {
    const FileFormat format = format_for(path);
    check_format(format, path, pixels.channels, pixels.bits);
    AtomicFile file(path);
    switch (format) {
    case FileFormat::png: write_png(file, pixels, options.png_level); break;
    case FileFormat::tiff: write_tiff(file, pixels); break;
    default: write_pnm(file, pixels, format); break;
    }
    file.commit();
}

FilePixels to_file_pixels(const ColourImage &image) {
    FilePixels out;
    to_file_pixels(image, out);
    return out;
}

void to_file_pixels(const ColourImage &image, FilePixels &out) {
    out.width = image.width;
    out.height = image.height;
    const bool alpha = image.channels == 4;
    out.channels = (image.grey ? 1 : 3) + (alpha ? 1 : 0);
    out.bits = image.bits;
    out.significant = image.bits == 8 ? 8 : image.significant;
    const size_t n = image.pixels();
    const size_t k = static_cast<size_t>(out.channels);
    const uint32_t top = (1u << out.significant) - 1u;
    auto put = [&](auto &dst, const auto &src, auto convert) {
        dst.resize(n * k);
        for (size_t i = 0; i < n; ++i) {
            const auto *px = &src[i * static_cast<size_t>(image.channels)];
            auto *o = &dst[i * k];
            if (image.grey) {
                o[0] = convert(px[1]);
            } else {
                o[0] = convert(px[2]);
                o[1] = convert(px[1]);
                o[2] = convert(px[0]);
            }
            if (alpha) o[k - 1] = convert(static_cast<uint32_t>(top));
        }
    };
    if (image.bits == 8) {
        out.p16.clear();
        put(out.p8, image.p8, [](uint32_t v) { return static_cast<uint8_t>(v); });
    } else {
        out.p8.clear();
        // widen(v, significant, 16) for the 8 or more significant bits a 16-bit image
        // has: one copy of the top bits below the value is enough.
        const int up = 16 - out.significant, down = out.significant - up;
        put(out.p16, image.p16, [&](uint32_t v) {
            v = v > top ? top : v;
            return static_cast<uint16_t>(v << up | v >> down);
        });
    }
}

}  // namespace kvcli
