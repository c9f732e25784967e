// Handlers of the relaxation commands.
// This build does not include the module yet: each handler says so and does nothing else.
#include <cstdio>

#include "cli/velmar-cmd-handlers.h"

void velmar_cmd_opt_do_rx_sd(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
void velmar_cmd_opt_do_rx_neb(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
void velmar_cmd_opt_do_rx_neb_images(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
