// The pair database readers on an arbitrary file: one record, the estimate of a missing halide
// pair, and the parameter table of a small structure built from it (with the real per-species
// database), followed by its bond valences. Any crash, hang, leak or undefined behaviour is a
// finding.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "core/velmar.h"
#include "fuzz-support.h"
#include "model/velmar-bv.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cell-ops.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    velmar_fuzz::quiet();
    static const std::string unitary = velmar_fuzz::database("database_unitary.dat");
    static VELMAR_CELL *const li2o = velmar_fuzz::li2o_cell();
    const std::string path = velmar_fuzz::scratch_file(data, size, "binary.dat");
    const char *file = path.c_str();

    VELMAR_PROPERTY_BINARY pair{};
    velmar_property_binary_read_from_file(&pair, "Li", 1, "O", -2, file);
    VELMAR_PROPERTY_BINARY chloride{};
    std::strcpy(chloride.type1, "Li");
    chloride.os1 = 1;
    std::strcpy(chloride.type2, "Cl");
    chloride.os2 = -1;
    velmar_property_binary_estimate_from_file(&chloride, file);
    if (li2o == nullptr) return 0;
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(
        velmar_property_import_from_cell(li2o, "Li", 1, 0.75, unitary.c_str(), file));
    if (!ppt) return 0;
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> p1(velmar_symmetry_new_p1());
    if (!p1 || velmar_cell_flag_site_by_symmetry(li2o, p1.get()) != 0) return 0;
    velmar::Owned<VELMAR_BV, velmar_bv_free> bv(
        velmar_bv_calculate_from_flagged_cell(li2o, ppt.get()));
    velmar_cell_refresh(li2o);
    return 0;
}
