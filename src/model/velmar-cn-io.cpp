// Coordination numbers as printed ("CN: " lines on standard output) and as CSV for scripts (one
// row per atom, or per listed pair for the shells; CR LF line ends; an unknown gap or an absent
// bond valence is an empty field).
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/velmar.h"
#include "model/velmar-cn.h"

namespace {

char sign(int os) { return os > 0 ? '+' : '-'; }

bool ready(const VELMAR_CN *cn, const VELMAR_CELL *cell) {
    return cn != nullptr && cn->atom != nullptr && cell != nullptr && cell->atom != nullptr;
}

// A label as one CSV field: quoted (quotes doubled) when it holds a comma or a quote.
std::string field(const char *text) {
    const std::string s = text;
    if (s.find_first_of(",\"") == std::string::npos) return s;
    std::string quoted = "\"";
    for (char c : s) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + "\"";
}

// "label,type,os,occ,x_f,y_f,z_f," of an analysed atom.
std::string atom_fields(const VELMAR_ATOM &a) {
    char line[256];
    std::snprintf(line, sizeof line, "%s,%d,%.4f,%.6f,%.6f,%.6f,", a.type, a.os, a.occ, a.x_f[0],
                  a.x_f[1], a.x_f[2]);
    return field(a.name) + "," + line;
}

// A length, or an empty field when it is unknown (negative) or absent (0 for a missing shell).
std::string length_field(double value, bool zero_is_absent) {
    if (value < 0.0 || (zero_is_absent && value == 0.0)) return "";
    char text[64];
    std::snprintf(text, sizeof text, "%.4f", value);
    return text;
}

// The same for the printed tables, "-" when unknown.
std::string length_column(double value, bool zero_is_absent) {
    const std::string s = length_field(value, zero_is_absent);
    return s.empty() ? "-" : s;
}

VELMAR_TEXT *to_text(const std::string &out) {
    VELMAR_TEXT *text = velmar_text_new(out.c_str());
    if (text == nullptr) VELMAR_ERROR_NULL(velmar_text_new);
    return text;
}

// Warnings for atoms whose shell the reach did not close.
void warn_open_shells(const VELMAR_CN *cn) {
    int empty = 0;
    int open = 0;
    for (int32_t k = 0; k < cn->total; ++k) {
        if (cn->atom[k].shell == 0.0) ++empty;
        if (cn->atom[k].shell > 0.0 && cn->atom[k].gap < 0.0) ++open;
    }
    if (empty > 0) {
        std::printf("Warning: %d atom(s) have no neighbour within r_max = %.3f A.\n", empty,
                    cn->reach);
    }
    if (open > 0) {
        std::printf(
            "Warning: %d atom(s) have no neighbour beyond their shell within r_max = %.3f A: the "
            "shell may be incomplete; a larger r_max settles it.\n",
            open, cn->reach);
    }
}

}  // namespace

void velmar_cn_print(const VELMAR_CN *cn, const VELMAR_CELL *cell) {
    if (!ready(cn, cell)) {
        std::printf("CN: (not allocated)\n");
        return;
    }
    std::printf("CN: %6s %5s %6s %7s %5s %8s %8s\n", "label", "type", "occ", "cn", "sites", "shell",
                "gap");
    for (int32_t k = 0; k < cn->total; ++k) {
        const VELMAR_CN_ATOM &c = cn->atom[k];
        const VELMAR_ATOM &a = cell->atom[c.atom];
        std::printf("CN: %6s %2s%d%c %6.3f %7.3f %5d %8s %8s\n", a.name, a.type, std::abs(a.os),
                    sign(a.os), a.occ, c.cn, static_cast<int>(c.sites),
                    length_column(c.shell, true).c_str(), length_column(c.gap, false).c_str());
    }
    std::printf("CN: average = %.3f\n", velmar_cn_average(cn, cell));
    warn_open_shells(cn);
}

void velmar_cn_print_shell(const VELMAR_CN *cn, const VELMAR_CELL *cell) {
    if (!ready(cn, cell)) {
        std::printf("CN: (not allocated)\n");
        return;
    }
    for (int32_t k = 0; k < cn->total; ++k) {
        const VELMAR_CN_ATOM &c = cn->atom[k];
        const VELMAR_ATOM &a = cell->atom[c.atom];
        std::printf(
            "CN: %s %2s%d%c occ %.3f at (%.4f, %.4f, %.4f): cn = %.3f, shell %s A, gap %s A\n",
            a.name, a.type, std::abs(a.os), sign(a.os), a.occ, a.x_f[0], a.x_f[1], a.x_f[2], c.cn,
            length_column(c.shell, true).c_str(), length_column(c.gap, false).c_str());
        std::printf("CN:   %6s %5s %6s %9s %9s %5s\n", "label", "type", "occ", "distance", "bv",
                    "shell");
        for (int32_t n = 0; n < c.total; ++n) {
            const VELMAR_CN_NEIGHBOUR &p = c.neighbour[n];
            const VELMAR_ATOM &b = cell->atom[p.atom];
            char bv[32] = "-";
            if (p.bv >= 0.0) std::snprintf(bv, sizeof bv, "%.4f", p.bv);
            std::printf("CN:   %6s %2s%d%c %6.3f %9.4f %9s %5s\n", b.name, b.type, std::abs(b.os),
                        sign(b.os), b.occ, p.distance, bv, p.shell ? "yes" : "no");
        }
    }
    warn_open_shells(cn);
}

void velmar_cn_print_bv(const VELMAR_CN *cn, const VELMAR_CELL *cell) {
    if (!ready(cn, cell)) {
        std::printf("CN: (not allocated)\n");
        return;
    }
    std::printf(
        "CN: a bond counts when it carries at least %.1f %% of the site's bond-valence sum; cn_eff "
        "= (sum s)^2 / sum s^2.\n",
        100.0 * VELMAR_CN_BV_SHARE);
    std::printf("CN: %6s %5s %6s %7s %7s %9s %8s %8s\n", "label", "type", "occ", "cn", "cn_eff",
                "bv_sum", "shell", "gap");
    for (int32_t k = 0; k < cn->total; ++k) {
        const VELMAR_CN_ATOM &c = cn->atom[k];
        const VELMAR_ATOM &a = cell->atom[c.atom];
        std::printf("CN: %6s %2s%d%c %6.3f %7.3f %7.3f %9.6f %8s %8s\n", a.name, a.type,
                    std::abs(a.os), sign(a.os), a.occ, c.cn, c.cn_eff, c.valence,
                    length_column(c.shell, true).c_str(), length_column(c.gap, false).c_str());
    }
    std::printf("CN: average = %.3f\n", velmar_cn_average(cn, cell));
}

VELMAR_TEXT *velmar_cn_export_to_text(const VELMAR_CN *cn, const VELMAR_CELL *cell) {
    if (!ready(cn, cell)) {
        std::fputs("Error: VELMAR_CN has not been properly initialized.\n", stderr);
        return nullptr;
    }
    std::string out = "label,type,os,occ,x_f,y_f,z_f,cn,sites,shell,gap\r\n";
    for (int32_t k = 0; k < cn->total; ++k) {
        const VELMAR_CN_ATOM &c = cn->atom[k];
        char line[64];
        std::snprintf(line, sizeof line, "%.4f,%d,", c.cn, static_cast<int>(c.sites));
        out += atom_fields(cell->atom[c.atom]) + line + length_field(c.shell, true) + "," +
               length_field(c.gap, false) + "\r\n";
    }
    return to_text(out);
}

VELMAR_TEXT *velmar_cn_export_shell_to_text(const VELMAR_CN *cn, const VELMAR_CELL *cell) {
    if (!ready(cn, cell)) {
        std::fputs("Error: VELMAR_CN has not been properly initialized.\n", stderr);
        return nullptr;
    }
    std::string out =
        "label,type,os,occ,x_f,y_f,z_f,cn,neighbour,neighbour_type,neighbour_os,neighbour_occ,"
        "distance,bv,in_shell\r\n";
    for (int32_t k = 0; k < cn->total; ++k) {
        const VELMAR_CN_ATOM &c = cn->atom[k];
        char cn_text[32];
        std::snprintf(cn_text, sizeof cn_text, "%.4f,", c.cn);
        const std::string centre = atom_fields(cell->atom[c.atom]) + cn_text;
        for (int32_t n = 0; n < c.total; ++n) {
            const VELMAR_CN_NEIGHBOUR &p = c.neighbour[n];
            const VELMAR_ATOM &b = cell->atom[p.atom];
            char line[128];
            std::snprintf(line, sizeof line, ",%s,%d,%.4f,%.4f,", b.type, b.os, b.occ, p.distance);
            out += centre + field(b.name) + line + length_field(p.bv, false) + "," +
                   (p.shell ? "1" : "0") + "\r\n";
        }
    }
    return to_text(out);
}

VELMAR_TEXT *velmar_cn_export_bv_to_text(const VELMAR_CN *cn, const VELMAR_CELL *cell) {
    if (!ready(cn, cell)) {
        std::fputs("Error: VELMAR_CN has not been properly initialized.\n", stderr);
        return nullptr;
    }
    std::string out = "label,type,os,occ,x_f,y_f,z_f,cn,sites,cn_eff,bv_sum,shell,gap\r\n";
    for (int32_t k = 0; k < cn->total; ++k) {
        const VELMAR_CN_ATOM &c = cn->atom[k];
        char line[128];
        std::snprintf(line, sizeof line, "%.4f,%d,%.4f,%.6f,", c.cn, static_cast<int>(c.sites),
                      c.cn_eff, c.valence);
        out += atom_fields(cell->atom[c.atom]) + line + length_field(c.shell, true) + "," +
               length_field(c.gap, false) + "\r\n";
    }
    return to_text(out);
}
