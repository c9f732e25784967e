#include "core/velmar-data-lines.h"

#include <cstdio>
#include <cstring>

#include "core/velmar.h"

bool velmar::for_each_data_line(const char *path, const std::function<Scan(const char *)> &visit) {
    File file(std::fopen(path, "rb"));
    if (!file) return false;
    char line[1024];
    bool data = false;
    while (std::fgets(line, sizeof line, file.get()) != nullptr) {
        if (!data) {
            data = std::strstr(line, "DATA_START") != nullptr;
            continue;
        }
        if (std::strstr(line, "DATA_END") != nullptr) break;
        if (visit(line) == Scan::kStop) break;
    }
    return true;
}
