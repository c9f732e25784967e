// Handlers of the coordination-number commands.
// This build does not include the module yet: each handler says so and does nothing else.
#include <cstdio>

#include "cli/velmar-cmd-handlers.h"

void velmar_cmd_opt_do_cal_cn(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
void velmar_cmd_opt_do_cal_cn_atom(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
void velmar_cmd_opt_do_cal_cn_type(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
void velmar_cmd_opt_do_cal_cn_bv(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
