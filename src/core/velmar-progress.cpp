#include "core/velmar-progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace velmar {

namespace {

// 75 s as "1 min 15 s", 4000 s as "1 h 07 min".
std::string duration(double seconds) {
    char text[48];
    const long s = static_cast<long>(seconds + 0.5);
    if (s < 60) {
        std::snprintf(text, sizeof text, "%ld s", s);
    } else if (s < 3600) {
        std::snprintf(text, sizeof text, "%ld min %02ld s", s / 60, s % 60);
    } else {
        std::snprintf(text, sizeof text, "%ld h %02ld min", s / 3600, (s % 3600) / 60);
    }
    return text;
}

}  // namespace

Progress::Progress(std::string what, int64_t total)
    : what_(std::move(what)),
      total_(total),
      shown_(::isatty(STDERR_FILENO) != 0),
      start_(std::chrono::steady_clock::now()),
      last_(start_) {}

Progress::~Progress() {
    if (shown_ && width_ > 0) std::fprintf(stderr, "\r%*s\r", static_cast<int>(width_), "");
}

std::string Progress::line(int64_t done, double elapsed, const std::string &detail) const {
    std::string text = what_ + ":";
    char part[96];
    if (total_ > 0) {
        const int64_t clamped = std::clamp<int64_t>(done, 0, total_);
        std::snprintf(
            part, sizeof part, " %3d%%",
            static_cast<int>(100 * static_cast<double>(clamped) / static_cast<double>(total_)));
        text += part;
        if (clamped > 0 && clamped < total_ && elapsed >= 1.0) {
            const double left =
                elapsed * static_cast<double>(total_ - clamped) / static_cast<double>(clamped);
            text += ", about " + duration(left) + " left";
        }
    } else {
        std::snprintf(part, sizeof part, " %lld done", static_cast<long long>(done));
        text += part;
    }
    if (!detail.empty()) text += ", " + detail;
    return text;
}

void Progress::update(int64_t done, const std::string &detail) {
    if (!shown_) return;
    const auto now = std::chrono::steady_clock::now();
    if (width_ > 0 && now - last_ < std::chrono::milliseconds(500)) return;
    last_ = now;
    const std::string text =
        line(done, std::chrono::duration<double>(now - start_).count(), detail);
    width_ = std::max(width_, text.size());
    std::fprintf(stderr, "\r%-*s", static_cast<int>(width_), text.c_str());
    std::fflush(stderr);
}

}  // namespace velmar
