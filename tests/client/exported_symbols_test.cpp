// The shared library exports its public API and nothing else: callers link against these exact
// names, and internals must stay free to change. The expected list is exported_symbols.txt, one
// demangled symbol per line, sorted.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::set<std::string> exportedSymbols(const std::string& library) {
    std::set<std::string> symbols;
    const std::string command = "nm -D --defined-only -C --format=posix '" + library + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return symbols;
    char line[8192];
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        // posix format: "<name> <type letter> <value> [<size>]"; demangled names contain blanks,
        // so the fields are taken off the end.
        std::istringstream fields(line);
        std::vector<std::string> words;
        for (std::string word; fields >> word;) words.push_back(word);
        auto isType = [&](size_t fromEnd) {
            return words.size() > fromEnd && words[words.size() - fromEnd - 1].size() == 1 &&
                   isalpha(static_cast<unsigned char>(words[words.size() - fromEnd - 1][0]));
        };
        const size_t trailing = isType(2) ? 3 : isType(1) ? 2 : 0;
        if (trailing == 0) continue;
        // Demangled names separate their parts by single blanks, so joining restores them.
        std::string name;
        for (size_t i = 0; i + trailing < words.size(); ++i) name += (i ? " " : "") + words[i];
        symbols.insert(name);
    }
    pclose(pipe);
    return symbols;
}

std::set<std::string> expectedSymbols() {
    std::set<std::string> symbols;
    std::ifstream file(QAR_EXPECTED_SYMBOLS_PATH);
    for (std::string line; std::getline(file, line);) {
        if (!line.empty()) symbols.insert(line);
    }
    return symbols;
}

TEST(ExportedSymbolsTest, OnlyThePublicApi) {
    const std::set<std::string> expected = expectedSymbols();
    ASSERT_FALSE(expected.empty());
    const std::set<std::string> actual = exportedSymbols(QAR_CLIENT_LIBRARY_PATH);
    for (const std::string& symbol : actual) {
        EXPECT_TRUE(expected.count(symbol)) << "exported but not listed: " << symbol;
    }
    for (const std::string& symbol : expected) {
        EXPECT_TRUE(actual.count(symbol)) << "listed but not exported: " << symbol;
    }
}

}  // namespace
