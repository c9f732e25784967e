// Cube files in the Gaussian layout: lengths in Bohr (1 A = 1.889725989 Bohr), CR LF line ends,
// one value per line with six decimals, an optional header carrying the structure's atoms (atomic
// number and charge parameter) and, for non-periodic files, a repeated last layer along each axis.
#ifndef VELMAR_CUBE_FILE_H
#define VELMAR_CUBE_FILE_H

#include "landscape/velmar-cube.h"
#include "model/velmar-property.h"
#include "structure/velmar-cell.h"

// Writes the cube; with cell and ppt the header holds the structure and the conducting species.
// periodic: n[r] voxels per axis, else n[r] + 1 with layer 0 repeated. 0 on success.
int velmar_cube_export_to_file(const VELMAR_CUBE *cube, const VELMAR_CELL *cell,
                               const VELMAR_PROPERTY *ppt, const char *filename, bool periodic);
// Reads a cube (periodic: as many voxels as the file holds; else the repeated last layer is
// dropped). When cell is not NULL and the header lists atoms, *cell receives them (types from the
// unitary database), else NULL. The caller owns what it receives. 0 on success.
int velmar_cube_import_from_file(VELMAR_CUBE **cube_ptr, VELMAR_CELL **cell, const char *filename,
                                 bool periodic, const char *dir_unitary);

#endif  // VELMAR_CUBE_FILE_H
