// Integer translation lattices in Hermite normal form.
#include "network/velmar-lattice.h"

#include <cstdio>
#include <utility>

namespace velmar::detail {

namespace {

// g = gcd(a, b) >= 0 with x a + y b = g.
int64_t extended_gcd(int64_t a, int64_t b, int64_t &x, int64_t &y) {
    int64_t x0 = 1;
    int64_t y0 = 0;
    int64_t x1 = 0;
    int64_t y1 = 1;
    while (b != 0) {
        const int64_t q = a / b;
        a = std::exchange(b, a - q * b);
        x0 = std::exchange(x1, x0 - q * x1);
        y0 = std::exchange(y1, y0 - q * y1);
    }
    if (a < 0) {
        a = -a;
        x0 = -x0;
        y0 = -y0;
    }
    x = x0;
    y = y0;
    return a;
}

int pivot_of(const std::array<int64_t, 3> &r) {
    for (int c = 0; c < 3; ++c) {
        if (r[c] != 0) return c;
    }
    return 3;
}

int64_t floor_div(int64_t a, int64_t b) {
    int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}

}  // namespace

bool TranslationLattice::add(const int64_t t[3]) {
    std::array<int64_t, 3> v = {t[0], t[1], t[2]};
    bool grew = false;
    // Column by column: a row whose pivot is this column absorbs v's entry there by an extended
    // gcd step (unimodular, so the lattice is unchanged); a column without such a row takes v as
    // a new row. Either way v keeps zeros before the next column.
    for (int col = 0; col < 3; ++col) {
        if (v[col] == 0) continue;
        int at = 0;
        while (at < rank && pivot_of(row[at]) < col) ++at;
        if (at == rank || pivot_of(row[at]) != col) {
            for (int r = rank; r > at; --r) row[r] = row[r - 1];
            row[at] = v;
            ++rank;
            grew = true;
            break;
        }
        std::array<int64_t, 3> &p = row[at];
        int64_t x = 0;
        int64_t y = 0;
        const int64_t g = extended_gcd(p[col], v[col], x, y);
        const int64_t fp = p[col] / g;
        const int64_t fv = v[col] / g;
        std::array<int64_t, 3> combined{};
        for (int c = 0; c < 3; ++c) {
            combined[c] = x * p[c] + y * v[c];
            v[c] = fp * v[c] - fv * p[c];
        }
        p = combined;
    }
    // Normal form: positive pivots, entries above each pivot in [0, pivot).
    for (int r = 0; r < rank; ++r) {
        const int c = pivot_of(row[r]);
        if (row[r][c] < 0) {
            for (int64_t &e : row[r]) e = -e;
        }
    }
    for (int r = 0; r < rank; ++r) {
        const int c = pivot_of(row[r]);
        for (int above = 0; above < r; ++above) {
            const int64_t q = floor_div(row[above][c], row[r][c]);
            if (q == 0) continue;
            for (int k = 0; k < 3; ++k) row[above][k] -= q * row[r][k];
        }
    }
    return grew;
}

void TranslationLattice::merge(const TranslationLattice &other) {
    for (int r = 0; r < other.rank; ++r) add(other.row[r].data());
}

std::string TranslationLattice::text() const {
    std::string out;
    for (int r = 0; r < rank; ++r) {
        char group[80];
        std::snprintf(group, sizeof group, "%s[%lld %lld %lld]", r == 0 ? "" : " ",
                      static_cast<long long>(row[r][0]), static_cast<long long>(row[r][1]),
                      static_cast<long long>(row[r][2]));
        out += group;
    }
    return out;
}

}  // namespace velmar::detail
