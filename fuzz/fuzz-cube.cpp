// The cube reader on arbitrary files, as periodic and as non-periodic, with the structure of its
// header. Any crash, hang, leak, undefined behaviour or excessive allocation is a finding.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/velmar.h"
#include "fuzz-support.h"
#include "landscape/velmar-cube-file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    velmar_fuzz::quiet();
    static const std::string unitary = velmar_fuzz::database("database_unitary.dat");
    const std::string path = velmar_fuzz::scratch_file(data, size, "input.cube");
    for (const bool periodic : {true, false}) {
        VELMAR_CUBE *cube = nullptr;
        VELMAR_CELL *cell = nullptr;
        if (velmar_cube_import_from_file(&cube, &cell, path.c_str(), periodic, unitary.c_str()) ==
            0) {
            velmar_cube_free(cube);
            velmar_cell_free(cell);
        }
    }
    return 0;
}
