// The source tree's layering: every source lies in a layer folder listed in src/README.md, and
// includes only headers of its own folder or of a folder of lower rank, by folder-qualified path.

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kSrc = fs::path(VELMAR_SOURCE_DIR) / "src";

std::string read_all(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// folder -> rank, from the table rows "| 3 | `landscape` | ...".
std::map<std::string, int> layer_ranks(const std::string &readme) {
    std::map<std::string, int> ranks;
    const std::regex row(R"(^\| (\d+) \| `([a-z]+)` \|)");
    std::istringstream lines(readme);
    for (std::string line; std::getline(lines, line);) {
        std::smatch m;
        if (std::regex_search(line, m, row)) ranks[m[2].str()] = std::stoi(m[1].str());
    }
    return ranks;
}

// The quoted includes of a source text.
std::vector<std::string> quoted_includes(const std::string &text) {
    std::vector<std::string> out;
    const std::regex inc(R"re(^\s*#\s*include\s*"([^"]+)")re");
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::smatch m;
        if (std::regex_search(line, m, inc)) out.push_back(m[1].str());
    }
    return out;
}

bool is_source(const fs::path &p) {
    const auto ext = p.extension().string();
    return ext == ".cpp" || ext == ".h";
}

// The violations of a tree against a table, one line each; empty when the tree keeps the order.
std::vector<std::string> violations(const fs::path &src, const std::map<std::string, int> &ranks) {
    std::vector<std::string> bad;
    for (const auto &entry : fs::directory_iterator(src)) {
        const auto name = entry.path().filename().string();
        if (entry.is_regular_file() && is_source(entry.path()))
            bad.push_back(name + ": source outside a layer folder");
        if (entry.is_directory() && ranks.find(name) == ranks.end())
            bad.push_back(name + "/: folder not in the layer table");
    }
    for (const auto &entry : fs::recursive_directory_iterator(src)) {
        if (!entry.is_regular_file() || !is_source(entry.path())) continue;
        const auto rel = fs::relative(entry.path(), src);
        const auto own = ranks.find(rel.begin()->string());
        if (own == ranks.end()) continue;  // reported above
        for (const auto &inc : quoted_includes(read_all(entry.path()))) {
            const auto slash = inc.find('/');
            if (slash == std::string::npos) {
                bad.push_back(rel.string() + ": \"" + inc + "\" is not folder-qualified");
                continue;
            }
            const auto folder = inc.substr(0, slash);
            const auto theirs = ranks.find(folder);
            if (theirs == ranks.end() || !fs::exists(src / inc)) {
                bad.push_back(rel.string() + ": \"" + inc + "\" is not a header of a layer");
            } else if (folder != own->first && theirs->second >= own->second) {
                bad.push_back(rel.string() + ": \"" + inc + "\" is not below " + own->first);
            }
        }
    }
    return bad;
}

TEST(Layering, TableListsTheLayersInOrder) {
    const auto ranks = layer_ranks(read_all(kSrc / "README.md"));
    ASSERT_EQ(ranks.size(), 10U);
    EXPECT_EQ(ranks.at("core"), 0);
    EXPECT_LT(ranks.at("structure"), ranks.at("model"));
    EXPECT_LT(ranks.at("analysis"), ranks.at("transport"));
    EXPECT_EQ(ranks.at("network"), ranks.at("transport"));
    EXPECT_LT(ranks.at("transport"), ranks.at("cli"));
}

TEST(Layering, EverySourceIncludesOnlyItsOwnOrLowerLayers) {
    const auto ranks = layer_ranks(read_all(kSrc / "README.md"));
    std::string report;
    for (const auto &line : violations(kSrc, ranks)) report += line + "\n";
    EXPECT_TRUE(report.empty()) << report;
}

// The check itself must catch each kind of fault, on a small tree of its own.
TEST(Layering, CatchesUpwardSidewaysUnqualifiedAndStrayIncludes) {
    const fs::path root =
        fs::temp_directory_path() / ("velmar-layering-" + std::to_string(::getpid()));
    fs::remove_all(root);
    const std::map<std::string, int> ranks = {
        {"core", 0}, {"model", 2}, {"relax", 5}, {"network", 5}};
    for (const char *d : {"core", "model", "relax", "network"}) fs::create_directories(root / d);
    const auto write = [&](const fs::path &rel, const std::string &text) {
        std::ofstream(root / rel, std::ios::binary) << text;
    };
    write("core/a.h", "#include \"model/b.h\"\n");                     // upward
    write("model/b.h", "#include \"core/a.h\"\n#include <vector>\n");  // fine
    write("relax/c.cpp", "#include \"network/d.h\"\n");                // sideways
    write("network/d.h", "#include \"b.h\"\n");                        // unqualified
    write("network/e.cpp", "#include \"model/missing.h\"\n");          // no such header
    write("stray.cpp", "");
    fs::create_directories(root / "extra");

    const auto bad = violations(root, ranks);
    fs::remove_all(root);
    std::string all;
    for (const auto &line : bad) all += line + "\n";
    EXPECT_EQ(bad.size(), 6U) << all;
    for (const char *expected :
         {"core/a.h: \"model/b.h\" is not below core",
          "relax/c.cpp: \"network/d.h\" is not below relax",
          "network/d.h: \"b.h\" is not folder-qualified",
          "network/e.cpp: \"model/missing.h\" is not a header of a layer",
          "stray.cpp: source outside a layer folder", "extra/: folder not in the layer table"}) {
        EXPECT_NE(all.find(expected), std::string::npos) << expected << "\n" << all;
    }
}

}  // namespace
