// The CIF syntax the reader accepts: data items found by plain substring search over the rows of
// the file, semicolon text fields, single-quoted values, and loops returned as tables of strings
// (row 0 the tag names, rows 1.. one data line each). This is deliberately not a general CIF
// parser. Strings and tables returned are owned by the caller (velmar_array_char_1D_free,
// velmar_array_char_3D_free(loop, loop_r, loop_c)).
#ifndef VELMAR_CIF_SYNTAX_H
#define VELMAR_CIF_SYNTAX_H

// True for NULL, an empty string or white space only (blank, tab, carriage return, line feed).
bool velmar_array_char_1D_is_blank_line(const char *line);
// The first character that is not white space, or 0.
char velmar_array_char_1D_first_nonspace_char(const char *line);

// True when some row contains keyword.
bool velmar_cell_import_cif_exist_keyword(const char *keyword, char **content, long row);
// The value of the data item in the first row that contains keyword: a following semicolon text
// field (its lines joined), else the text between the row's first and last single quote, else the
// word after the keyword on the same row. A new string, or NULL when there is no value.
char *velmar_cell_import_cif_grep_keyword(const char *keyword, char **content, long row);
// The loop that has a tag containing keyword, as a table of *loop_r rows (tag names first) and
// *loop_c columns; a short data line leaves NULL cells. 0 on success; 1 with a warning when there
// is no such loop or it has no data, or with an error for a malformed data line.
int velmar_cell_import_cif_grep_loop(char ****loop, int *loop_r, int *loop_c, const char *keyword,
                                     char **content, long row);

namespace velmar::detail {
// Column of a loop table whose tag contains keyword: the first or the last such column; -1 if none.
int cif_loop_column(char ***loop, int loop_c, const char *keyword, bool first);
// Reads a number from the start of a cell ("0.2500(3)" gives 0.25); false when the cell does not
// start with a finite number.
bool cif_read_double(const char *cell, double &value);
}  // namespace velmar::detail

namespace velmar {

// The rows of a CIF text, released with the object.
struct CifRows {
    char **content = nullptr;
    long row = 0;
    CifRows() = default;
    CifRows(const CifRows &) = delete;
    CifRows &operator=(const CifRows &) = delete;
    ~CifRows();
};

// A loop table, released with the object.
struct CifLoop {
    char ***table = nullptr;
    int rows = 0;
    int cols = 0;
    CifLoop() = default;
    CifLoop(const CifLoop &) = delete;
    CifLoop &operator=(const CifLoop &) = delete;
    ~CifLoop();
    // velmar_cell_import_cif_grep_loop into this object.
    int grep(const char *keyword, char **content, long row);
    int grep(const char *keyword, const CifRows &source) {
        return grep(keyword, source.content, source.row);
    }
};

}  // namespace velmar

#endif  // VELMAR_CIF_SYNTAX_H
