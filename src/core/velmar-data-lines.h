// The data lines of a database file: a free-text header ending with the line that contains
// DATA_START, then data lines (read 1023 characters at a time) up to a line containing DATA_END.
#ifndef VELMAR_DATA_LINES_H
#define VELMAR_DATA_LINES_H

#include <functional>

namespace velmar {

enum class Scan { kGoOn, kStop };

// Calls visit(line) for each data line of the file until it answers kStop. False when the file
// cannot be opened (the message is the caller's).
bool for_each_data_line(const char *path, const std::function<Scan(const char *)> &visit);

}  // namespace velmar

#endif  // VELMAR_DATA_LINES_H
