// Readers of the unitary and binary databases, the estimates of missing halide and sulfide pairs,
// and the element lookup by atomic number. A database is a free-text header ending with the line
// that contains DATA_START, then white-space separated data lines up to a line containing DATA_END;
// lines that do not parse are skipped and the first matching line wins.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "core/velmar-data-lines.h"
#include "core/velmar.h"
#include "model/velmar-property.h"

namespace {

using velmar::for_each_data_line;
using velmar::Scan;

// Bounds of the values a database line may give: beyond them a line is corrupt (they would
// overflow the image counts and the integer arithmetic of the derived parameters).
constexpr double kMaxValue = 1.0e3;  // any real column: A, amu, 1/eV, coordination number
constexpr int kMaxState = 16;        // oxidation states
constexpr int kMaxNumber = 200;      // atomic numbers
constexpr int kMaxPeriod = 20;       // the period and group columns

bool real_in_range(double v) { return std::isfinite(v) && std::fabs(v) <= kMaxValue; }

}  // namespace

int velmar_property_unitary_read_from_file(VELMAR_PROPERTY_UNITARY *uni, const char *type, int os,
                                           const char *path) {
    velmar::copy_text(uni->type, 3, type);
    uni->os = os;
    int status = 0;
    const bool opened = for_each_data_line(path, [&](const char *line) {
        char symbol[16];
        int state = 0;
        if (std::sscanf(line, "%*d %15s %d", symbol, &state) < 2 || state != os ||
            std::strcmp(symbol, type) != 0) {
            return Scan::kGoOn;
        }
        if (std::sscanf(line, "%d %*s %*d %*d %lf %d %d %d %lf %lf", &uni->an, &uni->m, &uni->n,
                        &uni->g, &uni->b, &uni->rc, &uni->soft) < 7) {
            std::fputs("Error: unable read VELMAR_PROPERTY_UNITARY.\n", stderr);
            status = 1;
        } else if (uni->an < 0 || uni->an > kMaxNumber || uni->n < 0 || uni->n > kMaxPeriod ||
                   uni->g < 0 || uni->g > kMaxPeriod || uni->b < 0 || uni->b > 3 ||
                   !real_in_range(uni->m) || !real_in_range(uni->rc) || !real_in_range(uni->soft)) {
            std::fprintf(stderr, "Error: the line of %s%d in %s holds values out of range.\n", type,
                         os, path);
            status = 1;
        }
        return Scan::kStop;
    });
    if (!opened) {
        std::fprintf(stderr, "Error: unable to open %s\n", path);
        return 1;
    }
    return status;
}

int velmar_property_binary_read_from_file(VELMAR_PROPERTY_BINARY *bin, const char *type1, int os1,
                                          const char *type2, int os2, const char *path) {
    velmar::copy_text(bin->type1, 3, type1);
    bin->os1 = os1;
    velmar::copy_text(bin->type2, 3, type2);
    bin->os2 = os2;
    int status = 0;
    const bool opened = for_each_data_line(path, [&](const char *line) {
        char first[16];
        char second[16];
        int s1 = 0;
        int s2 = 0;
        if (std::sscanf(line, "%15s %d %15s %d", first, &s1, second, &s2) != 4 || s1 != os1 ||
            s2 != os2 || std::strcmp(first, type1) != 0 || std::strcmp(second, type2) != 0) {
            return Scan::kGoOn;
        }
        if (std::sscanf(line, "%*s %*d %*s %*d %lf %lf %lf %lf", &bin->r0, &bin->b_old, &bin->cn,
                        &bin->cutoff) < 4) {
            std::fputs("Error: unable read VELMAR_PROPERTY_BINARY.\n", stderr);
            status = 1;
        } else if (!real_in_range(bin->r0) || !real_in_range(bin->b_old) ||
                   !real_in_range(bin->cn) || !real_in_range(bin->cutoff)) {
            std::fprintf(stderr, "Error: the line of %s%d %s%d in %s holds values out of range.\n",
                         type1, os1, type2, os2, path);
            status = 1;
        } else {
            bin->b = bin->b_old;
        }
        return Scan::kStop;
    });
    if (!opened) {
        std::fprintf(stderr, "Error: unable to open %s\n", path);
        return 1;
    }
    return status;
}

double velmar_property_hardness_read_from_file(const char *type, int os, const char *path) {
    double result = 0.0;
    const bool opened = for_each_data_line(path, [&](const char *line) {
        char symbol[16];
        double v[8];
        const int items = std::sscanf(line, "%15s %lf %lf %lf %lf %lf %lf %lf %lf", symbol, &v[0],
                                      &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]);
        if (items >= 1 && std::strcmp(symbol, type) == 0) {
            result = (os >= 0 && os < items - 1) ? v[os] : 0.0;
        }
        return Scan::kGoOn;
    });
    if (!opened) {
        std::printf("Warning: unable to open %s\n", path);
        return 0.0;
    }
    return result;
}

int velmar_property_estimate(VELMAR_PROPERTY *ppt, const char * /*dir_unitary*/,
                             const char *dir_binary) {
    if (ppt == nullptr || ppt->bin == nullptr) {
        std::fputs("Error: VELMAR_PROPERTY has not been properly initialized.\n", stderr);
        return 1;
    }
    for (int i = 0; i < ppt->total; ++i) {
        for (int j = 0; j < ppt->total; ++j) {
            if (velmar_property_binary_estimate_from_file(&ppt->bin[i][j], dir_binary) != 0) {
                VELMAR_ERROR_NONZERO(velmar_property_binary_estimate_from_file);
                return 1;
            }
        }
    }
    return 0;
}

int velmar_property_binary_estimate_from_file(VELMAR_PROPERTY_BINARY *bin, const char *path) {
    if (bin->os1 < 1 || bin->os2 >= 0 || bin->cn > 0.01) return 0;
    // Coordination numbers of chlorides, bromides and iodides from the fluoride, and of sulfides
    // from the oxide, by linear fits over structures where both are known.
    struct Rule {
        const char *anion;
        int os;
        const char *reference;
        int reference_os;
        double slope;
        double intercept;
    };
    static const Rule kRules[] = {
        {"Cl", -1, "F", -1, 0.3984, 3.4568},
        {"Br", -1, "F", -1, 0.3457, 3.3798},
        {"I", -1, "F", -1, 0.3806, 2.7873},
        {"S", -2, "O", -2, 0.7414, 0.9597},
    };
    for (const Rule &rule : kRules) {
        if (bin->os2 != rule.os || std::strcmp(bin->type2, rule.anion) != 0) continue;
        VELMAR_PROPERTY_BINARY reference{};
        if (velmar_property_binary_read_from_file(&reference, bin->type1, bin->os1, rule.reference,
                                                  rule.reference_os, path) != 0) {
            return 0;
        }
        if (reference.cn > 0) bin->cn = reference.cn * rule.slope + rule.intercept;
        if (reference.cutoff > 0) bin->cutoff = reference.cutoff;
        return 0;
    }
    return 0;
}

int velmar_property_type_from_atomic_number(int an, VELMAR_ATOM *atom, const char *path) {
    if (atom == nullptr) {
        std::fputs("Error: VELMAR_ATOM has not been initialized properly.\n", stderr);
        return 1;
    }
    int status = 1;
    bool reported = false;
    const bool opened = for_each_data_line(path, [&](const char *line) {
        int number = 0;
        int state = 0;
        char symbol[16];
        const int items = std::sscanf(line, "%d %15s %*d %d", &number, symbol, &state);
        if (items < 2) {
            std::fprintf(stderr, "Error: unable to process line %s.\n", line);
            reported = true;
            return Scan::kStop;
        }
        if (number != an) return Scan::kGoOn;
        if (state < -kMaxState || state > kMaxState) {
            std::fprintf(stderr, "Error: unable to process line %s.\n", line);
            reported = true;
            return Scan::kStop;
        }
        velmar::copy_text(atom->type, 3, symbol);
        atom->os = state;
        status = 0;
        return Scan::kStop;
    });
    if (!opened) {
        std::fprintf(stderr, "Error: unable to open %s.\n", path);
        return 1;
    }
    if (status != 0 && !reported) {
        std::fprintf(stderr, "Error: unable to find element with atomic number %d from %s.\n", an,
                     path);
    }
    return status;
}
