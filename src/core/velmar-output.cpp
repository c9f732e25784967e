// Output files written under a temporary name and renamed into place when complete.
#include "core/velmar-output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <utility>

namespace velmar {

namespace {

std::string temporary_name(const std::string &path) {
    return path + ".tmp." + std::to_string(static_cast<long>(::getpid()));
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
    if (file_ != nullptr) {
        std::fclose(file_);
        if (!temp_.empty()) std::remove(temp_.c_str());
    }
}

int OutputFile::commit() {
    if (file_ == nullptr) return 1;
    std::FILE *f = std::exchange(file_, nullptr);
    const bool written = std::fflush(f) == 0 && std::ferror(f) == 0;
    const bool closed = std::fclose(f) == 0;
    if (temp_.empty()) return written && closed ? 0 : 1;
    if (!written || !closed || std::rename(temp_.c_str(), path_.c_str()) != 0) {
        std::remove(temp_.c_str());
        return 1;
    }
    return 0;
}

bool output_can_be_created(const std::string &path) {
    const std::string probe = temporary_name(path);
    std::FILE *f = std::fopen(probe.c_str(), "wb");
    if (f == nullptr) return false;
    std::fclose(f);
    std::remove(probe.c_str());
    return true;
}

}  // namespace velmar
