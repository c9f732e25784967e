// Output files that appear under their final name only when complete: the content goes to a
// temporary file beside the final one (same directory, so the rename is atomic) and commit()
// renames it into place. A write that fails, or an OutputFile destroyed without commit(), removes
// the temporary, so a full disk or a failure half-way never leaves a truncated file that looks
// finished.
#ifndef VELMAR_OUTPUT_H
#define VELMAR_OUTPUT_H

#include <cstdio>
#include <string>

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

  private:
    std::string path_;
    std::string temp_;
    std::FILE *file_ = nullptr;
};

// True when a file can be created at path (the directory exists and is writable). The check
// creates and removes a temporary beside it and leaves any existing file at path alone. Commands
// call it before long work, so that an unwritable output is reported before, not after, the work.
bool output_can_be_created(const std::string &path);

}  // namespace velmar

#endif  // VELMAR_OUTPUT_H
