// Entry point of velmar.x: one command per run.
#include <cstdio>
#include <new>

#include "cli/velmar-cmd.h"

int main(int argc, char **argv) {
    try {
        return velmar_cmd_start(argc, argv);
    } catch (const std::bad_alloc &) {
        // Scratch space that could not be had; the commands report their own records' failures.
        std::fputs("Error: unable to allocate memory.\n", stderr);
        return 1;
    }
}
