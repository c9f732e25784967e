// Per-voxel cell offsets (integer lattice translations) for the grid algorithms of this layer. The
// packed store keeps three offsets of -16..15 in 16 bits, so that a union-find or a descent over a
// 192^3 landscape costs 2 bytes a voxel for them; a value outside that range is refused (set()
// gives false) and the caller runs again with the wide store, 12 bytes a voxel, which takes any
// 32-bit offset. Real landscapes stay far inside the packed range.
#ifndef VELMAR_OFFSETS_H
#define VELMAR_OFFSETS_H

#include <cstdint>
#include <vector>

namespace velmar::detail {

class PackedOffsets {
  public:
    explicit PackedOffsets(int64_t size) : bits_(static_cast<size_t>(size), 0) {}
    // False, with nothing stored, when an offset lies outside -16..15.
    bool set(int64_t v, const int32_t o[3]) {
        uint16_t packed = 0;
        for (int r = 0; r < 3; ++r) {
            if (o[r] < -16 || o[r] > 15) return false;
            packed = static_cast<uint16_t>(packed | ((o[r] + 16) << (5 * r)));
        }
        bits_[static_cast<size_t>(v)] = packed;
        return true;
    }
    void get(int64_t v, int32_t o[3]) const {
        const uint16_t packed = bits_[static_cast<size_t>(v)];
        for (int r = 0; r < 3; ++r) o[r] = static_cast<int32_t>((packed >> (5 * r)) & 31) - 16;
    }

  private:
    std::vector<uint16_t> bits_;
};

class WideOffsets {
  public:
    explicit WideOffsets(int64_t size) : xyz_(3 * static_cast<size_t>(size), 0) {}
    bool set(int64_t v, const int32_t o[3]) {
        for (int r = 0; r < 3; ++r) xyz_[3 * static_cast<size_t>(v) + r] = o[r];
        return true;
    }
    void get(int64_t v, int32_t o[3]) const {
        for (int r = 0; r < 3; ++r) o[r] = xyz_[3 * static_cast<size_t>(v) + r];
    }

  private:
    std::vector<int32_t> xyz_;
};

}  // namespace velmar::detail

#endif  // VELMAR_OFFSETS_H
