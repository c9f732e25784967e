// The conduction network as files: the thresholds table, the hops table, and the marker cells of
// the channels (the flood-filled region at the threshold must be the sweep's region, its markers
// must lie in it, and large regions must be thinned to the limit).
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

#include "core/velmar.h"
#include "network/velmar-basin.h"
#include "network/velmar-network-export.h"
#include "network/velmar-percolation.h"
#include "support/support.h"

namespace {

using velmar_test::capture;
using Percolation = velmar::Owned<VELMAR_PERCOLATION, velmar_percolation_free>;
using Graph = velmar::Owned<VELMAR_BASIN_GRAPH, velmar_basin_graph_free>;
using Text = velmar::Owned<VELMAR_TEXT, velmar_text_free>;
using Cell = velmar::Owned<VELMAR_CELL, velmar_cell_free>;
constexpr double kTau = 2.0 * M_PI;
const double kLengths[3] = {4.0, 5.0, 6.0};

double three_cosines(double x, double y, double z) {
    return std::cos(kTau * x) + 0.8 * std::cos(kTau * y) + 0.6 * std::cos(kTau * z);
}

struct Network {
    Percolation p;
    Graph g;
};

Network network_of(const VELMAR_CUBE *cube) {
    Network n;
    capture([&] {
        n.p.reset(velmar_percolation_calculate(cube));
        n.g.reset(velmar_basin_graph_new_from_cube(cube, false));
    });
    return n;
}

TEST(NetworkExport, ThresholdAndHopTablesOfOneWell) {
    const int32_t n[3] = {16, 20, 24};
    auto cube = velmar_test::fractional_cube(n, kLengths, three_cosines);
    const Network net = network_of(cube.get());
    ASSERT_NE(net.p, nullptr);
    Text table(velmar_percolation_export_to_text(net.p.get()));
    EXPECT_EQ(std::string(table->content),
              "dimension,energy,barrier,directions,voxels\r\n"
              "1D,-1.200000,1.200000,[0 0 1],960\r\n"
              "2D,-0.800000,1.600000,[0 1 0] [0 0 1],1747\r\n"
              "3D,-0.400000,2.000000,[1 0 0] [0 1 0] [0 0 1],2730\r\n");
    Text hops(velmar_basin_graph_export_hops_to_text(net.g.get()));
    const std::string text = hops->content;
    EXPECT_EQ(text.substr(0, text.find("\r\n")),
              "from,to,offset_a,offset_b,offset_c,saddle,barrier_from,barrier_to,length,x_from,"
              "y_from,z_from,x_to,y_to,z_to");
    EXPECT_NE(text.find("\r\n1,1,0,0,1,-1.200000,1.200000,1.200000,6.0000,0.5000,0.5000,0.5000,"
                        "0.5000,0.5000,1.5000\r\n"),
              std::string::npos)
        << text;

    // A landscape that never percolates in 2D or 3D says so.
    auto walled = velmar_test::fractional_cube(n, kLengths, [](double x, double y, double z) {
        const double across = std::cos(kTau * x) + std::cos(kTau * y);
        return across > -0.5 ? 999.9 : across + 0.3 * std::cos(kTau * z);
    });
    const Network channels = network_of(walled.get());
    Text walled_table(velmar_percolation_export_to_text(channels.p.get()));
    const std::string rows = walled_table->content;
    EXPECT_NE(rows.find("\r\n2D,none,none,,0\r\n3D,none,none,,0\r\n"), std::string::npos) << rows;
}

// Markers of each channel: one bottleneck, the minima and thinned voxels of the region, all at or
// below the threshold; the region is the one the sweep counted.
TEST(NetworkExport, ChannelMarkersLieInTheSweepsRegionAndAreThinned) {
    const int32_t n[3] = {48, 60, 72};
    auto cube = velmar_test::fractional_cube(n, kLengths, three_cosines);
    const Network net = network_of(cube.get());
    ASSERT_NE(net.p, nullptr);
    for (int d = 0; d < 3; ++d) {
        const VELMAR_PERCOLATION_LEVEL &level = net.p->level[d];
        int64_t voxels = 0;
        Cell cell(
            velmar_percolation_export_channel_to_cell(cube.get(), &level, net.g.get(), &voxels));
        ASSERT_NE(cell, nullptr);
        EXPECT_EQ(voxels, level.voxels) << d;
        std::map<std::string, int> count;
        for (int32_t a = 0; a < cell->total; ++a) {
            const VELMAR_ATOM &atom = cell->atom[a];
            ++count[std::string(atom.name) + "/" + atom.type];
            int64_t x[3];
            for (int r = 0; r < 3; ++r) x[r] = std::llround(atom.x_f[r] * n[r]) % n[r];
            EXPECT_LE(cube->en[x[0]][x[1]][x[2]], level.energy) << d << " " << atom.name;
        }
        EXPECT_EQ(count["SAD/Na"], 1);
        EXPECT_EQ(count["MIN/Li"], 1);
        EXPECT_GT(count["PAT/H"], 100);
        EXPECT_LE(count["PAT/H"], VELMAR_NETWORK_MARKER_VOXELS);
        // Thinning only where the region is larger than the limit.
        if (level.voxels <= VELMAR_NETWORK_MARKER_VOXELS) {
            EXPECT_EQ(count["PAT/H"], level.voxels - 2) << d;
        }
    }
    EXPECT_GT(net.p->level[2].voxels, 10 * VELMAR_NETWORK_MARKER_VOXELS);
    VELMAR_PERCOLATION_LEVEL none{};
    const auto refused = capture([&] {
        EXPECT_EQ(
            velmar_percolation_export_channel_to_cell(cube.get(), &none, net.g.get(), nullptr),
            nullptr);
    });
    EXPECT_NE(refused.err.find("Error: "), std::string::npos);
}

}  // namespace
