// Atom and cell records.
#include "structure/velmar-cell.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/velmar.h"

VELMAR_ATOM *velmar_atom_new(long n) {
    if (n <= 0) {
        std::fputs("Error: number of atoms must be positive.\n", stderr);
        return nullptr;
    }
    auto *atom =
        static_cast<VELMAR_ATOM *>(std::calloc(static_cast<size_t>(n), sizeof(VELMAR_ATOM)));
    if (atom == nullptr) std::fputs("Error: unable to allocate VELMAR_ATOM.\n", stderr);
    return atom;
}

void velmar_atom_free(VELMAR_ATOM *atom) { std::free(atom); }

void velmar_atom_print(const VELMAR_ATOM *atom) {
    if (atom == nullptr) {
        std::printf("ATOM: (not allocated)\n");
        return;
    }
    std::printf("ATOM: name=%6s;type=%2s;os=%2d;x_f=(%5.3f,%5.3f,%5.3f);occ=%5.3f\n", atom->name,
                atom->type, atom->os, atom->x_f[0], atom->x_f[1], atom->x_f[2], atom->occ);
}

VELMAR_CELL *velmar_cell_new(long total_atom) {
    auto *cell = static_cast<VELMAR_CELL *>(std::calloc(1, sizeof(VELMAR_CELL)));
    if (cell == nullptr) {
        std::fputs("Error: unable to allocate VELMAR_CELL.\n", stderr);
        return nullptr;
    }
    if (total_atom > 0) {
        if (total_atom <= INT32_MAX) {
            cell->atom = static_cast<VELMAR_ATOM *>(
                std::calloc(static_cast<size_t>(total_atom), sizeof(VELMAR_ATOM)));
        }
        if (cell->atom == nullptr) {
            std::fputs("Error: unable to allocate VELMAR_CELL->VELMAR_ATOM.\n", stderr);
            velmar_cell_free(cell);
            return nullptr;
        }
        cell->total = static_cast<int32_t>(total_atom);
    }
    return cell;
}

void velmar_cell_free(VELMAR_CELL *cell) {
    if (cell == nullptr) return;
    std::free(cell->atom);
    std::free(cell);
}

VELMAR_CELL *velmar_cell_copy(const VELMAR_CELL *cell) {
    if (cell == nullptr) return nullptr;
    if (cell->atom == nullptr && cell->total > 0) {
        std::fputs("Error: VELMAR_CELL has not been properly allocated.\n", stderr);
        return nullptr;
    }
    velmar::Owned<VELMAR_CELL, velmar_cell_free> copy(velmar_cell_new(0));
    if (!copy) {
        VELMAR_ERROR_NULL(velmar_cell_new);
        return nullptr;
    }
    *copy = *cell;
    copy->atom = nullptr;
    copy->total = 0;
    copy->atom = velmar_atom_new(cell->total);
    if (copy->atom == nullptr) {
        VELMAR_ERROR_NULL(velmar_atom_new);
        return nullptr;
    }
    std::memcpy(copy->atom, cell->atom, sizeof(VELMAR_ATOM) * static_cast<size_t>(cell->total));
    copy->total = cell->total;
    return copy.release();
}

void velmar_cell_print(const VELMAR_CELL *cell) {
    if (cell == nullptr) {
        std::printf("CELL: (not allocated)\n");
        return;
    }
    std::printf("CELL: name: %s\n", cell->name);
    std::printf("CELL: vector matrix:\n");
    for (const auto &row : cell->a) {
        std::printf("CELL:            ");
        for (double v : row) std::printf(" %11.6f", v);
        std::printf("\n");
    }
    std::printf("CELL: parameters: %11.6f %11.6f %11.6f\n", cell->parameter[0], cell->parameter[1],
                cell->parameter[2]);
    std::printf("CELL: angles:     %11.6f %11.6f %11.6f\n", cell->angle[0], cell->angle[1],
                cell->angle[2]);
    std::printf("CELL: total atom: %ld\n", static_cast<long>(cell->total));
    for (int32_t i = 0; i < cell->total; ++i) {
        std::printf("CELL: [%3d]", static_cast<int>(i));
        velmar_atom_print(&cell->atom[i]);
    }
}
