// Handlers of commands whose subsystem this build does not include yet. Each says so on standard
// error and does nothing else.
#include <cstdio>

#include "cli/velmar-cmd-handlers.h"

namespace {

void not_available() { std::fputs("Error: command not available in this build.\n", stderr); }

}  // namespace

void velmar_cmd_opt_do_gen_gin_lib(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_gen_gin_eam(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_gen_gin(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_cal_cn(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_cal_cn_atom(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_cal_cn_type(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_cal_cn_bv(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_rx_sd(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_rx_neb(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_rx_neb_images(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_gh(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_sites(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_text_gen_gin_lib(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
void velmar_cmd_opt_do_text_gen_gin_lib_set_sf(const VELMAR_CMD_OPT * /*opt*/) { not_available(); }
