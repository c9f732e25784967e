// Rows, data items, text fields, loops and the tokenising of loop rows.
#include "structure/velmar-cif-syntax.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "core/velmar-array.h"

namespace {

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool contains(const char *row, const char *keyword) { return std::strstr(row, keyword) != nullptr; }

char *new_string(std::string_view text) {
    char *copy = velmar_array_char_1D_new(static_cast<long>(text.size()) + 1);
    if (copy == nullptr) {
        // The backspace (instead of a line break) has always ended this message.
        std::fputs("Error: velmar_array_char_1D_new() returns NULL.\b", stderr);
        return nullptr;
    }
    std::memcpy(copy, text.data(), text.size());
    return copy;
}

// Splits one loop data line into tokens. False on an unterminated quote.
bool tokenize(const char *line, std::vector<std::string> &tokens) {
    tokens.clear();
    const char *p = line;
    while (*p != '\0') {
        if (is_space(*p)) {
            ++p;
            continue;
        }
        if (*p == '\'') {
            const char *end = p + 1;
            while (*end != '\0' && *end != '\'' && *end != '\r' && *end != '\n') ++end;
            if (*end != '\'') return false;
            tokens.emplace_back(p + 1, end);
            p = end + 1;
        } else {
            const char *end = p;
            while (*end != '\0' && !is_space(*end)) ++end;
            tokens.emplace_back(p, end);
            p = end;
        }
    }
    return true;
}

void free_table(char ***table, int rows, int cols) {
    if (table == nullptr) return;
    for (int i = 0; i < rows; ++i) {
        if (table[i] == nullptr) continue;
        for (int j = 0; j < cols; ++j) std::free(table[i][j]);
        std::free(table[i]);
    }
    std::free(table);
}

}  // namespace

bool velmar_array_char_1D_is_blank_line(const char *line) {
    return velmar_array_char_1D_first_nonspace_char(line) == 0;
}

char velmar_array_char_1D_first_nonspace_char(const char *line) {
    if (line == nullptr) return 0;
    while (*line != '\0' && is_space(*line)) ++line;
    return *line;
}

bool velmar_cell_import_cif_exist_keyword(const char *keyword, char **content, long row) {
    for (long i = 0; i < row; ++i) {
        if (contains(content[i], keyword)) return true;
    }
    return false;
}

char *velmar_cell_import_cif_grep_keyword(const char *keyword, char **content, long row) {
    long r = 0;
    while (r < row && !contains(content[r], keyword)) ++r;
    if (r == row) return nullptr;

    // A semicolon text field on the following rows.
    if (r < row - 2 && content[r + 1][0] == ';') {
        long end = r + 2;
        while (end < row && content[end][0] != ';') ++end;
        if (end == row) return nullptr;
        std::string value;
        for (long i = r + 2; i < end; ++i) {
            std::string_view line(content[i]);
            if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
            value += line;
        }
        return new_string(value);
    }

    const std::string_view line(content[r]);
    const size_t first_quote = line.find('\'');
    const size_t last_quote = line.rfind('\'');
    if (first_quote != std::string_view::npos && last_quote > first_quote) {
        return new_string(line.substr(first_quote + 1, last_quote - first_quote - 1));
    }

    size_t p = line.find(keyword) + std::strlen(keyword);
    while (p < line.size() && (line[p] == ' ' || line[p] == '\t')) ++p;
    if (p == line.size() || line[p] == '\r') return nullptr;
    size_t end = p;
    while (end < line.size() && line[end] != ' ' && line[end] != '\t' && line[end] != '\r') ++end;
    return new_string(line.substr(p, end - p));
}

int velmar_cell_import_cif_grep_loop(char ****loop, int *loop_r, int *loop_c, const char *keyword,
                                     char **content, long row) {
    bool in_loop = false;
    bool in_tags = false;
    bool found = false;
    long tag_first = -1;
    long data_first = -1;
    long last = -1;
    for (long i = 0; i < row; ++i) {
        const char *line = content[i];
        if (in_loop) {
            const char lead = velmar_array_char_1D_first_nonspace_char(line);
            if (lead == 0 || lead == '#' || contains(line, "loop_")) {
                // Blank, comment or a new loop: this loop ended on the row before.
                in_loop = false;
                last = i - 1;
                if (found) break;
                // The same row is looked at again below, as a row outside any loop.
            } else if (in_tags && lead == '_') {
                if (contains(line, keyword)) found = true;
                if (i == row - 1) {
                    in_loop = false;
                    last = i;
                }
                continue;
            } else if (in_tags) {
                in_tags = false;
                data_first = i;
                if (i == row - 1) {
                    in_loop = false;
                    last = i;
                    if (found) break;
                }
                continue;
            } else if (lead == '_') {
                // A data item after the data lines ends the loop.
                in_loop = false;
                last = i - 1;
                if (found) break;
                continue;
            } else {
                if (i == row - 1) {
                    in_loop = false;
                    last = i;
                    if (found) break;
                }
                continue;
            }
        }
        if (contains(line, "loop_")) {
            in_loop = true;
            in_tags = true;
            found = false;
            tag_first = i + 1;
            data_first = -1;
            last = -1;
        }
    }
    if (!found || data_first < 0 || last < data_first) {
        std::printf("Warning: _loop block containing %s not found.\n", keyword);
        return 1;
    }

    const long tags = data_first - tag_first;
    const long rows = last - data_first + 2;
    if (tags > 100000 || rows > 100000000) {
        std::fputs("Error: unable to allocate loop.\n", stderr);
        return 1;
    }
    const int cols = static_cast<int>(tags);
    const int total = static_cast<int>(rows);
    auto **table = static_cast<char ***>(std::calloc(static_cast<size_t>(total), sizeof(char **)));
    if (table == nullptr) {
        std::fputs("Error: unable to allocate loop.\n", stderr);
        return 1;
    }
    for (int t = 0; t < total; ++t) {
        table[t] = static_cast<char **>(std::calloc(static_cast<size_t>(cols), sizeof(char *)));
        if (table[t] == nullptr) {
            std::fprintf(stderr, "Error: unable to allocate loop[%d].\n", t);
            free_table(table, total, cols);
            return 1;
        }
    }
    std::vector<std::string> tokens;
    for (int c = 0; c < cols; ++c) {
        if (!tokenize(content[tag_first + c], tokens) || tokens.empty()) {
            std::fputs("Error: sscanf() returns 0.\n", stderr);
            free_table(table, total, cols);
            return 1;
        }
        table[0][c] = new_string(tokens[0]);
        if (table[0][c] == nullptr) {
            free_table(table, total, cols);
            return 1;
        }
    }
    for (int t = 1; t < total; ++t) {
        if (!tokenize(content[data_first + t - 1], tokens)) {
            std::fprintf(stderr, "Error: open single quotation mark detected at row %d.\n", t);
            free_table(table, total, cols);
            return 1;
        }
        if (tokens.size() > static_cast<size_t>(cols)) {
            // More values than tags: the columns cannot be told apart.
            std::fprintf(stderr,
                         "Error: row %d of the loop containing %s has %d fields for %d tags.\n", t,
                         keyword, static_cast<int>(tokens.size()), cols);
            free_table(table, total, cols);
            return 1;
        }
        for (size_t c = 0; c < tokens.size(); ++c) {
            table[t][c] = new_string(tokens[c]);
            if (table[t][c] == nullptr) {
                free_table(table, total, cols);
                return 1;
            }
        }
    }
    *loop = table;
    *loop_r = total;
    *loop_c = cols;
    return 0;
}

int velmar::detail::cif_loop_column(char ***loop, int loop_c, const char *keyword, bool first) {
    int column = -1;
    for (int c = 0; c < loop_c; ++c) {
        if (loop[0][c] != nullptr && contains(loop[0][c], keyword)) {
            column = c;
            if (first) break;
        }
    }
    return column;
}

bool velmar::detail::cif_read_double(const char *cell, double &value) {
    if (cell == nullptr) return false;
    char *end = nullptr;
    const double v = std::strtod(cell, &end);
    if (end == cell || !std::isfinite(v)) return false;
    value = v;
    return true;
}

velmar::CifRows::~CifRows() { velmar_array_char_2D_free(content, row); }

velmar::CifLoop::~CifLoop() { free_table(table, rows, cols); }

int velmar::CifLoop::grep(const char *keyword, char **content, long row) {
    free_table(table, rows, cols);
    table = nullptr;
    rows = cols = 0;
    return velmar_cell_import_cif_grep_loop(&table, &rows, &cols, keyword, content, row);
}
