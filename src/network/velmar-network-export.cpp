// The conduction network of a landscape written to CSV and marker CIF files.
#include "network/velmar-network-export.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "core/velmar-la.h"
#include "core/velmar-output.h"
#include "core/velmar.h"
#include "network/velmar-voxel-grid.h"
#include "structure/velmar-cell-geometry.h"
#include "structure/velmar-cif-writer.h"
#include "structure/velmar-symmetry.h"

namespace {

using velmar::detail::passable;
using velmar::detail::VoxelGrid;
using TextPtr = velmar::Owned<VELMAR_TEXT, velmar_text_free>;
using CellPtr = velmar::Owned<VELMAR_CELL, velmar_cell_free>;

__attribute__((format(printf, 2, 3))) void append(std::string &out, const char *format, ...) {
    char line[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    out += line;
}

VELMAR_TEXT *text_of(const std::string &s) {
    VELMAR_TEXT *text = velmar_text_new(s.c_str());
    if (text == nullptr) VELMAR_ERROR_NULL(velmar_text_new);
    return text;
}

// Flood fill from the bottleneck over passable voxels at or below the level.
std::vector<uint8_t> channel(const VoxelGrid &grid, const double *en, int64_t start, double level,
                             int64_t &count) {
    std::vector<uint8_t> in(static_cast<size_t>(grid.size), 0);
    std::vector<int64_t> stack(1, start);
    in[static_cast<size_t>(start)] = 1;
    count = 1;
    while (!stack.empty()) {
        const int64_t v = stack.back();
        stack.pop_back();
        int32_t c[3];
        grid.coords(v, c);
        for (int dir = 0; dir < 6; ++dir) {
            int32_t t[3];
            const int64_t w = grid.neighbour(v, c, dir, t);
            if (in[static_cast<size_t>(w)] != 0 || !passable(en[w]) || en[w] > level) continue;
            in[static_cast<size_t>(w)] = 1;
            ++count;
            stack.push_back(w);
        }
    }
    return in;
}

struct Marker {
    int64_t voxel;
    const char *name;
    const char *type;
};

// The lowest channel voxel of every occupied block of s x s x s voxels, for the smallest s that
// gives at most `limit` of them; minima and the bottleneck are left to their own markers.
std::vector<int64_t> thinned(const VoxelGrid &grid, const double *en,
                             const std::vector<uint8_t> &in, int64_t count, int64_t limit) {
    // A block of s^3 voxels holds at most s^3 of them: start where that alone could suffice.
    auto s = static_cast<int32_t>(std::cbrt(static_cast<double>(count) / limit));
    s = std::max(s, 1);
    int64_t blocks[3] = {};
    for (;; ++s) {
        for (int r = 0; r < 3; ++r) blocks[r] = (grid.n[r] + s - 1) / s;
        std::vector<uint8_t> seen(static_cast<size_t>(blocks[0] * blocks[1] * blocks[2]), 0);
        int64_t occupied = 0;
        for (int64_t v = 0; v < grid.size; ++v) {
            if (in[static_cast<size_t>(v)] != 1) continue;
            int32_t c[3];
            grid.coords(v, c);
            const int64_t b = ((c[0] / s) * blocks[1] + c[1] / s) * blocks[2] + c[2] / s;
            occupied += seen[static_cast<size_t>(b)] == 0 ? 1 : 0;
            seen[static_cast<size_t>(b)] = 1;
        }
        if (occupied <= limit) break;
    }
    std::vector<int64_t> best(static_cast<size_t>(blocks[0] * blocks[1] * blocks[2]), -1);
    for (int64_t v = 0; v < grid.size; ++v) {
        if (in[static_cast<size_t>(v)] != 1) continue;
        int32_t c[3];
        grid.coords(v, c);
        int64_t &b =
            best[static_cast<size_t>(((c[0] / s) * blocks[1] + c[1] / s) * blocks[2] + c[2] / s)];
        if (b < 0 || en[v] < en[b]) b = v;  // v rises, so ties keep the lower index
    }
    best.erase(std::remove(best.begin(), best.end(), int64_t{-1}), best.end());
    return best;
}

}  // namespace

VELMAR_TEXT *velmar_percolation_export_to_text(const VELMAR_PERCOLATION *percolation) {
    if (percolation == nullptr) {
        std::fputs("Error: VELMAR_PERCOLATION has not been properly initialized.\n", stderr);
        return nullptr;
    }
    std::string out = "dimension,energy,barrier,directions,voxels\r\n";
    for (int d = 0; d < 3; ++d) {
        const VELMAR_PERCOLATION_LEVEL &level = percolation->level[d];
        if (!level.found) {
            append(out, "%dD,none,none,,0\r\n", d + 1);
            continue;
        }
        char directions[256];
        velmar_percolation_directions(directions, sizeof directions, &level);
        append(out, "%dD,%.6f,%.6f,%s,%lld\r\n", d + 1, level.energy, level.barrier, directions,
               static_cast<long long>(level.voxels));
    }
    return text_of(out);
}

VELMAR_TEXT *velmar_basin_graph_export_hops_to_text(const VELMAR_BASIN_GRAPH *graph) {
    if (graph == nullptr) {
        std::fputs("Error: VELMAR_BASIN_GRAPH has not been properly initialized.\n", stderr);
        return nullptr;
    }
    std::string out =
        "from,to,offset_a,offset_b,offset_c,saddle,barrier_from,barrier_to,length,x_from,y_from,"
        "z_from,x_to,y_to,z_to\r\n";
    for (int64_t h = 0; h < graph->total_hop; ++h) {
        const VELMAR_BASIN_HOP &hop = graph->hop[h];
        const VELMAR_BASIN_SITE &from = graph->site[hop.from];
        const VELMAR_BASIN_SITE &to = graph->site[hop.to];
        double f[3];
        double t[3];
        for (int r = 0; r < 3; ++r) {
            f[r] = static_cast<double>(from.x_i[r]) / graph->n[r];
            t[r] = static_cast<double>(to.x_i[r]) / graph->n[r] + hop.offset[r];
        }
        append(out, "%d,%d,%d,%d,%d,%.6f,%.6f,%.6f,%.4f,%.4f,%.4f,%.4f,%.4f,%.4f,%.4f\r\n",
               hop.from + 1, hop.to + 1, hop.offset[0], hop.offset[1], hop.offset[2], hop.saddle,
               hop.saddle - from.en, hop.saddle - to.en, hop.length, f[0], f[1], f[2], t[0], t[1],
               t[2]);
    }
    return text_of(out);
}

VELMAR_CELL *velmar_percolation_export_channel_to_cell(const VELMAR_CUBE *cube,
                                                       const VELMAR_PERCOLATION_LEVEL *level,
                                                       const VELMAR_BASIN_GRAPH *graph,
                                                       int64_t *voxels) {
    if (cube == nullptr || cube->en == nullptr || level == nullptr || !level->found ||
        graph == nullptr) {
        std::fputs(
            "Error: VELMAR_CUBE or VELMAR_PERCOLATION_LEVEL has not been properly "
            "initialized.\n",
            stderr);
        return nullptr;
    }
    const VoxelGrid grid(*cube);
    const double *en = velmar::cube_values(cube);
    std::vector<Marker> markers;
    try {
        int64_t count = 0;
        std::vector<uint8_t> in = channel(grid, en, level->bottleneck, level->energy, count);
        if (voxels != nullptr) *voxels = count;
        std::vector<int32_t> minima;
        for (int32_t s = 0; s < graph->total_site; ++s) {
            if (in[static_cast<size_t>(graph->site[s].voxel)] != 0) minima.push_back(s);
        }
        std::stable_sort(minima.begin(), minima.end(), [graph](int32_t p, int32_t q) {
            return graph->site[p].en < graph->site[q].en;
        });
        if (static_cast<int64_t>(minima.size()) > VELMAR_NETWORK_MARKER_MINIMA)
            minima.resize(static_cast<size_t>(VELMAR_NETWORK_MARKER_MINIMA));
        for (const int32_t s : minima) {
            in[static_cast<size_t>(graph->site[s].voxel)] = 2;
            markers.push_back({graph->site[s].voxel, "MIN", "Li"});
        }
        in[static_cast<size_t>(level->bottleneck)] = 2;
        markers.push_back({level->bottleneck, "SAD", "Na"});
        for (const int64_t v : thinned(grid, en, in, count, VELMAR_NETWORK_MARKER_VOXELS))
            markers.push_back({v, "PAT", "H"});
    } catch (const std::bad_alloc &) {
        std::fputs("Error: unable to allocate the channel of the marker cell.\n", stderr);
        return nullptr;
    }
    CellPtr cell(velmar_cell_new(static_cast<long>(markers.size())));
    if (!cell) {
        VELMAR_ERROR_NULL(velmar_cell_new);
        return nullptr;
    }
    for (size_t m = 0; m < markers.size(); ++m) {
        VELMAR_ATOM &atom = cell->atom[m];
        velmar::copy_text(atom.name, sizeof atom.name, markers[m].name);
        velmar::copy_text(atom.type, sizeof atom.type, markers[m].type);
        atom.os = 1;
        atom.occ = 1.0;
        int32_t c[3];
        grid.coords(markers[m].voxel, c);
        velmar_vector3_double_sum3(atom.x, c[0], cube->a_i[0], c[1], cube->a_i[1], c[2],
                                   cube->a_i[2]);
    }
    velmar_matrix33_double_copy(cell->a, cube->a);
    velmar_cell_update_fractional(cell.get());
    return cell.release();
}

int velmar_network_analyze_export_to_file(const VELMAR_CUBE *cube, const char *name) {
    if (cube == nullptr || cube->en == nullptr || name == nullptr) {
        std::fputs("Error: VELMAR_CUBE has not been properly initialized.\n", stderr);
        return 1;
    }
    const std::string base = name;
    const std::string csv = base + ".gh.csv";
    const std::string hops_csv = base + ".gh.hops.csv";
    if (!velmar::output_can_be_created(csv)) {
        std::fprintf(stderr, "Error: unable to create %s.\n", csv.c_str());
        return 1;
    }
    velmar::Owned<VELMAR_PERCOLATION, velmar_percolation_free> percolation(
        velmar_percolation_calculate(cube));
    if (!percolation) {
        VELMAR_ERROR_NULL(velmar_percolation_calculate);
        return 1;
    }
    velmar_percolation_print(percolation.get());
    velmar::Owned<VELMAR_BASIN_GRAPH, velmar_basin_graph_free> graph(
        velmar_basin_graph_new_from_cube(cube, false));
    if (!graph) {
        VELMAR_ERROR_NULL(velmar_basin_graph_new_from_cube);
        return 1;
    }
    std::printf("GH: %d sites (basins of the minima) and %lld hops between them.\n",
                graph->total_site, static_cast<long long>(graph->total_hop));

    // Every text first, then the files.
    struct Output {
        std::string file;
        TextPtr text;
        std::string what;
    };
    std::vector<Output> outputs;
    TextPtr table(velmar_percolation_export_to_text(percolation.get()));
    if (!table) {
        VELMAR_ERROR_NULL(velmar_percolation_export_to_text);
        return 1;
    }
    outputs.push_back({csv, std::move(table), "percolation thresholds"});
    for (int d = 0; d < 3; ++d) {
        const VELMAR_PERCOLATION_LEVEL &level = percolation->level[d];
        char suffix[16];
        std::snprintf(suffix, sizeof suffix, ".gh.%dd.cif", d + 1);
        const std::string file = base + suffix;
        if (!level.found) {
            std::printf("Message: no %dD channel below the cap; %s not written.\n", d + 1,
                        file.c_str());
            continue;
        }
        CellPtr cell(velmar_percolation_export_channel_to_cell(cube, &level, graph.get(), nullptr));
        if (!cell) {
            VELMAR_ERROR_NULL(velmar_percolation_export_channel_to_cell);
            return 1;
        }
        TextPtr text(velmar::detail::cell_export_markers_to_text(
            cell.get(), velmar::cube_values_at_atoms(*cube, *cell),
            velmar::detail::cif_block_name(file.c_str()).c_str()));
        if (!text) {
            VELMAR_ERROR_NULL(velmar_cell_export_cif_to_text);
            return 1;
        }
        char what[64];
        std::snprintf(what, sizeof what, "%dD channel markers", d + 1);
        outputs.push_back({file, std::move(text), what});
    }
    TextPtr hops(velmar_basin_graph_export_hops_to_text(graph.get()));
    if (!hops) {
        VELMAR_ERROR_NULL(velmar_basin_graph_export_hops_to_text);
        return 1;
    }
    outputs.push_back({hops_csv, std::move(hops), "sites and hops"});
    for (const Output &o : outputs) {
        if (velmar_text_export_to_file(o.text.get(), o.file.c_str()) != 0) {
            VELMAR_ERROR_NONZERO(velmar_text_export_to_file);
            return 1;
        }
        std::printf("Message: %s written to %s.\n", o.what.c_str(), o.file.c_str());
    }
    return 0;
}
