// The folders of kb/ lie in layers, and an include never goes from a low one to a higher one. Sources may
// look up, where the engine is needed; headers may not.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// Folders with the same rank may use each other's headers.
const std::map<std::string, int> kRanks = {
    {"platform", 0}, {"common", 0},    {"values", 1}, {"language", 2},
    {"matching", 3}, {"functions", 4}, {"fuzzy", 4},  {"engine", 5},
};

// The path that a line includes from this project, or nothing.
std::optional<fs::path> IncludedPath(const std::string& line) {
  static const std::regex pattern(R"re(^\s*#\s*include\s*[<"]([^>"]+)[>"])re");
  std::smatch match;
  if (!std::regex_search(line, match, pattern)) return std::nullopt;
  const fs::path path(match[1].str());
  const std::string first = path.begin()->string();
  if (first != "kb" && first != "apps") return std::nullopt;
  return path;
}

// Rank of "kb/<folder>/...": nothing for a folder that has none.
std::optional<int> RankOf(const fs::path& path) {
  auto part = path.begin();
  if (part == path.end() || *part != "kb" || ++part == path.end()) return std::nullopt;
  const auto found = kRanks.find(part->string());
  if (found == kRanks.end()) return std::nullopt;
  return found->second;
}

std::vector<fs::path> FilesUnderKB(const std::string& extension) {
  const fs::path root(KB_SOURCE_DIR);
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(root / "kb")) {
    if (entry.is_regular_file() && entry.path().extension() == extension) {
      files.push_back(fs::relative(entry.path(), root));
    }
  }
  return files;
}

void CheckFile(const fs::path& file, bool mayLookUp) {
  const auto rank = RankOf(file);
  ASSERT_TRUE(rank.has_value()) << file << " lies in a folder without a rank";
  std::ifstream in(fs::path(KB_SOURCE_DIR) / file);
  ASSERT_TRUE(in.is_open()) << file;
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    const auto included = IncludedPath(line);
    if (!included) continue;
    const auto other = RankOf(*included);
    ASSERT_TRUE(other.has_value()) << file.string() << ":" << number << " includes " << *included
                                   << ", which lies in no folder of the library";
    if (!mayLookUp) {
      EXPECT_LE(*other, *rank) << file.string() << ":" << number << " includes the higher " << *included;
    }
  }
}

TEST(Layers, HeadersIncludeNoHigherFolder) {
  const auto headers = FilesUnderKB(".h");
  ASSERT_FALSE(headers.empty());
  for (const auto& header : headers) CheckFile(header, false);
}

TEST(Layers, SourcesIncludeOnlyFoldersOfTheLibrary) {
  for (const auto& source : FilesUnderKB(".cpp")) CheckFile(source, true);
}

// A source that no list of kb/CMakeLists.txt names would be left out without a word.
TEST(Layers, EverySourceIsListedInTheBuild) {
  std::ifstream in(fs::path(KB_SOURCE_DIR) / "kb" / "CMakeLists.txt");
  ASSERT_TRUE(in.is_open());
  std::map<std::string, int> listed;
  std::string folder;
  std::string line;
  const std::regex call(R"(^kb_sources\((\w+))");
  const std::regex file(R"(^\s+(\w+\.cpp)\s*\)?\s*$)");
  for (std::smatch match; std::getline(in, line);) {
    if (std::regex_search(line, match, call)) {
      folder = match[1].str();
    } else if (std::regex_search(line, match, file)) {
      ++listed["kb/" + folder + "/" + match[1].str()];
    }
  }
  for (const auto& source : FilesUnderKB(".cpp")) {
    EXPECT_EQ(listed[source.generic_string()], 1) << source << " in the lists of kb/CMakeLists.txt";
  }
}

}  // namespace
