// Growable NUL-terminated text buffer through which files are read and most files are written.
// The buffer always occupies a whole number of 1,024-byte blocks with room for the terminator.
// Whoever calls velmar_text_new or velmar_text_import_from_file owns the result and releases it
// with velmar_text_free.
#ifndef VELMAR_TEXT_H
#define VELMAR_TEXT_H

#include <cstdint>

struct VELMAR_TEXT {
    char *content;      // the text, always NUL-terminated
    int32_t length;     // characters in use, terminator not counted
    int32_t allocated;  // bytes of content, a multiple of 1,024
};

// A new empty buffer of 1,024 zeroed bytes, with str appended when it is not NULL. NULL on failure.
VELMAR_TEXT *velmar_text_new(const char *str);
// Frees the content and the record; NULL is ignored.
void velmar_text_free(VELMAR_TEXT *text);
// Appends str, growing the buffer in 1,024-byte blocks. NULL text or NULL str: nothing, 0.
// On a failed growth the buffer is left as it was and 1 is returned.
int velmar_text_append(VELMAR_TEXT *text, const char *str);
// Appends the content of src to des. 0 on success, 1 on failure.
int velmar_text_cat(VELMAR_TEXT *des, const VELMAR_TEXT *src);
// Empties the buffer and shrinks it back to exactly 1,024 zeroed bytes. 0 on success.
int velmar_text_dump(VELMAR_TEXT *text);
// Writes the content and a line break to standard output.
void velmar_text_print(const VELMAR_TEXT *text);
// Reads a whole file in binary mode (line ends are kept as they are). An empty file is refused.
VELMAR_TEXT *velmar_text_import_from_file(const char *filename);
// Creates or truncates the file and writes the content in binary mode. 0 on success.
int velmar_text_export_to_file(const VELMAR_TEXT *text, const char *filename);
// Appends the content to the end of the file in binary mode. 0 on success.
int velmar_text_append_to_file(const VELMAR_TEXT *text, const char *filename);
// Splits the text at every sep into *row new strings (the terminator closes the last row, so a
// text ending in sep gives a last empty row). Release with velmar_array_char_2D_free(*content,
// *row). 0 on success.
int velmar_text_segregate_into_rows(char ***content, long *row, const VELMAR_TEXT *text, char sep);

#endif  // VELMAR_TEXT_H
