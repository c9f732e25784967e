// Handlers of the conduction-network and site-summary commands.
// This build does not include the module yet: each handler says so and does nothing else.
#include <cstdio>

#include "cli/velmar-cmd-handlers.h"

void velmar_cmd_opt_do_gh(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
void velmar_cmd_opt_do_sites(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
