// Handlers of the force-field file commands.
// This build does not include the module yet: each handler says so and does nothing else.
#include <cstdio>

#include "cli/velmar-cmd-handlers.h"

void velmar_cmd_opt_do_gen_gin_lib(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
void velmar_cmd_opt_do_gen_gin_eam(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
void velmar_cmd_opt_do_gen_gin(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
void velmar_cmd_opt_do_text_gen_gin_lib(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
void velmar_cmd_opt_do_text_gen_gin_lib_set_sf(const VELMAR_CMD_OPT * /*opt*/) {
    std::fputs("Error: command not available in this build.\n", stderr);
}
