// Lookups in the space-group settings database and the order of symmetry sources of a CIF.
#include "structure/velmar-symcards.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "core/velmar-array.h"
#include "core/velmar.h"
#include "structure/velmar-cif-syntax.h"

namespace {

constexpr int kMaxCards = 192;

// The lines of the database between DATA_START and DATA_END, each cut at its line end.
bool read_database(const char *path, std::vector<std::string> &lines) {
    velmar::File file(std::fopen(path, "rb"));
    if (!file) {
        std::fprintf(stderr, "Error: unable to open %s\n", path);
        return false;
    }
    lines.clear();
    bool data = false;
    std::string line;
    int c = 0;
    while ((c = std::fgetc(file.get())) != EOF) {
        if (c != '\n') {
            line += static_cast<char>(c);
            continue;
        }
        if (!data) {
            data = line.find("DATA_START") != std::string::npos;
        } else if (line.find("DATA_END") != std::string::npos) {
            break;
        } else {
            lines.push_back(line);
        }
        line.clear();
    }
    if (data && !line.empty() && line.find("DATA_END") == std::string::npos) lines.push_back(line);
    return true;
}

std::string cut_at_line_end(const std::string &line) {
    return line.substr(0, line.find_first_of("\r\n"));
}

// The Hall symbol of a record's second line: up to 15 characters after the opening quote.
std::string hall_of(const std::string &line) {
    char hall[16] = {};
    if (std::sscanf(line.c_str(), "'%15[^'\n\r]s", hall) != 1) return {};
    return hall;
}

// The first spelling of a record's H-M line (" P 6/m m m ; P6/mmm ;" gives "P 6/m m m").
std::string first_spelling(const std::string &line) {
    const size_t start = line.find_first_not_of(' ');
    if (start == std::string::npos) return {};
    const size_t end = line.find(" ;", start);
    return line.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

// Walks the records in file order and builds a symmetry from the first one for which `wanted`
// holds. `wanted` sees the record's place, its number, Hall and H-M lines.
using Match = std::function<bool(int place, const std::string &id, const std::string &hall,
                                 const std::string &hm)>;

VELMAR_SYMMETRY *import_record(const char *path, const Match &wanted, const char *what) {
    std::vector<std::string> lines;
    if (!read_database(path, lines)) return nullptr;
    int place = 0;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].find('#') == std::string::npos) continue;
        if (i + 4 >= lines.size()) break;
        const std::string &id_line = lines[i + 1];
        const std::string &hall_line = lines[i + 2];
        const std::string &hm_line = lines[i + 3];
        if (!wanted(place++, id_line, hall_line, hm_line)) {
            i += 3;
            continue;
        }
        int total = 0;
        int id = 0;
        if (std::sscanf(lines[i + 4].c_str(), "%d", &total) != 1 || total < 1 ||
            total > kMaxCards || i + 4 + static_cast<size_t>(total) >= lines.size() ||
            std::sscanf(id_line.c_str(), "%d", &id) != 1) {
            std::fprintf(stderr, "Error: malformed record for %s in %s.\n", what, path);
            return nullptr;
        }
        velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> symmetry(velmar_symmetry_new(total));
        if (!symmetry) {
            VELMAR_ERROR_NULL(velmar_symmetry_new);
            return nullptr;
        }
        symmetry->sg_id = id;
        velmar::copy_text(symmetry->sg_Hall, sizeof symmetry->sg_Hall, hall_of(hall_line));
        velmar::copy_text(symmetry->sg_HM, sizeof symmetry->sg_HM, first_spelling(hm_line));
        for (int c = 0; c < total; ++c) {
            const std::string card = cut_at_line_end(lines[i + 5 + static_cast<size_t>(c)]);
            if (velmar_card_set_by_text(&symmetry->card[c], card.c_str()) != 0) {
                VELMAR_ERROR_NONZERO(velmar_card_set_by_text);
                return nullptr;
            }
        }
        return symmetry.release();
    }
    return nullptr;
}

// Builds the symmetry from the operation column of a CIF loop.
VELMAR_SYMMETRY *from_loop(const velmar::CifLoop &loop, const char *keyword) {
    const int column = velmar::detail::cif_loop_column(loop.table, loop.cols, keyword, false);
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> symmetry(
        velmar_symmetry_new(loop.rows - 1));
    if (!symmetry) {
        VELMAR_ERROR_NULL(velmar_symmetry_new);
        return nullptr;
    }
    for (int r = 1; r < loop.rows; ++r) {
        if (velmar_card_set_by_text(&symmetry->card[r - 1], loop.table[r][column]) != 0) {
            VELMAR_ERROR_NONZERO(velmar_card_set_by_text);
            return nullptr;
        }
    }
    return symmetry.release();
}

// The value of the first of two data items that the CIF has, or an empty string.
std::string item(char **content, long row, const char *first, const char *second) {
    for (const char *keyword : {first, second}) {
        char *value = velmar_cell_import_cif_grep_keyword(keyword, content, row);
        if (value == nullptr) continue;
        std::string result(value);
        velmar_array_char_1D_free(value);
        return result;
    }
    return {};
}

}  // namespace

VELMAR_SYMMETRY *velmar_symmetry_import_by_keyword_HM(const char *keyword, const char *path) {
    const std::string key = keyword == nullptr ? "" : keyword;
    VELMAR_SYMMETRY *symmetry = nullptr;
    if (!key.empty()) {
        symmetry = import_record(
            path,
            [&key](int, const std::string &, const std::string &, const std::string &hm) {
                return hm.find(key) != std::string::npos;
            },
            key.c_str());
    }
    if (symmetry == nullptr) {
        std::fprintf(stderr, "Error: unable to find keyword H-M %s in %s.\n", key.c_str(), path);
        return nullptr;
    }
    velmar::copy_text(symmetry->sg_HM, sizeof symmetry->sg_HM, key);
    return symmetry;
}

VELMAR_SYMMETRY *velmar_symmetry_import_by_keyword_id(int id, const char *path) {
    VELMAR_SYMMETRY *symmetry = import_record(
        path,
        [id](int, const std::string &line, const std::string &, const std::string &) {
            int number = 0;
            return std::sscanf(line.c_str(), "%d", &number) == 1 && number == id;
        },
        "a space-group number");
    if (symmetry == nullptr) {
        std::fprintf(stderr, "Error: unable to find space group number %d in %s.\n", id, path);
    }
    return symmetry;
}

VELMAR_SYMMETRY *velmar_symmetry_import_by_keyword_Hall(const char *keyword, const char *path) {
    const std::string key = std::string(keyword == nullptr ? "" : keyword).substr(0, 15);
    VELMAR_SYMMETRY *symmetry = nullptr;
    if (!key.empty()) {
        symmetry = import_record(
            path,
            [&key](int, const std::string &, const std::string &hall, const std::string &) {
                return hall_of(hall) == key;
            },
            key.c_str());
    }
    if (symmetry == nullptr) {
        std::fprintf(stderr, "Error: unable to find Hall symbol %s in %s.\n", key.c_str(), path);
    }
    return symmetry;
}

VELMAR_SYMMETRY *velmar_symmetry_import_by_internal_no(int number, const char *path) {
    VELMAR_SYMMETRY *symmetry = import_record(
        path,
        [number](int place, const std::string &, const std::string &, const std::string &) {
            return place == number;
        },
        "a record number");
    if (symmetry == nullptr) {
        std::fprintf(stderr, "Error: unable to find record %d in %s.\n", number, path);
    }
    return symmetry;
}

VELMAR_SYMMETRY *velmar_symmetry_import_from_array_char_2D(char **content, long row,
                                                           const char *dir_symcards) {
    const std::string hm =
        item(content, row, "_symmetry_space_group_name_H-M", "_space_group_name_H-M_alt");
    const std::string number =
        item(content, row, "_symmetry_Int_Tables_number", "_space_group_IT_number");
    int id = 0;
    const bool has_id = std::sscanf(number.c_str(), "%d", &id) == 1;

    velmar::CifLoop loop;
    const char *found = nullptr;
    for (const char *keyword : {"_symmetry_equiv_pos_as_xyz", "_space_group_symop_operation_xyz"}) {
        if (loop.grep(keyword, content, row) == 0) {
            found = keyword;
            break;
        }
    }
    if (found != nullptr) {
        VELMAR_SYMMETRY *symmetry = from_loop(loop, found);
        if (symmetry != nullptr) {
            velmar::copy_text(symmetry->sg_HM, sizeof symmetry->sg_HM, hm);
            velmar::copy_text(
                symmetry->sg_Hall, sizeof symmetry->sg_Hall,
                item(content, row, "_symmetry_space_group_name_Hall", "_space_group_name_Hall"));
            symmetry->sg_id = has_id ? id : 0;
        }
        return symmetry;
    }
    std::printf("Warning: velmar_cell_import_cif_grep_loop() returns non-zero.\n");

    if (!hm.empty()) {
        VELMAR_SYMMETRY *symmetry = velmar_symmetry_import_by_keyword_HM(hm.c_str(), dir_symcards);
        if (symmetry != nullptr) return symmetry;
    }
    if (has_id) {
        VELMAR_SYMMETRY *symmetry = velmar_symmetry_import_by_keyword_id(id, dir_symcards);
        if (symmetry != nullptr) return symmetry;
    }
    std::fputs("Error: the cif file gives no symmetry operations, space-group symbol or number.\n",
               stderr);
    return nullptr;
}
