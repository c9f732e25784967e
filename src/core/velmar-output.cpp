// Output files written under a temporary name and renamed into place when complete.
#include "core/velmar-output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmar {

std::string temporary_name(const std::string &path) {
    return path + ".tmp." + std::to_string(static_cast<long>(::getpid()));
}

namespace {

// Creates and removes a temporary beside path: 0 when that works and path is not a directory
// (which the final rename could not replace), else the error number.
int probe(const std::string &path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return EISDIR;
    if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        return ::access(path.c_str(), W_OK) == 0 ? 0 : errno;  // a device or a pipe
    }
    const std::string name = temporary_name(path);
    errno = 0;
    std::FILE *f = std::fopen(name.c_str(), "wb");
    if (f == nullptr) return errno != 0 ? errno : EIO;
    std::fclose(f);
    std::remove(name.c_str());
    return 0;
}

}  // namespace

OutputFile::OutputFile(std::string path) : path_(std::move(path)), temp_(temporary_name(path_)) {
    // A device or a pipe (/dev/null, /dev/stdout) is written directly: there is nothing to rename.
    struct stat info {};
    if (::stat(path_.c_str(), &info) == 0 && !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) {
        temp_.clear();
        file_ = std::fopen(path_.c_str(), "wb");
        return;
    }
    file_ = std::fopen(temp_.c_str(), "wb");
}

OutputFile::~OutputFile() {
    if (file_ != nullptr) std::fclose(file_);
    if (!temp_.empty() && (file_ != nullptr || finished_)) std::remove(temp_.c_str());
}

int OutputFile::finish() {
    if (file_ == nullptr) return 1;
    std::FILE *f = std::exchange(file_, nullptr);
    const bool written = std::fflush(f) == 0 && std::ferror(f) == 0;
    const bool closed = std::fclose(f) == 0;
    if (temp_.empty()) {
        finished_ = written && closed;
        return finished_ ? 0 : 1;
    }
    if (!written || !closed) {
        std::remove(temp_.c_str());
        return 1;
    }
    finished_ = true;
    return 0;
}

int OutputFile::commit() {
    if (!finished_ && finish() != 0) return 1;
    finished_ = false;
    if (temp_.empty()) return 0;
    if (std::rename(temp_.c_str(), path_.c_str()) != 0) {
        std::remove(temp_.c_str());
        return 1;
    }
    return 0;
}

bool output_can_be_created(const std::string &path) { return probe(path) == 0; }

bool output_check(const std::string &path) {
    const int error = probe(path);
    if (error == 0) return true;
    std::fprintf(stderr, "Error: unable to create %s: %s.\n", path.c_str(), std::strerror(error));
    return false;
}

int write_files(const std::vector<std::pair<std::string, std::string_view>> &files) {
    std::vector<std::unique_ptr<OutputFile>> outputs;
    for (const auto &[path, content] : files) {
        outputs.push_back(std::make_unique<OutputFile>(path));
        OutputFile &out = *outputs.back();
        if (!out.ok() ||
            std::fwrite(content.data(), 1, content.size(), out.get()) != content.size() ||
            out.finish() != 0) {
            std::fprintf(stderr, "Error: unable to write %s.\n", path.c_str());
            return 1;
        }
    }
    for (const auto &out : outputs) {
        if (out->commit() != 0) {
            std::fprintf(stderr, "Error: unable to write %s.\n", out->path().c_str());
            return 1;
        }
    }
    return 0;
}

}  // namespace velmar
