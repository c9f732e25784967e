// Output files that appear under their final name only when complete: the content goes to a
// temporary file beside the final one (same directory, so the rename is atomic) and commit()
// renames it into place. A write that fails, or an OutputFile destroyed without commit(), removes
// the temporary, so a full disk or a failure half-way never leaves a truncated file that looks
// finished.
#ifndef VELMAR_OUTPUT_H
#define VELMAR_OUTPUT_H

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmar {

class OutputFile {
  public:
    // Opens "<path>.tmp.<pid>" for binary writing; ok() tells whether that succeeded. A path that
    // names a device or a pipe (/dev/null, /dev/stdout) is opened and written directly.
    explicit OutputFile(std::string path);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    bool ok() const { return file_ != nullptr; }
    std::FILE *get() const { return file_; }
    const std::string &path() const { return path_; }
    // Flushes, closes and renames the temporary to the final name. 0 on success; on failure the
    // temporary is removed, the final name is left untouched and 1 is returned (no message: the
    // caller names the file in its own).
    int commit();
    // Flushes and closes the temporary without renaming it, so that several files can be
    // completed before any of them is renamed; 0 when everything written reached the file (commit()
    // then only renames). On failure the temporary is removed and 1 returned.
    int finish();

  private:
    std::string path_;
    std::string temp_;
    std::FILE *file_ = nullptr;
    bool finished_ = false;  // closed by finish(), awaiting the rename
};

// True when a file can be created at path (the directory exists and is writable, and path is not
// a directory). The check creates and removes a temporary beside it and leaves any existing file at
// path alone. Commands call it before long work, so that an unwritable output is reported before,
// not after, the work.
bool output_can_be_created(const std::string &path);
// The temporary an OutputFile writes for path: "<path>.tmp.<pid>", in the same directory.
std::string temporary_name(const std::string &path);
// The same check, reported: false after "Error: unable to create <path>: <reason>." on stderr.
bool output_check(const std::string &path);

// Writes several files as one: every content goes to its temporary first, and the files are
// renamed into place only when all of them were written completely, so that a failure leaves none
// of them behind (only a rename that fails after the others succeeded can leave the earlier ones).
// 0 on success; 1 after "Error: unable to write <path>." naming the file that failed.
int write_files(const std::vector<std::pair<std::string, std::string_view>> &files);

}  // namespace velmar

#endif  // VELMAR_OUTPUT_H
