// The progress line: share done, time left once a second has passed, and nothing at all on a
// standard error that is not a terminal (as under ctest), so logs stay clean.
#include <gtest/gtest.h>

#include "core/velmar-progress.h"
#include "support/support.h"

namespace {

TEST(Progress, LineGivesTheShareAndTheTimeLeft) {
    const velmar::Progress p("landscape", 200);
    EXPECT_EQ(p.line(0, 0.0, ""), "landscape:   0%");
    // Half done after 30 s: 30 s left. A quarter after 50 min: 2 h 30 min left.
    EXPECT_EQ(p.line(100, 30.0, ""), "landscape:  50%, about 30 s left");
    EXPECT_EQ(p.line(50, 3000.0, "x"), "landscape:  25%, about 2 h 30 min left, x");
    EXPECT_EQ(p.line(190, 1425.0, ""), "landscape:  95%, about 1 min 15 s left");
    // No estimate in the first second, nor once done; counts beyond the total are clamped.
    EXPECT_EQ(p.line(10, 0.5, ""), "landscape:   5%");
    EXPECT_EQ(p.line(250, 10.0, ""), "landscape: 100%");
    const velmar::Progress unknown("KMC", 0);
    EXPECT_EQ(unknown.line(4096, 3.0, "4096 hops"), "KMC: 4096 done, 4096 hops");
}

TEST(Progress, StaysSilentWhenStandardErrorIsNotATerminal) {
    const auto captured = velmar_test::capture([] {
        velmar::Progress p("FFT", 13);
        for (int k = 0; k <= 13; ++k) p.update(k);
    });
    EXPECT_EQ(captured.err, "");
}

}  // namespace
