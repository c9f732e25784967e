// The CIF reader on arbitrary text; a structure it accepts (of up to 64 atoms) goes on to the bond
// valences, the first calculation most commands make. Any crash, hang, leak or undefined
// behaviour is a finding.
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/velmar-text.h"
#include "core/velmar.h"
#include "fuzz-support.h"
#include "model/velmar-bv.h"
#include "structure/velmar-cif.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    velmar_fuzz::quiet();
    static const std::string symcards = velmar_fuzz::database("database_symcards.dat");
    static const std::string unitary = velmar_fuzz::database("database_unitary.dat");
    static const std::string binary = velmar_fuzz::database("database_binary.dat");
    const std::string input(reinterpret_cast<const char *>(data), size);
    velmar::Owned<VELMAR_TEXT, velmar_text_free> text(velmar_text_new(input.c_str()));
    if (!text) return 0;
    VELMAR_CELL *raw_cell = nullptr;
    VELMAR_SYMMETRY *raw_symmetry = nullptr;
    if (velmar_cell_import_cif_from_text(&raw_cell, &raw_symmetry, text.get(), symcards.c_str(),
                                         unitary.c_str()) != 0) {
        return 0;
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> cell(raw_cell);
    velmar::Owned<VELMAR_SYMMETRY, velmar_symmetry_free> symmetry(raw_symmetry);
    if (cell->total <= 64) {
        velmar::Owned<VELMAR_BV, velmar_bv_free> bv(velmar_bv_calculate_from_cell(
            cell.get(), symmetry.get(), unitary.c_str(), binary.c_str()));
        if (bv) velmar_gii_calculate_from_bv_no_msg(bv.get());
    }
    return 0;
}
