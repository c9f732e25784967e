// Helpers of the force-field tests: a structure with its parameter table, and words of lines.
#ifndef VELMAR_TEST_FORCEFIELD_SUPPORT_H
#define VELMAR_TEST_FORCEFIELD_SUPPORT_H

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "core/velmar.h"
#include "model/velmar-property.h"
#include "support/support.h"

namespace velmar_test {

// A structure read from a CIF and its filled table (type NULL: no conducting species).
struct Model {
    Loaded loaded;
    velmar::Owned<VELMAR_PROPERTY, velmar_property_free> ppt;
    VELMAR_CELL *cell() const { return loaded.cell.get(); }
};

inline Model load_model(const std::filesystem::path &cif, const char *type, int os, double sf) {
    Model m;
    m.loaded = load_cif_file(cif);
    const std::string unitary = database("database_unitary.dat");
    const std::string binary = database("database_binary.dat");
    capture([&] {
        m.ppt.reset(velmar_property_import_from_cell(m.loaded.cell.get(), type, os, sf,
                                                     unitary.c_str(), binary.c_str()));
    });
    return m;
}

inline std::filesystem::path example(const std::string &name) {
    return source_dir() / "examples" / name;
}

inline std::vector<std::string> words(const std::string &line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    for (std::string w; in >> w;) out.push_back(w);
    return out;
}

inline std::vector<std::string> lines(const std::string &text) {
    std::istringstream in(text);
    std::vector<std::string> out;
    for (std::string l; std::getline(in, l);) out.push_back(l);
    return out;
}

}  // namespace velmar_test

#endif  // VELMAR_TEST_FORCEFIELD_SUPPORT_H
