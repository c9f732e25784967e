// The per-species database readers on an arbitrary file: one record, the element of an atomic
// number, default oxidation states, the hardness table, and the whole parameter table of a small
// structure built from it (with the real pair database). Any crash, hang, leak or undefined
// behaviour is a finding.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "core/velmar.h"
#include "fuzz-support.h"
#include "model/velmar-property.h"
#include "structure/velmar-cif.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    velmar_fuzz::quiet();
    static const std::string binary = velmar_fuzz::database("database_binary.dat");
    static VELMAR_CELL *const li2o = velmar_fuzz::li2o_cell();
    const std::string path = velmar_fuzz::scratch_file(data, size, "unitary.dat");
    const char *file = path.c_str();

    VELMAR_PROPERTY_UNITARY record{};
    velmar_property_unitary_read_from_file(&record, "Li", 1, file);
    VELMAR_ATOM atom{};
    velmar_property_type_from_atomic_number(8, &atom, file);
    VELMAR_ATOM atoms[3]{};
    const char *types[3] = {"Li", "O", "Xx"};
    for (int n = 0; n < 3; ++n) {
        std::strcpy(atoms[n].type, types[n]);
        atoms[n].os = VELMAR_OS_UNKNOWN;
    }
    velmar_atom_update_default_os(atoms, 3, file);
    velmar_property_hardness_read_from_file("O", 2, file);
    if (li2o != nullptr) {
        velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt(
            velmar_property_import_from_cell(li2o, "Li", 1, 0.75, file, binary.c_str()));
    }
    return 0;
}
