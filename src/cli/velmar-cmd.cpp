// The driver: options record, database lookup beside the executable, command table and dispatch,
// version banner, command list, record dump and the text-mode joiner.
#include "cli/velmar-cmd.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "cli/velmar-cmd-handlers.h"
#include "core/velmar-random.h"
#include "core/velmar.h"

namespace {

constexpr char kSeparator = '/';
constexpr size_t kMaxExecutablePath = 999;

using Handler = void (*)(const VELMAR_CMD_OPT *);

struct Command {
    const char *name;
    Handler handler;
    const char *help;  // the line of the command list, or nullptr when the command is not listed
};

// Matched in this order, by exact and case-sensitive equality.
constexpr Command kCommands[] = {
    {"--version", velmar_cmd_opt_do_print_version, nullptr},
    {"-v", velmar_cmd_opt_do_print_version, nullptr},
    {"--help", velmar_cmd_opt_do_print_help,
     "Message:   --help              : display this help.\n"},
    {"-h", velmar_cmd_opt_do_print_help, nullptr},
    {"--print-sys", velmar_cmd_opt_print, nullptr},
    {"--print-cell", velmar_cmd_opt_do_print_cell,
     "Message:   --print-cell        : print the loaded cell.\n"},
    {"--print-ppt", velmar_cmd_opt_do_print_ppt,
     "Message:   --print-ppt         : print the property corresponding to the loaded cell.\n"},
    {"--print-ppt-full", velmar_cmd_opt_do_print_ppt_full, nullptr},
    {"--print-sym", velmar_cmd_opt_do_print_sym,
     "Message:   --print-sym         : print the symmetry corresponding to the loaded cell.\n"},
    {"--print-cube", velmar_cmd_opt_do_print_cube,
     "Message:   --print-cube        : print a summary of the loaded cube.\n"},
    {"--gen-cif", velmar_cmd_opt_do_gen_cif,
     "Message:   --gen-cif           : write the loaded cell to file in cif format.\n"},
    {"--gen-cif-reduced", velmar_cmd_opt_do_gen_cif_reduced,
     "Message:   --gen-cif-reduced   : write the loaded cell reduced by symmetry to file in cif "
     "format.\n"},
    {"--gen-cif-p1", velmar_cmd_opt_do_gen_cif_p1,
     "Message:   --gen-cif-p1        : write the loaded cell to file in cif format without "
     "symmetry.\n"},
    {"--gen-cif-assign", velmar_cmd_opt_do_gen_cif_assign,
     "Message:   --gen-cif-assign    : write the loaded cell to file in cif format with partially "
     "occupied sites of conducting species assigned occupancy = 1.0 randomly.\n"},
    {"--gen-cif-assign-all", velmar_cmd_opt_do_gen_cif_assign_all,
     "Message:   --gen-cif-assign-all: write the loaded cell to file in cif format with all "
     "partially occupied sites assigned occupancy = 1.0 randomly.\n"},
    {"--gen-gin-lib", velmar_cmd_opt_do_gen_gin_lib,
     "Message:   --gen-gin-lib       : generate a Morse type forcefield file in .lib format for "
     "calculation with software GULP.\n"},
    {"--gen-gin-eam", velmar_cmd_opt_do_gen_gin_eam,
     "Message:   --gen-gin-eam       : generate a Embedde-atom Method forcefield file in .lib "
     "format for calculation with software GULP.\n"},
    {"--gen-gin", velmar_cmd_opt_do_gen_gin,
     "Message:   --gen-gin           : generate an overall input file in .gin format for "
     "performing molecular dynamics calculaiton with software GULP.\n"},
    {"--gen-lmp", velmar_cmd_opt_do_gen_lmp, nullptr},
    {"--gen-cube", velmar_cmd_opt_do_gen_cube,
     "Message:   --gen-cube          : calculate the static energy landscape for ionic conduction "
     "and write the result to file in Gaussian cube format.\n"},
    {"--gen-cube-gii", velmar_cmd_opt_do_gen_cube_gii,
     "Message:   --gen-cube-gii      : calculate the static GII(global instability index) "
     "landscape for ionic conduction and write the result to file in Gaussian cube format.\n"},
    {"--gen-cube-tot", velmar_cmd_opt_do_gen_cube_tot,
     "Message:   --gen-cube-tot      : calculate the total energy landscape for ionic conducting "
     "and write the result to file in Gaussian cube format.\n"},
    {"--cal-charge", velmar_cmd_opt_do_cal_charge,
     "Message:   --cal-charge        : calculate the total charge of the loaded cell.\n"},
    {"--cal-bv", velmar_cmd_opt_do_cal_bv,
     "Message:   --cal-bv            : calculate bond valences of the loaded cell.\n"},
    {"--cal-bv-gui", velmar_cmd_opt_do_cal_bv_gui, nullptr},
    {"--cal-bv-type", velmar_cmd_opt_do_cal_bv_type, nullptr},
    {"--cal-gii", velmar_cmd_opt_do_cal_gii,
     "Message:   --cal-gii           : calculate the global instability index of the loaded "
     "cell.\n"},
    {"--cal-cn", velmar_cmd_opt_do_cal_cn,
     "Message:   --cal-cn            : calculate the coordination number of the specified atom by "
     "radius distribution function, suggest to use --cal-cn-bv for better accuracy.\n"},
    {"--cal-cn-atom", velmar_cmd_opt_do_cal_cn_atom,
     "Message:   --cal-cn-atom       : calculate coordination shell of the specified atom.\n"},
    {"--cal-cn-type", velmar_cmd_opt_do_cal_cn_type,
     "Message:   --cal-cn-type       : calculates averaged coordination number of the specified "
     "pair of ions.\n"},
    {"--cal-cn-bv", velmar_cmd_opt_do_cal_cn_bv,
     "Message:   --cal-cn-bv         : calculate the coordination number of the specified atom by "
     "bond valence theory.\n"},
    {"--cal-sym", velmar_cmd_opt_do_cal_sym,
     "Message:   --cal-sym           : calculate symmetry of the loaded cell.\n"},
    {"--cal-tot-en", velmar_cmd_opt_do_cal_tot_en,
     "Message:   --cal-tot-en        : calculate the total energy of the loaded cell.\n"},
    {"--rx-sd", velmar_cmd_opt_do_rx_sd,
     "Message:   --rx-sd             : perform a relaxation of loaded cell with steepest descend "
     "algorithm and write the result to file in cif format.\n"},
    {"--rx-neb", velmar_cmd_opt_do_rx_neb,
     "Message:   --rx-neb            : perform a simple nudged elastic bend calculation with input "
     "of two end images.\n"},
    {"--rx-neb-images", velmar_cmd_opt_do_rx_neb_images,
     "Message:   --rx-neb-images     : perform a simple nudged elastic bend calculation with input "
     "of a series of images.\n"},
    {"--fft", velmar_cmd_opt_do_fft,
     "Message:   --fft               : perform a fourier transform analysis to determine critical "
     "points and eigenvalues/vectors at these points.\n"},
    {"--fft-cubes", velmar_cmd_opt_do_fft_cubes,
     "Message:   --fft-cubes         : perform a fourier transform analysis and generate cubes "
     "corresponding to force, force constant, laplacian and slope.\n"},
    {"--fp-map", velmar_cmd_opt_do_fp_map,
     "Message:   --fp-map            : generates a cif file representing conduction path in the "
     "given cube file.\n"},
    {"--gh", velmar_cmd_opt_do_gh,
     "Message:   --gh                : generates cif files and csv file representing the "
     "characteristic conduction pathway in the given cube file.\n"},
    {"--kmc", velmar_cmd_opt_do_kmc,
     "Message:   --kmc               : conducts a kinetic monte carlo simulation to estimate the "
     "ionic conductivity given the cif and cube files.\n"},
    {"--sites", velmar_cmd_opt_do_sites,
     "Message:   --sites             : output a summary of sites based on graph analysis.\n"},
    {"--md", velmar_cmd_opt_do_md,
     "Message:   --md                : perform a molecular dynamics allowing only conducting ions "
     "to move.\n"},
    {"--text-cal-bv", velmar_cmd_opt_do_text_cal_bv, nullptr},
    {"--text-gen-gin-lib", velmar_cmd_opt_do_text_gen_gin_lib, nullptr},
    {"--text-gen-gin-lib-set-sf", velmar_cmd_opt_do_text_gen_gin_lib_set_sf, nullptr},
};

// The command list of --help, in four groups separated by an empty line.
constexpr std::string_view kHelpGroups[][11] = {
    {"--help", "--print-cell", "--print-ppt", "--print-sym", "--print-cube"},
    {"--gen-cif", "--gen-cif-reduced", "--gen-cif-p1", "--gen-cif-assign", "--gen-cif-assign-all",
     "--gen-gin-lib", "--gen-gin-eam", "--gen-gin", "--gen-cube", "--gen-cube-gii",
     "--gen-cube-tot"},
    {"--cal-bv", "--cal-gii", "--cal-cn", "--cal-cn-bv", "--cal-cn-atom", "--cal-cn-type",
     "--cal-sym", "--cal-tot-en", "--cal-charge"},
    {"--rx-sd", "--rx-neb", "--rx-neb-images", "--fft", "--fft-cubes", "--fp-map", "--gh",
     "--sites", "--md", "--kmc"},
};

const Command *find_command(std::string_view name) {
    for (const Command &command : kCommands) {
        if (name == command.name) return &command;
    }
    return nullptr;
}

// A new C string holding text, for the owned fields of the record.
char *new_string(std::string_view text) {
    auto *copy = static_cast<char *>(std::malloc(text.size() + 1));
    if (copy == nullptr) return nullptr;
    std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

bool file_exists(const char *path) {
    velmar::File file(std::fopen(path, "rb"));
    return file != nullptr;
}

// Where a database file is looked for, in order: the directory of argv[0] (as the program was
// called; the current directory for a bare name found through PATH), the directory of the
// executable itself (a symbolic link followed), the data directory of an installation beside it
// (<prefix>/bin/velmar.x reads <prefix>/share/velmar), and the data directory the build was
// configured to install to. The first that holds the file is used; when none does, the warning
// names the first.
std::string locate_database(const char *executable_dir, const char *file) {
    const std::string first = std::string(executable_dir) + file;
    if (file_exists(first.c_str())) return first;
    std::vector<std::string> others;
    std::error_code ec;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        others.push_back((self.parent_path() / file).string());
        others.push_back((self.parent_path().parent_path() / "share" / "velmar" / file).string());
    }
#ifdef VELMAR_DATA_DIR
    others.push_back(std::string(VELMAR_DATA_DIR) + "/" + file);
#endif
    for (const std::string &path : others) {
        if (file_exists(path.c_str())) return path;
    }
    std::printf("Warning: unable to find %s\n", first.c_str());
    return first;
}

// The clock seeds the run unless VELMAR_SEED holds a whole number: then two runs draw the same
// random numbers (vacancy placement, hops), which makes a run reproducible.
unsigned int run_seed() {
    if (const char *text = std::getenv("VELMAR_SEED"); text != nullptr && *text != '\0') {
        char *end = nullptr;
        errno = 0;
        const unsigned long long value = std::strtoull(text, &end, 10);
        if (errno == 0 && *end == '\0' && text[0] != '-') return static_cast<unsigned int>(value);
        std::printf("Warning: VELMAR_SEED=%s is not a whole number; the clock seeds this run.\n",
                    text);
    }
    return static_cast<unsigned int>(std::time(nullptr));
}

}  // namespace

int velmar_cmd_start(int argc, char **argv) {
    velmar::Owned<VELMAR_CMD_OPT, velmar_cmd_opt_free> opt(velmar_cmd_opt_init(argc, argv));
    if (!opt) {
        VELMAR_ERROR_NULL(velmar_cmd_opt_init);
        return 1;
    }
    velmar_random_seed(run_seed());
    if (argc < 2) {
        velmar_cmd_opt_do_print_version(opt.get());
    } else if (const Command *command = find_command(argv[1]); command != nullptr) {
        command->handler(opt.get());
    } else {
        std::printf("Error: arguments not recognized. '-h' for help.\n");
    }
    return 0;
}

VELMAR_CMD_OPT *velmar_cmd_opt_init(int argc, char **argv) {
    const char *executable = (argc > 0 && argv != nullptr && argv[0] != nullptr) ? argv[0] : "";
    if (std::strlen(executable) > kMaxExecutablePath) {
        std::fputs("Error: executable path too long.\n", stderr);
        return nullptr;
    }
    auto *raw = static_cast<VELMAR_CMD_OPT *>(std::calloc(1, sizeof(VELMAR_CMD_OPT)));
    if (raw == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_CMD_OPT.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_CMD_OPT, velmar_cmd_opt_free> opt(raw);
    opt->argc = argc;
    opt->argv = argv;
    if (velmar_cmd_opt_split_path(&opt->path_executable, nullptr, executable) != 0) {
        VELMAR_ERROR_NONZERO(velmar_cmd_opt_split_path);
        return nullptr;
    }

    struct Database {
        const char *file;
        char *VELMAR_CMD_OPT::*field;
    };
    constexpr Database kDatabases[] = {
        {"database_unitary.dat", &VELMAR_CMD_OPT::dir_unitary},
        {"database_binary.dat", &VELMAR_CMD_OPT::dir_binary},
        {"database_symcards.dat", &VELMAR_CMD_OPT::dir_symcards},
    };
    for (const Database &database : kDatabases) {
        const std::string path = locate_database(opt->path_executable, database.file);
        opt.get()->*database.field = new_string(path);
        if (opt.get()->*database.field == nullptr) {
            std::fputs("Error: unable to allocate string.\n", stderr);
            return nullptr;
        }
    }
    opt->mode_text = new_string("-:text");
    opt->mode_newline = new_string("-:nl");
    if (opt->mode_text == nullptr || opt->mode_newline == nullptr) {
        std::fputs("Error: unable to allocate string.\n", stderr);
        return nullptr;
    }
    return opt.release();
}

int velmar_cmd_opt_split_path(char **dir, char **name, const char *path) {
    if (path == nullptr) path = "";
    const std::string_view whole(path);
    const size_t cut = whole.rfind(kSeparator);
    const std::string_view directory =
        cut == std::string_view::npos ? std::string_view("./") : whole.substr(0, cut + 1);
    const std::string_view file = cut == std::string_view::npos ? whole : whole.substr(cut + 1);
    char *dir_copy = nullptr;
    if (dir != nullptr) {
        dir_copy = new_string(directory);
        if (dir_copy == nullptr) {
            std::fputs("Error: unable to allocate string.\n", stderr);
            return 1;
        }
    }
    if (name != nullptr) {
        *name = new_string(file);
        if (*name == nullptr) {
            std::free(dir_copy);
            std::fputs("Error: unable to allocate string.\n", stderr);
            return 1;
        }
    }
    if (dir != nullptr) *dir = dir_copy;
    return 0;
}

void velmar_cmd_opt_get_type(char *type, const char *str) {
    size_t n = 0;
    while (n < 2 && str != nullptr && str[n] != '\0') {
        type[n] = str[n];
        ++n;
    }
    type[n] = '\0';
}

void velmar_cmd_opt_free(VELMAR_CMD_OPT *opt) {
    if (opt == nullptr) return;
    std::free(opt->dir_unitary);
    std::free(opt->dir_binary);
    std::free(opt->dir_symcards);
    std::free(opt->path_executable);
    std::free(opt->mode_text);
    std::free(opt->mode_newline);
    std::free(opt);
}

void velmar_cmd_opt_print(const VELMAR_CMD_OPT *opt) {
    if (opt == nullptr) {
        std::printf("CMD_OPT: (not allocated)\n");
        return;
    }
    std::printf("CMD_OPT: dir_unitary=     %s\n", opt->dir_unitary);
    std::printf("CMD_OPT: dir_binary=      %s\n", opt->dir_binary);
    std::printf("CMD_OPT: dir_symcards=    %s\n", opt->dir_symcards);
    std::printf("CMD_OPT: path_executable= %s\n", opt->path_executable);
    std::printf("CMD_OPT: mode_text=   \"%s\"\n", opt->mode_text);
    std::printf("CMD_OPT: mode_newline=\"%s\"\n", opt->mode_newline);
}

VELMAR_TEXT *velmar_cmd_opt_cat_tail(const VELMAR_CMD_OPT *opt) {
    int key = -1;
    for (int i = 0; i + 1 < opt->argc; ++i) {
        if (std::strcmp(opt->argv[i], opt->mode_text) == 0) key = i;
    }
    if (key < 0) {
        std::fputs("Error: text-mode key phrase not found.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(velmar_text_new(nullptr));
    if (!text) {
        VELMAR_ERROR_NULL(velmar_text_new);
        return nullptr;
    }
    for (int i = key + 1; i < opt->argc; ++i) {
        const char *arg = opt->argv[i];
        const bool newline = std::strcmp(arg, opt->mode_newline) == 0;
        const int status =
            newline ? velmar_text_append(text.get(), "\n")
                    : (velmar_text_append(text.get(), " ") || velmar_text_append(text.get(), arg));
        if (status != 0) {
            VELMAR_ERROR_NONZERO(velmar_text_append);
            return nullptr;
        }
    }
    return text.release();
}

void velmar_cmd_opt_do_print_version(const VELMAR_CMD_OPT * /*opt*/) {
    std::printf("  Velmar-ver " VELMAR_VERSION_STRING "\n");
    std::printf("    --help to list commands available.\n");
    std::printf("    Developed by the Velmar developers.\n");
    std::printf("    Bugs and suggestions: please open an issue on the Velmar issue tracker.\n");
}

void velmar_cmd_opt_do_print_help(const VELMAR_CMD_OPT * /*opt*/) {
    std::printf("Message: avalable commands are listed.\n");
    std::printf(
        "Message: detailed help with each command can be found by typing each command without "
        "argument,\n");
    std::printf(
        "Message: basic format is: --command-name [compulsory arguments] | {optional "
        "arguments}\n");
    std::printf("\n");
    bool first = true;
    for (const auto &group : kHelpGroups) {
        if (!first) std::printf("\n");
        first = false;
        for (std::string_view name : group) {
            if (name.empty()) break;
            const Command *command = find_command(name);
            if (command != nullptr && command->help != nullptr) std::fputs(command->help, stdout);
        }
    }
}
