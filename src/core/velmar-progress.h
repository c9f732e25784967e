// A progress line for long work: what is being done, the share done and the time left, drawn on
// standard error only when it is a terminal (so logs and pipes stay clean), redrawn at most twice
// a second and wiped when the work ends.
#ifndef VELMAR_PROGRESS_H
#define VELMAR_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace velmar {

class Progress {
  public:
    // total: the units of work (voxels, steps, ...); 0 or less when not known in advance.
    Progress(std::string what, int64_t total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // done units so far; detail (may be empty) is appended to the line. Call it from one thread.
    void update(int64_t done, const std::string &detail = std::string());
    bool shown() const { return shown_; }
    // The line for done units after elapsed seconds (what update draws; exposed for the tests).
    std::string line(int64_t done, double elapsed, const std::string &detail) const;

  private:
    std::string what_;
    int64_t total_;
    bool shown_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point last_;
    size_t width_ = 0;  // of the longest line drawn, to wipe it
};

}  // namespace velmar

#endif  // VELMAR_PROGRESS_H
