// Helpers shared by the benchmarks.
#ifndef VELMAR_BENCH_SUPPORT_H
#define VELMAR_BENCH_SUPPORT_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

namespace velmar_bench {

// Runs fn with standard output sent to /dev/null (the library reports its steps there).
inline void quietly(const std::function<void()> &fn) {
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    close(null);
    fn();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
}

}  // namespace velmar_bench

#endif  // VELMAR_BENCH_SUPPORT_H
