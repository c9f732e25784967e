// Output files of the commands: an output that cannot be created is reported before any work, a
// file is announced once complete, and a command writing several files leaves none when
// one cannot be written.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/support.h"

namespace {

namespace fs = std::filesystem;
using velmar_test::run_velmar;

TEST(CliOutputs, UnwritableOutputsAreRefusedBeforeTheWork) {
    velmar_test::ScratchDir dir;
    fs::copy_file(velmar_test::corpus("Li3N_P6mmm_OBELiX.cif"), dir / "Li3N.cif");
    // A path below a regular file cannot be created, whoever runs the tests.
    velmar_test::write_file(dir / "file.txt", "not a directory");
    auto r = run_velmar(
        {"--gen-cube", "Li3N.cif", "Li", "1", "0", "0.3", "t", "t", "f", "file.txt/out.cube"},
        dir.path());
    EXPECT_EQ(r.out, "");  // nothing read or computed
    EXPECT_EQ(r.err, "Error: unable to create file.txt/out.cube: Not a directory.\n");

    // The landscape used below; the file is announced once it is complete.
    r = run_velmar({"--gen-cube", "Li3N.cif", "Li", "1", "0", "0.3"}, dir.path());
    EXPECT_TRUE(
        r.out.ends_with("Message: cube has been generated successfully.\n"
                        "Message: cube file is generated with header.\n"
                        "Message: cube file saved to Li3N.cif.cube.\n"))
        << r.out;
    ASSERT_TRUE(fs::exists(dir / "Li3N.cif.cube"));

    struct Case {
        std::vector<std::string> args;
        std::string error;
    };
    const Case cases[] = {
        {{"--fft", "Li3N.cif.cube", "0", "t", "file.txt/x"},
         "Error: unable to create file.txt/x.fft.cif: Not a directory.\n"},
        {{"--fft-cubes", "Li3N.cif.cube", "t", "file.txt/x"},
         "Error: unable to create file.txt/x.fft.f0.cube: Not a directory.\n"},
        {{"--fp-map", "Li3N.cif.cube", "0", "t", "file.txt/x.cif"},
         "Error: unable to create file.txt/x.cif: Not a directory.\n"},
    };
    for (const Case &c : cases) {
        r = run_velmar(c.args, dir.path());
        EXPECT_EQ(r.out, "") << c.args[0];  // the cube is not even read
        EXPECT_EQ(r.err, c.error) << c.args[0];
    }
    // An output name taken by a directory cannot be replaced: --fft then writes neither file.
    fs::create_directory(dir / "y.fft.txt");
    r = run_velmar({"--fft", "Li3N.cif.cube", "0", "t", "y"}, dir.path());
    EXPECT_EQ(r.err, "Error: unable to create y.fft.txt: Is a directory.\n");
    EXPECT_FALSE(fs::exists(dir / "y.fft.cif"));
    r = run_velmar({"--fft", "Li3N.cif.cube", "0", "t", "z"}, dir.path());
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(fs::exists(dir / "z.fft.cif") && fs::exists(dir / "z.fft.txt"));

    // Molecular dynamics checks its logs and final structure before the run.
    fs::create_directory(dir / "Li3N.cif.md.trj");
    r = run_velmar({"--md", "Li3N.cif", "Li", "1", "-1", "300", "0.5", "0.1"}, dir.path());
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err,
              "Error: unable to create Li3N.cif.md.trj: Is a directory.\n"
              "Error: velmar_md_conduction_from_file() returns negative value.\n");
    EXPECT_FALSE(fs::exists(dir / "Li3N.cif.md.txt"));
    // No temporary is left anywhere.
    for (const auto &entry : fs::directory_iterator(dir.path())) {
        EXPECT_EQ(entry.path().string().find(".tmp."), std::string::npos) << entry.path();
    }
}

}  // namespace
