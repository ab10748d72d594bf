// The shared library exports its public API and nothing else: callers link against these exact
// names, and internals must stay free to change. The expected list is exported_symbols.txt, one
// demangled symbol per line, sorted.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <string>

namespace {

// One demangled name per line, whole, blanks and all.
std::set<std::string> exportedSymbols(const std::string& library) {
    std::set<std::string> symbols;
    const std::string command = "nm -D --defined-only -C --format=just-symbols '" + library + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return symbols;
    char line[8192];
    while (fgets(line, sizeof(line), pipe) != nullptr) {
        std::string name(line);
        if (!name.empty() && name.back() == '\n') name.pop_back();
        if (!name.empty()) symbols.insert(name);
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
