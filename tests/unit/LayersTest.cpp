#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>

namespace {

namespace fs = std::filesystem;

const fs::path kRoot = QUAYLON_SOURCE_DIR;

struct Layer {
    bool bAnything = false;
    std::set<std::string> allowed;
};

// The layout table of README.md: folder, what it holds, the folders it may include.
std::map<std::string, Layer> ReadLayoutTable() {
    std::ifstream readme(kRoot / "README.md");
    const std::regex row(R"(^\| `([a-z/]+)` \|[^|]*\| (.*) \|$)");
    const std::regex folder("`([a-z/]+)`");
    std::map<std::string, Layer> table;
    std::string line;
    bool bInLayout = false;
    while (std::getline(readme, line)) {
        if (line.rfind("## ", 0) == 0) {
            bInLayout = line == "## Layout";
        }
        std::smatch m;
        if (!bInLayout || !std::regex_match(line, m, row)) {
            continue;
        }
        Layer& layer = table[m[1]];
        const std::string uses = m[2];
        layer.bAnything = uses == "anything";
        for (std::sregex_iterator it(uses.begin(), uses.end(), folder), end; it != end; ++it) {
            layer.allowed.insert((*it)[1]);
        }
    }
    return table;
}

// The deepest folder of the table that holds the path, or "" if none does.
std::string FolderOf(const std::map<std::string, Layer>& table, const std::string& path) {
    std::string found;
    for (const auto& [folder, layer] : table) {
        if (path.rfind(folder, 0) == 0 && folder.size() > found.size()) {
            found = folder;
        }
    }
    return found;
}

}  // namespace

TEST(Layers, EveryIncludeFollowsTheLayoutTable) {
    const auto table = ReadLayoutTable();
    ASSERT_GE(table.size(), 8u) << "the layout table of README.md";
    const std::regex include(R"(^\s*#\s*include\s*"([^"]+)\")");
    int nFiles = 0;
    for (auto it = fs::recursive_directory_iterator(kRoot);
         it != fs::recursive_directory_iterator(); ++it) {
        const std::string name = it->path().filename();
        if (it->is_directory() && (name.rfind("build", 0) == 0 || name.front() == '.')) {
            it.disable_recursion_pending();
            continue;
        }
        const std::string ext = it->path().extension();
        if (!it->is_regular_file() || (ext != ".cpp" && ext != ".h")) {
            continue;
        }
        const std::string file = fs::relative(it->path(), kRoot);
        const std::string own = FolderOf(table, file);
        ASSERT_FALSE(own.empty()) << file << " lies in no folder of the layout table";
        const Layer& layer = table.at(own);
        ++nFiles;
        std::ifstream in(it->path());
        std::string line;
        for (int number = 1; std::getline(in, line); ++number) {
            std::smatch m;
            if (layer.bAnything || !std::regex_search(line, m, include)) {
                continue;
            }
            const std::string target = FolderOf(table, m[1]);
            EXPECT_TRUE(target == own || layer.allowed.count(target) != 0)
                << file << ":" << number << ": " << own << " may not include " << m[1];
        }
    }
    EXPECT_GT(nFiles, 50);
}
