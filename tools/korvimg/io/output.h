// Writing pictures: a file appears under its name complete or not at all.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "image.h"

namespace kvcli {

// How pictures are written, where the format leaves a choice.
struct PictureOptions {
    // zlib's level for PNG: 0 (stored, unfiltered: fastest, largest) to 9 (smallest).
    int png_level = 6;
};

// A file written under a temporary name in its target directory and renamed over the
// target by commit(). Destroyed without commit, it removes the temporary file. A file
// it replaces keeps its permissions, and a symbolic link stays a link: the file it
// points to (through further links) is the one replaced, or made if there is none.
class AtomicFile {
  public:
    explicit AtomicFile(const std::string &path);
    ~AtomicFile();
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    const std::string &path() const { return path_; }
    const std::string &temp_path() const { return temp_; }
    std::FILE *stream() { return stream_; }
    // Flushes, closes and renames; throws (and removes the temporary) on failure.
    void commit();

  private:
    std::string path_, target_, temp_;  // as given, with a link resolved, temporary
    std::FILE *stream_ = nullptr;
    bool done_ = false;
    int slot_ = -1;  // in the signal handler's list of temporaries
};

// A set of files that appears all at once or not at all: each is written (by
// write_picture) into a hidden directory beside the targets, and commit() moves them
// over their targets one after the other, with signals held back until the last is
// in place. Destroyed without commit, or ended by a signal, it removes what it wrote;
// files that were at the targets stay untouched.
// All targets lie in one directory. `made` lists directories created for the set
// (outermost first); they are removed with it, if empty, unless it is committed.
class StagedFiles {
  public:
    explicit StagedFiles(std::vector<std::string> targets, const std::vector<std::string> &made = {});
    ~StagedFiles();
    StagedFiles(const StagedFiles &) = delete;
    StagedFiles &operator=(const StagedFiles &) = delete;

    size_t size() const { return targets_.size(); }
    // Where the i-th file is written before commit().
    const std::string &staged(size_t i) const { return staged_[i]; }
    const std::string &target(size_t i) const { return targets_[i]; }
    // write_picture into the i-th file's staging place; a failure is reported under
    // the target's name, not the hidden one.
    void write(size_t i, const FilePixels &pixels, const PictureOptions &options = {}) const;
    // Moves every staged file over its target, from the only thread left (the signals
    // it holds back would go to another); throws naming the target that could not be
    // replaced (the ones before it are in place by then).
    void commit();

  private:
    void remove_staged();
    std::string dir_;
    std::vector<std::string> targets_, staged_, made_;  // made_: innermost first
    std::vector<const char *> made_names_;             // as C strings, for the signal handler
    bool registered_ = false;
    bool committed_ = false;
};

// Makes every signal that ends a program by default (SIGINT, SIGTERM, SIGHUP, SIGPIPE,
// the real-time ones, a crash's and the rest) remove the temporary
// files of unfinished AtomicFiles and StagedFiles before the program ends (those of
// them the program was started with ignored, or handled, stay so).
void remove_temporaries_on_signals();

enum class FileFormat { png, tiff, ppm, pgm, pam };
// The format named by the file's extension; a usage error for an unknown one.
FileFormat format_for(const std::string &path);
// Checks that the format can hold pixels of this shape (usage error otherwise).
void check_format(FileFormat format, const std::string &path, int channels, int bits);

void write_picture(const std::string &path, const FilePixels &pixels, const PictureOptions &options = {});

// The format writers, into a temporary file (called by write_picture).
void write_png(AtomicFile &file, const FilePixels &pixels, int level);
void write_tiff(AtomicFile &file, const FilePixels &pixels);
void write_pnm(AtomicFile &file, const FilePixels &pixels, FileFormat format);

}  // namespace kvcli
