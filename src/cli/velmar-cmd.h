// The command-line driver: the options record of a run, the database locations beside the
// executable, the command table and dispatch, the version banner, the command list and the
// text-mode joiner. The driver owns the options record; handlers only read it.
#ifndef VELMAR_CMD_H
#define VELMAR_CMD_H

#include "core/velmar-text.h"

struct VELMAR_CMD_OPT {
    int argc;               // argument count as received
    char **argv;            // argument vector as received (not copied)
    char *dir_unitary;      // path of database_unitary.dat beside the executable, owned
    char *dir_binary;       // path of database_binary.dat, owned
    char *dir_symcards;     // path of database_symcards.dat, owned
    char *path_executable;  // directory part of argv[0] with its trailing separator, owned
    char *mode_text;        // text-mode key phrase "-:text", owned
    char *mode_newline;     // text-mode line-break token "-:nl", owned
};

// The whole run: builds the options record, seeds the random generator from the clock, dispatches
// the command and frees the record. 0 whenever the record could be built, else 1.
int velmar_cmd_start(int argc, char **argv);
// A new options record, warning on standard output about each database file that is missing.
// NULL on failure.
VELMAR_CMD_OPT *velmar_cmd_opt_init(int argc, char **argv);
// Splits path at its last '/'. *dir (with the separator; "./" when there is none) and *name are
// new strings owned by the caller; either output may be NULL. 0 on success.
int velmar_cmd_opt_split_path(char **dir, char **name, const char *path);
// Copies at most the first two characters of str (an element symbol) into type[3].
void velmar_cmd_opt_get_type(char *type, const char *str);
void velmar_cmd_opt_free(VELMAR_CMD_OPT *opt);
// The record dump of --print-sys.
void velmar_cmd_opt_print(const VELMAR_CMD_OPT *opt);
// Text mode: the arguments after the last "-:text" joined into CIF text, each word preceded by a
// blank and each "-:nl" turned into a line break. NULL when the key phrase is absent or on failure.
VELMAR_TEXT *velmar_cmd_opt_cat_tail(const VELMAR_CMD_OPT *opt);

void velmar_cmd_opt_do_print_version(const VELMAR_CMD_OPT *opt);
void velmar_cmd_opt_do_print_help(const VELMAR_CMD_OPT *opt);

#endif  // VELMAR_CMD_H
