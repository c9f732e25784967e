// Growable text buffer: growth in 1,024-byte blocks, file import and export in binary mode, and the
// row splitter used by every reader of input files.
#include "core/velmar-text.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>

#include "core/velmar-array.h"
#include "core/velmar-output.h"
#include "core/velmar.h"

namespace {

constexpr int64_t kBlock = 1024;

// Smallest whole number of blocks that holds `used` characters and a terminator, as the growth rule
// has it: (floor((used + 1) / 1024) + 1) blocks.
int64_t blocks_for(int64_t used) { return ((used + 1) / kBlock + 1) * kBlock; }

bool fits_int32(int64_t bytes) { return bytes <= std::numeric_limits<int32_t>::max(); }

}  // namespace

VELMAR_TEXT *velmar_text_new(const char *str) {
    auto *text = static_cast<VELMAR_TEXT *>(std::calloc(1, sizeof(VELMAR_TEXT)));
    if (text == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_TEXT.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_TEXT, velmar_text_free> owner(text);
    text->content = static_cast<char *>(std::calloc(kBlock, 1));
    if (text->content == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_TEXT->content.\n", stderr);
        return nullptr;
    }
    text->allocated = static_cast<int32_t>(kBlock);
    if (str != nullptr && velmar_text_append(text, str) != 0) {
        VELMAR_ERROR_NONZERO(velmar_text_append);
        return nullptr;
    }
    return owner.release();
}

void velmar_text_free(VELMAR_TEXT *text) {
    if (text == nullptr) return;
    std::free(text->content);
    std::free(text);
}

int velmar_text_append(VELMAR_TEXT *text, const char *str) {
    if (text == nullptr || str == nullptr) return 0;
    if (text->content == nullptr) {
        std::fputs("Error: VELMAR->TEXT should not be NULL.\n", stderr);
        return 1;
    }
    const auto n = static_cast<int64_t>(std::strlen(str));
    const int64_t used = text->length + n;
    if (used >= text->allocated) {
        const int64_t bytes = blocks_for(used);
        char *grown =
            fits_int32(bytes)
                ? static_cast<char *>(std::realloc(text->content, static_cast<size_t>(bytes)))
                : nullptr;
        if (grown == nullptr) {
            // The buffer stays valid and unchanged, so the caller may still free it.
            std::fputs("Error: unable to reallocate VELMAR->content.\n", stderr);
            return 1;
        }
        text->content = grown;
        text->allocated = static_cast<int32_t>(bytes);
    }
    std::memcpy(text->content + text->length, str, static_cast<size_t>(n) + 1);
    text->length = static_cast<int32_t>(used);
    return 0;
}

int velmar_text_cat(VELMAR_TEXT *des, const VELMAR_TEXT *src) {
    if (des == nullptr || src == nullptr) {
        std::fputs("Error: VELMAR_TEXT has not been properly initialized.\n", stderr);
        return 1;
    }
    if (src->content == nullptr || src->length == 0) return 0;
    if (velmar_text_append(des, src->content) != 0) {
        std::fputs("Error: velmar_text_append() returns non-zero value.\n", stderr);
        return 1;
    }
    return 0;
}

int velmar_text_dump(VELMAR_TEXT *text) {
    if (text == nullptr || text->content == nullptr) {
        std::fputs("Error: VELMAR_TEXT has not been properly allocated.\n", stderr);
        return 1;
    }
    if (text->allocated != kBlock) {
        auto *shrunk = static_cast<char *>(std::realloc(text->content, kBlock));
        if (shrunk == nullptr) {
            std::fputs("Error: unable to realloc VELMAR_TEXT->content.\n", stderr);
            return 1;
        }
        text->content = shrunk;
        text->allocated = static_cast<int32_t>(kBlock);
    }
    std::memset(text->content, 0, kBlock);
    text->length = 0;
    return 0;
}

void velmar_text_print(const VELMAR_TEXT *text) {
    if (text == nullptr || text->content == nullptr) {
        std::printf("(not allocated)\n");
        return;
    }
    std::printf("%s\n", text->content);
}

VELMAR_TEXT *velmar_text_import_from_file(const char *filename) {
    velmar::File file(std::fopen(filename, "rb"));
    if (!file) {
        std::fprintf(stderr, "Error: unable to open %s\n", filename);
        return nullptr;
    }
    long size = -1;
    std::error_code ec;
    if (!std::filesystem::is_directory(filename, ec) && std::fseek(file.get(), 0, SEEK_END) == 0) {
        size = std::ftell(file.get());
    }
    if (size <= 0 || std::fseek(file.get(), 0, SEEK_SET) != 0) {
        // An empty file, or one without a size (a directory), has nothing to read.
        std::fprintf(stderr, "Error: failed to read content of %s\n", filename);
        return nullptr;
    }
    const int64_t bytes = blocks_for(size);
    auto *text = static_cast<VELMAR_TEXT *>(std::calloc(1, sizeof(VELMAR_TEXT)));
    if (text == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_TEXT.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_TEXT, velmar_text_free> owner(text);
    if (fits_int32(bytes)) text->content = static_cast<char *>(std::calloc(bytes, 1));
    if (text->content == nullptr) {
        std::fputs("Error: unable to allocate buffer for cif.\n", stderr);
        return nullptr;
    }
    text->allocated = static_cast<int32_t>(bytes);
    if (std::fread(text->content, 1, static_cast<size_t>(size), file.get()) !=
        static_cast<size_t>(size)) {
        std::fprintf(stderr, "Error: failed to read content of %s\n", filename);
        return nullptr;
    }
    text->length = static_cast<int32_t>(size);
    return owner.release();
}

int velmar_text_export_to_file(const VELMAR_TEXT *text, const char *filename) {
    if (text == nullptr || text->content == nullptr) {
        std::fputs("Error: VELMAR_TEXT has not been properly allocated.\n", stderr);
        return 1;
    }
    // Written beside the final name and renamed when complete: a failed write leaves no
    // truncated file behind, and an existing file stays as it was.
    velmar::OutputFile file(filename);
    if (!file.ok()) {
        std::fprintf(stderr, "Error: unable to open %s.\n", filename);
        return 1;
    }
    const auto size = static_cast<size_t>(text->length);
    if (std::fwrite(text->content, 1, size, file.get()) != size || file.commit() != 0) {
        std::fprintf(stderr, "Error: unable to write %s.\n", filename);
        return 1;
    }
    return 0;
}

int velmar_text_append_to_file(const VELMAR_TEXT *text, const char *filename) {
    if (text == nullptr || text->content == nullptr) {
        std::fputs("Error: VELMAR_TEXT has not been properly allocated.\n", stderr);
        return 1;
    }
    velmar::File file(std::fopen(filename, "ab"));
    if (!file) {
        std::fprintf(stderr, "Error: unable to open %s.\n", filename);
        return 1;
    }
    const auto size = static_cast<size_t>(text->length);
    const bool written = std::fwrite(text->content, 1, size, file.get()) == size;
    if (!written || std::fclose(file.release()) != 0) {
        std::fprintf(stderr, "Error: unable to write %s.\n", filename);
        return 1;
    }
    return 0;
}

int velmar_text_segregate_into_rows(char ***content, long *row, const VELMAR_TEXT *text, char sep) {
    if (content == nullptr || row == nullptr || text == nullptr || text->content == nullptr) {
        std::fputs("Error: VELMAR_TEXT has not been properly allocated.\n", stderr);
        return 1;
    }
    const char *s = text->content;
    const long length = text->length;
    long total = 0;
    for (long i = 0; i <= length; ++i) {
        if (s[i] == sep || s[i] == '\0') ++total;
    }
    std::printf("Message: total lines in the cif: %ld\n", total);

    auto *rows = static_cast<char **>(std::calloc(static_cast<size_t>(total), sizeof(char *)));
    if (rows == nullptr) {
        std::fputs("Error: unable to allocate content.\n", stderr);
        return 1;
    }
    long r = 0;
    long start = 0;
    for (long i = 0; i <= length; ++i) {
        if (s[i] != sep && s[i] != '\0') continue;
        rows[r] = velmar_array_char_1D_new(i - start + 1);
        if (rows[r] == nullptr) {
            std::fputs("Error: velmar_array_char_1D_new() returns NULL.\n", stderr);
            velmar_array_char_2D_free(rows, total);
            return 1;
        }
        std::memcpy(rows[r], s + start, static_cast<size_t>(i - start));
        ++r;
        start = i + 1;
    }
    *content = rows;
    *row = total;
    return 0;
}
