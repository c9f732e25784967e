// The space-group settings database on an arbitrary file: the lookups by Hermann-Mauguin symbol,
// number, Hall symbol and place, and the symmetry of a CIF that names its group. Any crash, hang,
// leak or undefined behaviour is a finding.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/velmar.h"
#include "fuzz-support.h"
#include "structure/velmar-symcards.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    velmar_fuzz::quiet();
    const std::string path = velmar_fuzz::scratch_file(data, size, "symcards.dat");
    const char *file = path.c_str();
    velmar_symmetry_free(velmar_symmetry_import_by_keyword_HM("P 1", file));
    velmar_symmetry_free(velmar_symmetry_import_by_keyword_HM("F m -3 m", file));
    velmar_symmetry_free(velmar_symmetry_import_by_keyword_id(2, file));
    velmar_symmetry_free(velmar_symmetry_import_by_keyword_id(225, file));
    velmar_symmetry_free(velmar_symmetry_import_by_keyword_Hall("-P 2", file));
    velmar_symmetry_free(velmar_symmetry_import_by_internal_no(0, file));
    velmar_symmetry_free(velmar_symmetry_import_by_internal_no(3, file));
    std::vector<std::string> rows = {"data_x", "_symmetry_space_group_name_H-M 'P 6/m m m'",
                                     "_symmetry_Int_Tables_number 191"};
    std::vector<char *> pointers;
    for (std::string &row : rows) pointers.push_back(row.data());
    velmar_symmetry_free(velmar_symmetry_import_from_array_char_2D(
        pointers.data(), static_cast<long>(pointers.size()), file));
    return 0;
}
