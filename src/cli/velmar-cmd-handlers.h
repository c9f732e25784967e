// Command handlers, one per command of the table. Each takes the run's options record, reads its
// arguments from argv[2] onward, prints its own messages and frees what it made.
#ifndef VELMAR_CMD_HANDLERS_H
#define VELMAR_CMD_HANDLERS_H

#include "cli/velmar-cmd.h"

void velmar_cmd_opt_do_print_cell(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_print_ppt(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_print_ppt_full(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_print_sym(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_print_cube(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_cif(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_cif_reduced(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_cif_p1(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_cif_assign(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_cif_assign_all(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_gin_lib(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_gin_eam(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_gin(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_lmp(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_cube(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_cube_gii(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gen_cube_tot(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_charge(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_bv(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_bv_gui(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_bv_type(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_gii(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_cn(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_cn_atom(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_cn_type(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_cn_bv(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_sym(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_cal_tot_en(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_rx_sd(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_rx_neb(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_rx_neb_images(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_fft(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_fft_cubes(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_fp_map(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_gh(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_kmc(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_sites(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_md(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_text_cal_bv(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_text_gen_gin_lib(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_text_gen_gin_lib_set_sf(const VELMAR_CMD_OPT *opt);

#endif  // VELMAR_CMD_HANDLERS_H
